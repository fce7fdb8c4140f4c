#include "plugincatalog.h"

#include "classregistry.h"
#include "latebound.h"
#include "registryroutines.h"
#include "runtimeerror.h"

#include <QDir>
#include <QFileInfo>

#include <memory>

namespace plugincatalog {

QStringList libraryFileNames()
{
    return {QStringLiteral("libzolTransmissionControl4.so"), QStringLiteral("libzolPluginControl4.so"),
            QStringLiteral("libzolBadWordCheckerPLG.so"), QStringLiteral("libLumarexHostObjects.so"),
            QStringLiteral("libzolQMDVariablePlugin.so")};
}

QStringList registerLibraries(const QString& folder)
{
    QStringList problems;
    for (const QString& name : libraryFileNames()) {
        const QString path = QDir(folder).absoluteFilePath(name);
        if (!QFileInfo::exists(path)) {
            problems << QStringLiteral("%1 is missing from %2").arg(name, folder);
            continue;
        }
        const int result = ComponentLoader::registerLibrary(path);
        if (result != 0)
            problems << QStringLiteral("%1 could not be registered (%2)").arg(name).arg(result);
    }
    return problems;
}

QList<PluginInfo> discover(QStringList* problems)
{
    static const QString kSuffix = QStringLiteral(".PluginData");
    QList<PluginInfo> plugins;
    QStringList classes =
        RegistryRoutines(RegistryRoutines::LocalMachine).subkeyNames(QStringLiteral("Software\\Classes"));
    classes.sort();
    for (const QString& progId : std::as_const(classes)) {
        if (!progId.endsWith(kSuffix))
            continue;
        try {
            std::unique_ptr<QObject> data(ComponentLoader::create(progId));
            const int total = latebound::getProperty(data.get(), "TotalPlugins").toInt();
            for (short i = 0; i < total; ++i) {
                PluginInfo info;
                info.progId = latebound::callMethod(data.get(), "PluginNames", {QVariant::fromValue(i)}).toString();
                info.descriptiveName =
                    latebound::callMethod(data.get(), "PluginDescriptiveName", {QVariant::fromValue(i)}).toString();
                info.description =
                    latebound::callMethod(data.get(), "PluginDescription", {QVariant::fromValue(i)}).toString();
                QVariant pic = latebound::callMethod(data.get(), "PluginPic", {QVariant::fromValue(i)});
                if (pic.metaType().id() == QMetaType::QVariant) // an operation that gives back a Variant
                    pic = pic.value<QVariant>();
                info.icon = pic.value<QIcon>();
                plugins << info;
            }
        } catch (const RuntimeError& e) {
            if (problems)
                *problems << QStringLiteral("%1: %2").arg(progId, e.description());
        }
    }
    return plugins;
}

} // namespace plugincatalog
