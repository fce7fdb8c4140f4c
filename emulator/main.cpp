// lumarex-emulator: an LED display system on TCP ports and serial ptys, for
// trying the host and for tests. See docs/protocol.md.

#include "clock.h"
#include "codepage.h"
#include "commands.h"
#include "emulatorcore.h"
#include "emulatorserver.h"
#include "emulatorwindow.h"
#include "windowgeometry.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QHash>
#include <QHostAddress>
#include <QSize>
#include <QTextStream>
#include <QTimer>

#include <cstdio>
#include <memory>
#include <optional>

using namespace emulator;

namespace {

void say(const QString& line)
{
    std::fputs(line.toLocal8Bit().constData(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

[[noreturn]] void usageError(const QString& text)
{
    std::fputs((QStringLiteral("lumarex-emulator: ") + text + QLatin1Char('\n')).toLocal8Bit().constData(), stderr);
    std::exit(2);
}

bool parseTcp(const QString& text, QHostAddress* host, quint16* port)
{
    QString hostText = QStringLiteral("127.0.0.1");
    QString portText = text;
    const qsizetype colon = text.lastIndexOf(QLatin1Char(':'));
    if (colon >= 0) {
        hostText = text.left(colon);
        portText = text.mid(colon + 1);
        if (hostText.startsWith(u'[') && hostText.endsWith(u']'))
            hostText = hostText.mid(1, hostText.size() - 2);
    }
    bool ok = false;
    const uint p = portText.toUInt(&ok);
    if (!ok || p > 65535 || !host->setAddress(hostText))
        return false;
    *port = quint16(p);
    return true;
}

// Frames through the same handler the links use, so the demo content is
// exactly what a host would have sent.
void loadDemo(EmulatorCore& core, uint16_t address)
{
    uint8_t seq = 0;
    auto run = [&](uint8_t command, const QByteArray& payload) {
        core.handler().handle(wire::Frame{address, ++seq, command, payload});
    };
    auto text = [&](int index, const QString& data) {
        run(wire::WriteTextData, wire::writeDataPayload(uint16_t(index), codepage::toAnsi(data)));
    };
    auto cell = [&](int index, const QString& data) {
        run(wire::WriteCellData, wire::writeDataPayload(uint16_t(index), codepage::toAnsi(data)));
    };
    text(0, QStringLiteral("21\u00B0C"));
    text(1, QStringLiteral("OPEN"));
    text(2, QStringLiteral("GATE 7"));
    cell(0, QStringLiteral("$4.99"));
    cell(1, QStringLiteral("ON TIME"));
    // index, colour, flags (A none, B blink, C inverse, D both)
    run(wire::WriteTextAttributes, "0002A"
                                   "0013B"
                                   "0025A");
    run(wire::WriteCellAttributes, "0006C"
                                   "0017A");
    const QString rs(kVariableMark);
    const QString cs(kColorMark);
    const QString message = cs + u'3' + QStringLiteral("TEMP ") + rs + QStringLiteral("A000") + cs + u'1'
                            + QStringLiteral("  SHOP ") + rs + QStringLiteral("A001") + QStringLiteral("\r\n") + cs
                            + u'7' + QStringLiteral("COFFEE ") + rs + QStringLiteral("V000") + QStringLiteral("\r\n")
                            + cs + u'4' + QStringLiteral("FLIGHT ") + rs + QStringLiteral("A002") + QLatin1Char(' ')
                            + rs + QStringLiteral("V001");
    run(wire::ShowMessage, codepage::toAnsi(message));
}

// A comma list of unit addresses.
QSet<uint16_t> addressList(const QString& text, const QString& option)
{
    QSet<uint16_t> units;
    for (const QString& part : text.split(u',', Qt::SkipEmptyParts)) {
        bool ok = false;
        const uint a = part.trimmed().toUInt(&ok);
        if (!ok || a > 65535)
            usageError(QStringLiteral("bad address \"%1\" in --%2").arg(part, option));
        units.insert(uint16_t(a));
    }
    return units;
}

// The fault options: each sets one field of FaultSettings. A flag has no value
// name; a number must lie within [lo, hi].
struct FaultOption {
    const char* name;
    const char* help;
    const char* valueName; // nullptr: a flag
    double lo = 0, hi = 0;
    void (*apply)(FaultSettings&, double value, const QString& text);
};

const FaultOption kFaultOptions[] = {
    {"refuse", "Refuse TCP connections; the modem answers BUSY.", nullptr, 0, 0,
     [](FaultSettings& f, double, const QString&) { f.refuseConnections = true; }},
    {"silent", "Take frames but never answer.", nullptr, 0, 0,
     [](FaultSettings& f, double, const QString&) { f.silent = true; }},
    {"drop-after", "End the link when frame n + 1 arrives.", "n", 1, 1e9,
     [](FaultSettings& f, double v, const QString&) { f.dropAfterFrames = int(v); }},
    {"nak", "Answer this fraction of good frames with a checksum NAK.", "fraction", 0, 1,
     [](FaultSettings& f, double v, const QString&) { f.nakFraction = v; }},
    {"garble", "Damage the checksum of this fraction of answers.", "fraction", 0, 1,
     [](FaultSettings& f, double v, const QString&) { f.garbleFraction = v; }},
    {"seed", "Seed of the injected faults (default 1).", "n", 0, 4294967295.0,
     [](FaultSettings& f, double v, const QString&) { f.seed = quint32(v); }},
    {"delay", "Answer every frame this many ms late.", "ms", 0, 3600000,
     [](FaultSettings& f, double v, const QString&) { f.delayMs = int(v); }},
    {"late", "With --delay: only this fraction of answers is late.", "fraction", 0, 1,
     [](FaultSettings& f, double v, const QString&) { f.lateFraction = v; }},
    {"cut", "Cut this fraction of answers off halfway and drop the link (mid-frame).", "fraction", 0, 1,
     [](FaultSettings& f, double v, const QString&) { f.cutFraction = v; }},
    {"backlog-limit", "Drop a link whose unsent answers pass this many bytes (default 1048576).", "bytes", 1024, 1e12,
     [](FaultSettings& f, double v, const QString&) { f.backlogLimit = qint64(v); }},
    {"baud", "Pace both directions of every link to this baud rate (10 bits a byte).", "rate", 50, 4000000,
     [](FaultSettings& f, double v, const QString&) { f.baud = int(v); }},
    {"busy", "Answer these commands (their code letters, e.g. AB) with NAK code 6, busy.", "codes", 0, 0,
     [](FaultSettings& f, double, const QString& text) { f.busyCommands = text.toLatin1(); }},
    {"busy-units", "With --busy: only these addresses answer busy (comma list).", "list", 0, 0,
     [](FaultSettings& f, double, const QString& text) {
         f.busyUnits = addressList(text, QStringLiteral("busy-units"));
     }},
};

// Whether an option of the table takes a number (rather than a flag or a text).
bool isNumber(const FaultOption& o) { return o.valueName && o.hi > o.lo; }

double numberOf(const QCommandLineParser& parser, const QString& name, double lo, double hi)
{
    bool ok = false;
    const double v = parser.value(name).toDouble(&ok);
    if (!ok || v < lo || v > hi)
        usageError(QStringLiteral("bad value \"%1\" for --%2").arg(parser.value(name), name));
    return v;
}

void setUpModel(const QCommandLineParser& parser, DisplayModel& model)
{
    if (parser.isSet(QStringLiteral("units")))
        model.restrictTo(addressList(parser.value(QStringLiteral("units")), QStringLiteral("units")));
    for (const QString& text : parser.values(QStringLiteral("group"))) {
        const auto group = parseGroup(text);
        if (!group)
            usageError(QStringLiteral("bad --group \"%1\" (expected e.g. 5:1,1)").arg(text));
        if (!model.addGroup(*group))
            usageError(QStringLiteral("--group \"%1\" overlaps another group").arg(text));
    }
    for (const QString& text : parser.values(QStringLiteral("colour"))) {
        const auto preset = parseColourPreset(text);
        if (!preset)
            usageError(QStringLiteral("bad --colour \"%1\" (expected e.g. 5:T12=0)").arg(text));
        if (!model.apply(*preset))
            usageError(QStringLiteral("--colour \"%1\": unit %2 does not answer").arg(text).arg(preset->address));
    }
}

// Opens every link asked for; the "LISTENING ..." lines.
QStringList openLinks(const QCommandLineParser& parser, EmulatorServer& server, const FaultSettings& faults)
{
    QStringList listening;
    QString error;
    auto add = [&](const QString& line) {
        if (line.isEmpty())
            usageError(error);
        listening.append(line);
    };
    QStringList tcp = parser.values(QStringLiteral("tcp"));
    if (tcp.isEmpty() && !parser.isSet(QStringLiteral("pty")) && !parser.isSet(QStringLiteral("modem-pty")))
        tcp.append(QStringLiteral("127.0.0.1:0"));
    for (const QString& address : tcp) {
        QHostAddress host;
        quint16 port = 0;
        if (!parseTcp(address, &host, &port))
            usageError(QStringLiteral("bad --tcp \"%1\" (expected [host:]port)").arg(address));
        add(server.listenTcp(host, port, &error));
    }
    if (parser.isSet(QStringLiteral("pty")))
        add(server.openPty(&error));
    if (parser.isSet(QStringLiteral("modem-pty"))) {
        ModemOptions options;
        if (parser.isSet(QStringLiteral("dial-result"))) {
            const QString answer = parser.value(QStringLiteral("dial-result")).trimmed().toUpper();
            options.dialResult = answer == u"NONE"      ? QString()
                                 : answer == u"CONNECT" ? QStringLiteral("CONNECT 9600")
                                                        : answer;
        }
        if (faults.refuseConnections)
            options.dialResult = QStringLiteral("BUSY");
        add(server.openModemPty(options, &error));
    }
    return listening;
}

void showWindow(EmulatorWindow& window, const QCommandLineParser& parser, const QStringList& listening)
{
    WindowGeometry geometry;
    if (parser.isSet(QStringLiteral("geometry"))) {
        const auto asked = WindowGeometry::parse(parser.value(QStringLiteral("geometry")));
        if (!asked)
            usageError(QStringLiteral("bad --geometry \"%1\" (expected WxH+X+Y, WxH or +X+Y)")
                           .arg(parser.value(QStringLiteral("geometry"))));
        geometry = *asked;
    }
    window.resize(geometry.size.value_or(window.sizeHint().expandedTo(QSize(900, 260))));
    if (geometry.position)
        window.move(*geometry.position);
    window.show();
    say(QString::asprintf("WINDOW %dx%d%+d%+d", window.width(), window.height(), window.x(), window.y()));
    window.setStatus(listening.join(QStringLiteral("   ")));
    // "LISTENING tcp 127.0.0.1:47010" names the link as "TCP 127.0.0.1:47010".
    QStringList links;
    for (const QString& line : listening) {
        const QStringList words = line.split(u' ');
        const QString kind = words.value(1) == u"tcp" ? QStringLiteral("TCP") : words.value(1);
        links << kind + u' ' + words.value(2);
    }
    window.setIdentity(parser.value(QStringLiteral("label")), links);
}

void screenshotOnceShown(EmulatorCore& core, EmulatorWindow* window, const QString& file, bool demo)
{
    auto shoot = [window, file] {
        window->sign()->setBlinking(false);
        window->sign()->setBlinkPhase(true);
        QTimer::singleShot(300, window, [window, file] {
            const bool ok = window->grab().save(file);
            say(ok ? QStringLiteral("SCREENSHOT ") + file : QStringLiteral("SCREENSHOT FAILED ") + file);
            QCoreApplication::exit(ok ? 0 : 1);
        });
    };
    if (demo)
        QTimer::singleShot(0, window, shoot);
    else
        QObject::connect(&core, &EmulatorCore::messageShown, window, shoot, Qt::SingleShotConnection);
}

} // namespace

int main(int argc, char** argv)
{
    // The window needs a GUI application; --headless must run without a display.
    bool headless = false;
    for (int i = 1; i < argc; ++i)
        if (qstrcmp(argv[i], "--headless") == 0 || qstrcmp(argv[i], "--help") == 0 || qstrcmp(argv[i], "-h") == 0)
            headless = true;
    std::unique_ptr<QCoreApplication> app(headless ? new QCoreApplication(argc, argv) : new QApplication(argc, argv));
    QCoreApplication::setApplicationName(QStringLiteral("lumarex-emulator"));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("An emulated LED display system speaking the display wire protocol."));
    parser.addHelpOption();
    auto option = [&parser](const char* name, const char* help, const char* valueName = nullptr) {
        parser.addOption(QCommandLineOption(QString::fromLatin1(name), QString::fromLatin1(help),
                                            valueName ? QString::fromLatin1(valueName) : QString()));
    };
    option("tcp", "Listen on [host:]port (0 = any free port). Repeatable.", "addr");
    option("pty", "Open a pty acting as a serial line.");
    option("modem-pty", "Open a pty with a Hayes modem in front of the display.");
    option("dial-result",
           "What the modem answers to ATD: CONNECT (default), BUSY, NO CARRIER, NO DIALTONE, or none (silence).",
           "text");
    option("units", "Only these addresses answer (comma list); default: every address.", "list");
    option("group", "A display group: addr:spanA,spanB[,b] answers for (A+1)x(B+1) addresses from addr. Repeatable.",
           "group");
    for (const FaultOption& o : kFaultOptions)
        option(o.name, o.help, o.valueName);
    option("colour", "Put a colour code (0-255) straight on a variable, e.g. 5:T12=0 or 5:C0=9. Repeatable.",
           "unit:var=code");
    option("headless", "No window; log to stdout.");
    option("trace", "Log every frame.");
    option("demo", "Start with sample variables and a message at address 1.");
    option("screenshot", "Save the window as a PNG once a message is shown, then quit.", "file");
    option("label", "A name for the display, shown in the window title.", "text");
    option("geometry", "The window's size and place on the screen: WxH+X+Y, WxH or +X+Y.", "geometry");
    option("quit-after", "Quit after this many ms (self-test).", "ms");
    parser.process(*app);

    EmulatorCore core;
    for (const FaultOption& o : kFaultOptions) {
        const QString name = QString::fromLatin1(o.name);
        if (parser.isSet(name))
            o.apply(core.faults(), isNumber(o) ? numberOf(parser, name, o.lo, o.hi) : 1, parser.value(name));
    }
    core.setTrace(parser.isSet(QStringLiteral("trace")));
    setUpModel(parser, core.model());

    QObject::connect(&core, &EmulatorCore::logLine, &core, say);
    // A SHOW line for every new message, and for every variable write that
    // changes what a shown message reads (the headless sign's only view).
    QHash<quint16, QString> shown;
    auto sayShown = [&core, &shown](quint16 address, bool onlyWhenChanged) {
        const DisplayUnit* unit = core.model().existingUnit(address);
        if (onlyWhenChanged && (!unit || unit->message.isEmpty()))
            return;
        QString text = plainText(layoutMessage(unit ? unit->message : QString(), unit));
        text.replace(QLatin1Char('\n'), QLatin1Char('|'));
        if (onlyWhenChanged && shown.value(address) == text)
            return;
        shown.insert(address, text);
        say(QStringLiteral("SHOW %1 %2").arg(address).arg(text));
    };
    QObject::connect(&core, &EmulatorCore::messageShown, &core, [sayShown](quint16 a) { sayShown(a, false); });
    QObject::connect(&core, &EmulatorCore::variablesWritten, &core, [sayShown](quint16 a) { sayShown(a, true); });

    EmulatorServer server(core);
    const QStringList listening = openLinks(parser, server, core.faults());
    for (const QString& line : listening)
        say(line);
    std::unique_ptr<EmulatorWindow> window;
    if (!headless) {
        window = std::make_unique<EmulatorWindow>(core);
        showWindow(*window, parser, listening);
    }

    const bool demo = parser.isSet(QStringLiteral("demo"));
    if (demo)
        loadDemo(core, 1);
    if (parser.isSet(QStringLiteral("screenshot")) && window)
        screenshotOnceShown(core, window.get(), parser.value(QStringLiteral("screenshot")), demo);
    if (parser.isSet(QStringLiteral("quit-after")))
        QTimer::singleShot(int(numberOf(parser, QStringLiteral("quit-after"), 0, 1e9)), app.get(),
                           [] { QCoreApplication::exit(0); });
    return app->exec();
}
