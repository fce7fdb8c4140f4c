#include "zolQMDVariables.h"

#include "PluginData.h"
#include "pluginfeatures.h"
#include "settingsstore.h"
#include "tokenseeding.h"

zolQMDVariables::zolQMDVariables(QObject* parent) : QObject(parent)
{
    setObjectName(QStringLiteral("zolQMDVariables"));
    InitVariables();
}

void zolQMDVariables::StartPlugin(QObject* /*bActive*/) { features::showVariableManager(); }

void zolQMDVariables::StartFrameFeature(QObject* fMyFrm) { features::showCommandInserter(fMyFrm); }

bool zolQMDVariables::DoesPreTransmit() const { return settings::GetUpdateOnTransmit(); }

void zolQMDVariables::StartPreTransmit(QObject* zolObject, QObject* /*pFile*/)
{
    features::updateOnTransmit(zolObject);
}

QString zolQMDVariables::GetMyName() const { return plugintables::pluginName(); }
QString zolQMDVariables::GetMyDescription() const { return plugintables::pluginDescription(); }
QIcon zolQMDVariables::GetMyPicture() const { return plugintables::iconResource(101); }
QString zolQMDVariables::GetMyDescriptiveName() const { return plugintables::pluginDescriptiveName(); }

void zolQMDVariables::ExecuteMethod(QString& sMethod, QString&, QString&, bool&)
{
    if (sMethod == QLatin1String("InitVariables"))
        InitVariables();
}
