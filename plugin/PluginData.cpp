#include "progids.h"
#include "PluginData.h"

#include "runtimeerror.h"

#include <QFile>

// The icons live in a static library's resource file, which must be pulled in
// by name.
static void initPluginResources() { Q_INIT_RESOURCE(plugin); }

namespace plugintables {
namespace {
struct Tables {
    QString names[1] = {QString::fromLatin1(progid::kVariablePlugin)};
    QString descriptions[1] = {QStringLiteral("Insert and Update Data Variables in the Display. QMD Version")};
    QString descriptiveNames[1] = {QStringLiteral("Variable Access/QMD")};
};
const Tables& tables()
{
    static const Tables t;
    return t;
}
} // namespace

const QString& pluginName() { return tables().names[0]; }
const QString& pluginDescription() { return tables().descriptions[0]; }
const QString& pluginDescriptiveName() { return tables().descriptiveNames[0]; }

QIcon iconResource(int id)
{
    static const bool loaded = (initPluginResources(), true);
    Q_UNUSED(loaded);
    const QString path = QStringLiteral(":/zolQMDVariablePlugin/icons/%1.png").arg(id);
    if (!QFile::exists(path))
        return {};
    return QIcon(path);
}
} // namespace plugintables

namespace {
const QString& entry(const QString& value, short index)
{
    if (index != 0)
        RuntimeError::raise(RuntimeError::SubscriptOutOfRange);
    return value;
}
} // namespace

PluginData::PluginData(QObject* parent) : QObject(parent) { setObjectName(QStringLiteral("PluginData")); }

QString PluginData::PluginNames(short iIndex) const { return entry(plugintables::pluginName(), iIndex); }
QString PluginData::PluginDescription(short iIndex) const { return entry(plugintables::pluginDescription(), iIndex); }
QString PluginData::PluginDescriptiveName(short iIndex) const
{
    return entry(plugintables::pluginDescriptiveName(), iIndex);
}

QVariant PluginData::PluginPic(short iIndex) const
{
    try {
        const QIcon icon = plugintables::iconResource(101 + iIndex);
        return icon.isNull() ? QVariant() : QVariant::fromValue(icon);
    } catch (...) {
        return {};
    }
}
