// lumarex-emulator: an LED display system on TCP ports and serial ptys, for
// trying the host and for tests. See docs/protocol.md.

#include "clock.h"
#include "codepage.h"
#include "commands.h"
#include "emulatorcore.h"
#include "emulatorserver.h"
#include "emulatorwindow.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QHostAddress>
#include <QTextStream>
#include <QTimer>

#include <cstdio>
#include <memory>

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
    const QCommandLineOption tcpOpt(QStringLiteral("tcp"),
                                    QStringLiteral("Listen on [host:]port (0 = any free port). Repeatable."),
                                    QStringLiteral("addr"));
    const QCommandLineOption ptyOpt(QStringLiteral("pty"), QStringLiteral("Open a pty acting as a serial line."));
    const QCommandLineOption modemOpt(QStringLiteral("modem-pty"),
                                      QStringLiteral("Open a pty with a Hayes modem in front of the display."));
    const QCommandLineOption dialOpt(
        QStringLiteral("dial-result"),
        QStringLiteral(
            "What the modem answers to ATD: CONNECT (default), BUSY, NO CARRIER, NO DIALTONE, or none (silence)."),
        QStringLiteral("text"));
    const QCommandLineOption unitsOpt(
        QStringLiteral("units"), QStringLiteral("Only these addresses answer (comma list); default: every address."),
        QStringLiteral("list"));
    const QCommandLineOption groupOpt(
        QStringLiteral("group"),
        QStringLiteral(
            "A display group: addr:spanA,spanB[,b] answers for (A+1)x(B+1) addresses from addr. Repeatable."),
        QStringLiteral("group"));
    const QCommandLineOption refuseOpt(QStringLiteral("refuse"),
                                       QStringLiteral("Refuse TCP connections; the modem answers BUSY."));
    const QCommandLineOption dropOpt(QStringLiteral("drop-after"),
                                     QStringLiteral("End the link when frame n + 1 arrives."), QStringLiteral("n"));
    const QCommandLineOption nakOpt(QStringLiteral("nak"),
                                    QStringLiteral("Answer this fraction of good frames with a checksum NAK."),
                                    QStringLiteral("fraction"));
    const QCommandLineOption garbleOpt(QStringLiteral("garble"),
                                       QStringLiteral("Damage the checksum of this fraction of answers."),
                                       QStringLiteral("fraction"));
    const QCommandLineOption seedOpt(QStringLiteral("seed"), QStringLiteral("Seed of the injected faults (default 1)."),
                                     QStringLiteral("n"));
    const QCommandLineOption delayOpt(QStringLiteral("delay"), QStringLiteral("Answer every frame this many ms late."),
                                      QStringLiteral("ms"));
    const QCommandLineOption lateOpt(QStringLiteral("late"),
                                     QStringLiteral("With --delay: only this fraction of answers is late."),
                                     QStringLiteral("fraction"));
    const QCommandLineOption cutOpt(
        QStringLiteral("cut"),
        QStringLiteral("Cut this fraction of answers off halfway and drop the link (mid-frame)."),
        QStringLiteral("fraction"));
    const QCommandLineOption colourOpt(
        QStringLiteral("colour"),
        QStringLiteral("Put a colour code (0-255) straight on a variable, e.g. 5:T12=0 or 5:C0=9. Repeatable."),
        QStringLiteral("unit:var=code"));
    const QCommandLineOption backlogOpt(
        QStringLiteral("backlog-limit"),
        QStringLiteral("Drop a link whose unsent answers pass this many bytes (default 1048576)."),
        QStringLiteral("bytes"));
    const QCommandLineOption baudOpt(
        QStringLiteral("baud"),
        QStringLiteral("Pace both directions of every link to this baud rate (10 bits a byte)."),
        QStringLiteral("rate"));
    const QCommandLineOption busyOpt(
        QStringLiteral("busy"),
        QStringLiteral("Answer these commands (their code letters, e.g. AB) with NAK code 6, busy."),
        QStringLiteral("codes"));
    const QCommandLineOption busyUnitsOpt(QStringLiteral("busy-units"),
                                          QStringLiteral("With --busy: only these addresses answer busy (comma list)."),
                                          QStringLiteral("list"));
    const QCommandLineOption silentOpt(QStringLiteral("silent"), QStringLiteral("Take frames but never answer."));
    const QCommandLineOption headlessOpt(QStringLiteral("headless"), QStringLiteral("No window; log to stdout."));
    const QCommandLineOption traceOpt(QStringLiteral("trace"), QStringLiteral("Log every frame."));
    const QCommandLineOption demoOpt(QStringLiteral("demo"),
                                     QStringLiteral("Start with sample variables and a message at address 1."));
    const QCommandLineOption shotOpt(QStringLiteral("screenshot"),
                                     QStringLiteral("Save the window as a PNG once a message is shown, then quit."),
                                     QStringLiteral("file"));
    const QCommandLineOption nameOpt(QStringLiteral("label"),
                                     QStringLiteral("A name for the display, shown in the window title."),
                                     QStringLiteral("text"));
    const QCommandLineOption quitOpt(QStringLiteral("quit-after"),
                                     QStringLiteral("Quit after this many ms (self-test)."), QStringLiteral("ms"));
    for (const auto* o :
         {&tcpOpt,       &ptyOpt,    &modemOpt,    &dialOpt,  &unitsOpt, &groupOpt,  &refuseOpt,  &dropOpt, &nakOpt,
          &garbleOpt,    &seedOpt,   &delayOpt,    &lateOpt,  &cutOpt,   &colourOpt, &backlogOpt, &baudOpt, &busyOpt,
          &busyUnitsOpt, &silentOpt, &headlessOpt, &traceOpt, &demoOpt,  &shotOpt,   &quitOpt,    &nameOpt})
        parser.addOption(*o);
    parser.process(*app);

    EmulatorCore core;
    FaultSettings& faults = core.faults();
    auto number = [&](const QCommandLineOption& o, double lo, double hi) {
        bool ok = false;
        const double v = parser.value(o).toDouble(&ok);
        if (!ok || v < lo || v > hi)
            usageError(QStringLiteral("bad value \"%1\" for --%2").arg(parser.value(o), o.names().first()));
        return v;
    };
    faults.refuseConnections = parser.isSet(refuseOpt);
    faults.silent = parser.isSet(silentOpt);
    if (parser.isSet(dropOpt))
        faults.dropAfterFrames = int(number(dropOpt, 1, 1e9));
    if (parser.isSet(nakOpt))
        faults.nakFraction = number(nakOpt, 0, 1);
    if (parser.isSet(garbleOpt))
        faults.garbleFraction = number(garbleOpt, 0, 1);
    if (parser.isSet(seedOpt))
        faults.seed = quint32(number(seedOpt, 0, 4294967295.0));
    if (parser.isSet(delayOpt))
        faults.delayMs = int(number(delayOpt, 0, 3600000));
    if (parser.isSet(lateOpt))
        faults.lateFraction = number(lateOpt, 0, 1);
    if (parser.isSet(cutOpt))
        faults.cutFraction = number(cutOpt, 0, 1);
    if (parser.isSet(backlogOpt))
        faults.backlogLimit = qint64(number(backlogOpt, 1024, 1e12));
    if (parser.isSet(baudOpt))
        faults.baud = int(number(baudOpt, 50, 4000000));
    faults.busyCommands = parser.value(busyOpt).toLatin1();
    core.setTrace(parser.isSet(traceOpt));

    auto addresses = [&](const QCommandLineOption& o) {
        QSet<uint16_t> units;
        for (const QString& part : parser.value(o).split(QLatin1Char(','), Qt::SkipEmptyParts)) {
            bool ok = false;
            const uint a = part.trimmed().toUInt(&ok);
            if (!ok || a > 65535)
                usageError(QStringLiteral("bad address \"%1\" in --%2").arg(part, o.names().constFirst()));
            units.insert(uint16_t(a));
        }
        return units;
    };
    faults.busyUnits = addresses(busyUnitsOpt);
    if (parser.isSet(unitsOpt))
        core.model().restrictTo(addresses(unitsOpt));
    for (const QString& text : parser.values(groupOpt)) {
        const auto group = parseGroup(text);
        if (!group)
            usageError(QStringLiteral("bad --group \"%1\" (expected e.g. 5:1,1)").arg(text));
        if (!core.model().addGroup(*group))
            usageError(QStringLiteral("--group \"%1\" overlaps another group").arg(text));
    }

    for (const QString& text : parser.values(colourOpt)) {
        const auto preset = parseColourPreset(text);
        if (!preset)
            usageError(QStringLiteral("bad --colour \"%1\" (expected e.g. 5:T12=0)").arg(text));
        if (!core.model().apply(*preset))
            usageError(QStringLiteral("--colour \"%1\": unit %2 does not answer").arg(text).arg(preset->address));
    }

    QObject::connect(&core, &EmulatorCore::logLine, &core, say);
    QObject::connect(&core, &EmulatorCore::messageShown, &core, [&core](quint16 address) {
        const DisplayUnit* unit = core.model().existingUnit(address);
        const QString text = plainText(layoutMessage(unit ? unit->message : QString(), unit));
        say(QStringLiteral("SHOW %1 %2").arg(address).arg(QString(text).replace(QLatin1Char('\n'), QLatin1Char('|'))));
    });

    std::unique_ptr<EmulatorWindow> window;
    if (!headless) {
        window = std::make_unique<EmulatorWindow>(core);
        window->resize(window->sizeHint().expandedTo(QSize(900, 260)));
        window->show();
    }

    EmulatorServer server(core);
    QStringList listening;
    QString error;
    QStringList tcp = parser.values(tcpOpt);
    if (tcp.isEmpty() && !parser.isSet(ptyOpt) && !parser.isSet(modemOpt))
        tcp.append(QStringLiteral("127.0.0.1:0"));
    for (const QString& address : tcp) {
        QHostAddress host;
        quint16 port = 0;
        if (!parseTcp(address, &host, &port))
            usageError(QStringLiteral("bad --tcp \"%1\" (expected [host:]port)").arg(address));
        const QString line = server.listenTcp(host, port, &error);
        if (line.isEmpty())
            usageError(error);
        listening.append(line);
    }
    if (parser.isSet(ptyOpt)) {
        const QString line = server.openPty(&error);
        if (line.isEmpty())
            usageError(error);
        listening.append(line);
    }
    if (parser.isSet(modemOpt)) {
        ModemOptions options;
        if (parser.isSet(dialOpt)) {
            const QString answer = parser.value(dialOpt).trimmed().toUpper();
            options.dialResult = answer == u"NONE"      ? QString()
                                 : answer == u"CONNECT" ? QStringLiteral("CONNECT 9600")
                                                        : answer;
        }
        if (faults.refuseConnections)
            options.dialResult = QStringLiteral("BUSY");
        const QString line = server.openModemPty(options, &error);
        if (line.isEmpty())
            usageError(error);
        listening.append(line);
    }
    for (const QString& line : std::as_const(listening))
        say(line);
    if (window) {
        window->setStatus(listening.join(QStringLiteral("   ")));
        // "LISTENING tcp 127.0.0.1:47010" names the link as "TCP 127.0.0.1:47010".
        QStringList links;
        for (const QString& line : std::as_const(listening)) {
            const QStringList words = line.split(u' ');
            const QString kind = words.value(1) == u"tcp" ? QStringLiteral("TCP") : words.value(1);
            links << kind + u' ' + words.value(2);
        }
        window->setIdentity(parser.value(nameOpt), links);
    }

    if (parser.isSet(demoOpt))
        loadDemo(core, 1);

    if (parser.isSet(shotOpt) && window) {
        const QString file = parser.value(shotOpt);
        auto shoot = [&window, file] {
            window->sign()->setBlinking(false);
            window->sign()->setBlinkPhase(true);
            QTimer::singleShot(300, window.get(), [&window, file] {
                const bool ok = window->grab().save(file);
                say(ok ? QStringLiteral("SCREENSHOT ") + file : QStringLiteral("SCREENSHOT FAILED ") + file);
                QCoreApplication::exit(ok ? 0 : 1);
            });
        };
        if (parser.isSet(demoOpt))
            QTimer::singleShot(0, window.get(), shoot);
        else
            QObject::connect(&core, &EmulatorCore::messageShown, window.get(), shoot, Qt::SingleShotConnection);
    }
    if (parser.isSet(quitOpt))
        QTimer::singleShot(int(number(quitOpt, 0, 1e9)), app.get(), [] { QCoreApplication::exit(0); });
    return app->exec();
}
