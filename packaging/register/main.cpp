// lumarex-register: the package's maintainer scripts run it as root to enter
// the component libraries of its own folder in the class registry, or to take
// them out, through each library's own DllRegisterServer / DllUnregisterServer.
//
//   lumarex-register register FOLDER
//                                 registers every library, then gives the
//                                 machine-wide values an installed system needs:
//                                 FOLDER (the operators' shared folder) as the
//                                 host's folder, and the variable file in it as
//                                 the current one when none is named yet
//   lumarex-register unregister   unregisters every library
//
// Exit code 0 when every library answered 0, 1 otherwise, 2 on bad arguments.

#include "classregistry.h"
#include "hostsettings.h"
#include "settingsstore.h"
#include "variablefile.h"

#include <QCoreApplication>
#include <QDir>

#include <cstdio>

namespace {

int registerAll(const QString& folder, bool doRegister)
{
    int failures = 0;
    const QStringList libraries = QDir(folder).entryList({QStringLiteral("lib*.so")}, QDir::Files, QDir::Name);
    for (const QString& name : libraries) {
        const QString path = QDir(folder).absoluteFilePath(name);
        const int result = doRegister ? ComponentLoader::registerLibrary(path)
                                      : ComponentLoader::unregisterLibrary(path);
        std::printf("%s %s: %d\n", doRegister ? "register" : "unregister", qPrintable(path), result);
        failures += result != 0;
    }
    if (libraries.isEmpty())
        std::fprintf(stderr, "lumarex-register: no component libraries in %s\n", qPrintable(folder));
    return failures == 0 && !libraries.isEmpty() ? 0 : 1;
}

// The host writes its folder when it starts, but an operator outside the
// operators' group cannot; the variable file's default would otherwise be each
// program's own folder, which operators cannot write.
void giveInstalledValues(const QString& dataFolder)
{
    settings::write(hostsettings::kAppPath, dataFolder);
    if (settings::read(settings::kVarFileLoc, QString()).isEmpty())
        settings::write(settings::kVarFileLoc, VariableFile::defaultPathIn(dataFolder));
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = QCoreApplication::arguments().mid(1);
    const QString command = args.value(0);
    const bool doRegister = command == u"register";
    if (!(doRegister && args.size() == 2) && !(command == u"unregister" && args.size() == 1)) {
        std::fprintf(stderr, "usage: lumarex-register register FOLDER | lumarex-register unregister\n");
        return 2;
    }
    const int code = registerAll(QCoreApplication::applicationDirPath(), doRegister);
    if (doRegister)
        giveInstalledValues(QDir(args.at(1)).absolutePath());
    return code;
}
