#include "loopbackrig.h"

#include "classregistry.h"
#include "runtimeerror.h"
#include "disptrans.h"
#include "settingsstore.h"

#include <QProcess>
#include <QTcpServer>
#include <QTest>

ProgramRun runProgram(const QString& program, const QStringList& args, const QString& folder, int timeoutMs)
{
    QProcess p;
    p.setWorkingDirectory(folder);
    p.start(program, args);
    ProgramRun r;
    if (!p.waitForFinished(timeoutMs)) {
        qWarning("%s did not end: %s", qPrintable(program), qPrintable(p.errorString()));
        p.kill();
        p.waitForFinished();
    } else if (p.exitStatus() == QProcess::NormalExit) {
        r.code = p.exitCode();
    }
    r.out = QString::fromUtf8(p.readAllStandardOutput());
    r.err = QString::fromUtf8(p.readAllStandardError());
    return r;
}

LoopbackRig::LoopbackRig(int libraries)
{
    const char* paths[] = {TRANSMISSION_LIBRARY, PLUGINMASTER_LIBRARY, BADWORD_LIBRARY};
    for (int i = 0; i < 3; ++i)
        if (libraries & (1 << i))
            QCOMPARE(ComponentLoader::registerLibrary(QString::fromLocal8Bit(paths[i])), 0);
    settings::write(settings::kAppPath, env.folder());
}

EmulatorProcess* LoopbackRig::start(const QStringList& args, quint16 port)
{
    auto& e = m_emulators.emplace_back(std::make_unique<EmulatorProcess>(QStringLiteral(EMULATOR_PATH)));
    if (e->start(QStringList{QStringLiteral("--tcp"), QStringLiteral("127.0.0.1:%1").arg(port)} + args, 1, 10000))
        return e.get();
    qWarning("%s", qPrintable(e->error()));
    return nullptr;
}

quint16 LoopbackRig::freePort()
{
    QTcpServer server;
    server.listen(QHostAddress::LocalHost, 0);
    return server.serverPort();
}

QString withDisplay(quint16 port, const std::function<QString(disptrans::IDispTrans&)>& use, int16_t address)
{
    auto control = createComponent<disptrans::IDispTrans>(disptrans::kDispTransProgId);
    disptrans::ConnectionSettings s{
        disptrans::Network, QStringLiteral("127.0.0.1"), {}, {}, QString::number(port), address};
    if (!control->OpenConnection(s))
        return control->LastErrorText();
    const QString result = use(*control.get());
    control->CloseConnection();
    return result;
}

QStringList readVariables(quint16 port, const QList<int>& numbers, bool attributes, int16_t address)
{
    QStringList held;
    const QString error = withDisplay(
        port,
        [&](disptrans::IDispTrans& d) {
            for (const int n : numbers) {
                disptrans::VarReadRequest request{int16_t(n <= 256 ? n - 1 : n - 257)};
                const disptrans::VarReadReply r = n <= 256 ? d.ReadTextVariable(request) : d.ReadCellVariable(request);
                held << (!d.LastCommandSucceeded() ? QStringLiteral("read failed: ") + d.LastErrorText()
                         : attributes
                             ? QStringLiteral("%1 %2 %3 [%4]").arg(r.Color).arg(r.Blink).arg(r.Inverse).arg(r.Data)
                             : r.Data);
            }
            return QString();
        },
        address);
    return error.isEmpty() ? held : QStringList{error};
}
