// Lumarex: the display-controller host. Loads the component libraries of its
// folder, lists their plug-ins, edits a playfile and transmits it to a display
// of its display list.
//
//   Lumarex                  the main window
//   Lumarex --self-test      loads and lists the plug-ins, exit code 0 when the
//                            variable plug-in is listed and can be created
//   Lumarex --screenshot F   shows the window, saves it as the PNG file F, quits
//   Lumarex --playfile T     starts with the playfile text T ("\n" for a new line)
//   Lumarex --transmit-and-quit
//                            transmits the playfile to the first display, then
//                            quits; exit code 0 when the display took it.
//                            Messages go to the error output, not to boxes.
//   Lumarex --app-path DIR   the host's folder for its files (Displays.dat,
//                            Extended\); default the program's folder, or
//                            the operators' shared folder when installed

#include "progids.h"
#include "frmMain.h"
#include "classregistry.h"
#include "messageboxwidget.h"
#include "hostsettings.h"
#include "installlayout.h"
#include "windowgeometry.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QTimer>

#include <cstdio>
#include <memory>
#include <optional>

namespace {
class PrintedMessages final : public msgbox::Service {
public:
    msgbox::Answer show(QWidget*, const msgbox::Request& request) override
    {
        std::fprintf(stderr, "%s\n", qPrintable(request.text));
        return msgbox::OK;
    }
};

const QString kVariablePlugin = QString::fromLatin1(progid::kVariablePlugin);

int selfTest(frmMain& window)
{
    const auto& plugins = window.plugins();
    bool listed = false;
    for (const auto& p : plugins) {
        std::printf("plug-in: %s (%s)\n", qPrintable(p.descriptiveName), qPrintable(p.progId));
        listed = listed || p.progId == kVariablePlugin;
    }
    if (!listed) {
        std::fprintf(stderr, "SELF-TEST FAILED: %s is not listed\n", qPrintable(kVariablePlugin));
        return 1;
    }
    std::unique_ptr<QObject> plugin(ComponentLoader::tryCreate(kVariablePlugin));
    if (!plugin) {
        std::fprintf(stderr, "SELF-TEST FAILED: %s cannot be created\n", qPrintable(kVariablePlugin));
        return 1;
    }
    std::printf("SELF-TEST OK: %d plug-in(s)\n", int(plugins.size()));
    return 0;
}
// While it lives, warnings go to the window's log as well as where they went.
class LogWarnings final {
public:
    explicit LogWarnings(frmMain* window)
    {
        s_window = window;
        s_previous = qInstallMessageHandler(&LogWarnings::handle);
    }
    ~LogWarnings()
    {
        qInstallMessageHandler(s_previous);
        s_window = nullptr;
    }
    LogWarnings(const LogWarnings&) = delete;
    LogWarnings& operator=(const LogWarnings&) = delete;

private:
    static void handle(QtMsgType type, const QMessageLogContext& context, const QString& text)
    {
        if (s_previous)
            s_previous(type, context, text);
        if ((type == QtWarningMsg || type == QtCriticalMsg) && s_window)
            QMetaObject::invokeMethod(
                s_window,
                [text] {
                    if (s_window)
                        s_window->log(QStringLiteral("Warning: ") + text);
                },
                Qt::QueuedConnection);
    }
    static inline frmMain* s_window = nullptr;
    static inline QtMessageHandler s_previous = nullptr;
};
} // namespace

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    msgbox::useWindows();
    QApplication::setApplicationName(QStringLiteral("Lumarex"));
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Lumarex display controller"));
    parser.addHelpOption();
    QCommandLineOption selfTestOption(QStringLiteral("self-test"),
                                      QStringLiteral("Load and list the plug-ins, then quit."));
    QCommandLineOption screenshotOption(QStringLiteral("screenshot"),
                                        QStringLiteral("Save the window as a PNG file and quit."),
                                        QStringLiteral("file"));
    QCommandLineOption playfileOption(QStringLiteral("playfile"), QStringLiteral("Start with this playfile text."),
                                      QStringLiteral("text"));
    QCommandLineOption transmitOption(QStringLiteral("transmit-and-quit"),
                                      QStringLiteral("Transmit the playfile to the first display, then quit."));
    QCommandLineOption appPathOption(QStringLiteral("app-path"),
                                     QStringLiteral("The host's folder for its files (default: the program's folder, "
                                                    "or the operators' shared folder when installed)."),
                                     QStringLiteral("folder"));
    QCommandLineOption geometryOption(QStringLiteral("geometry"),
                                      QStringLiteral("The window's size and place: WxH+X+Y, WxH or +X+Y "
                                                     "(default: centred on the screen)."),
                                      QStringLiteral("geometry"));
    parser.addOption(appPathOption);
    parser.addOption(geometryOption);
    parser.addOption(selfTestOption);
    parser.addOption(screenshotOption);
    parser.addOption(playfileOption);
    parser.addOption(transmitOption);
    parser.process(app);
    // On X11 Qt itself takes -geometry/--geometry for the first window; other
    // platforms leave it to this parser.
    std::optional<WindowGeometry> geometry;
    if (parser.isSet(geometryOption) && !(geometry = WindowGeometry::parse(parser.value(geometryOption)))) {
        std::fprintf(stderr, "Lumarex: bad --geometry \"%s\" (expected WxH+X+Y, WxH or +X+Y)\n",
                     qPrintable(parser.value(geometryOption)));
        return 2;
    }

    // The plug-ins find the host's files (Displays.dat, Extended\) through this.
    // Installed, they are the operators' shared files and the component libraries
    // sit in a private library folder; in a build tree both are the program's folder.
    const install::Layout layout = install::layoutFor(QApplication::applicationDirPath());
    const QString folder = parser.isSet(appPathOption) ? QDir(parser.value(appPathOption)).absolutePath()
                                                       : layout.dataFolder;
    settings::write(hostsettings::kAppPath, QDir::toNativeSeparators(folder));

    // Unattended: a message box would wait for nobody.
    PrintedMessages printed;
    if (parser.isSet(transmitOption))
        msgbox::setService(&printed);

    frmMain window;
    window.loadPlugins(layout.componentFolder);
    if (parser.isSet(selfTestOption))
        return selfTest(window);

    if (parser.isSet(playfileOption))
        window.setPlayfileText(parser.value(playfileOption).replace(QStringLiteral("\\n"), QStringLiteral("\n")),
                               false);
    // Warnings of the plug-ins (a variable file another program changed, a
    // link that cannot be read) show in the window's log as well.
    const LogWarnings warnings(&window);
    window.show();
    window.fitOnScreen();
    if (geometry && geometry->size)
        window.resize(*geometry->size);
    if (geometry && geometry->position)
        window.move(*geometry->position);
    const bool transmitAndQuit = parser.isSet(transmitOption);
    const QString screenshot = parser.value(screenshotOption);
    if (transmitAndQuit || !screenshot.isEmpty()) {
        QTimer::singleShot(800, &window, [&window, transmitAndQuit, screenshot] {
            bool ok = true;
            if (transmitAndQuit)
                ok = window.transmit();
            if (!screenshot.isEmpty())
                ok = window.grab().save(screenshot, "PNG") && ok;
            QApplication::exit(ok ? 0 : 1);
        });
    }
    const int code = app.exec();
    msgbox::setService(nullptr);
    return code;
}
