#include "zolPluginMaster.h"

#include "classregistry.h"
#include "latebound.h"
#include "registryroutines.h"
#include "tokenstore.h"

#include <memory>

zolPluginMaster::zolPluginMaster(QObject* parent) : QObject(parent)
{
    setObjectName(QStringLiteral("zolPluginMaster"));
}

zolPluginMaster::~zolPluginMaster() { tokenstore::flush(); }

QVariant zolPluginMaster::Status()
{
    const QString probe =
        RegistryRoutines(RegistryRoutines::LocalMachine).readValue(kTokenKey, QStringLiteral("VBL001"));
    return short(probe == RegistryRoutines::kError ? StoreUnreadable : Ready);
}

QString zolPluginMaster::GetTokenText(const QString& key) { return tokenstore::text(key); }

void zolPluginMaster::SetTokenText(const QString& key, const QString& text) { tokenstore::setText(key, text); }

QStringList zolPluginMaster::TokenNames() const { return tokenstore::names(); }

void zolPluginMaster::RunPluginMethod(const QString& progId, const QString& method, QString& param1,
                                      const QString& param2, bool& status)
{
    std::unique_ptr<QObject> plugin(ComponentLoader::tryCreate(progId));
    if (!plugin) {
        status = false;
        return;
    }
    QVariantList args{param1, param2, status};
    latebound::callMethod(plugin.get(), method.toLatin1().constData(), args);
    param1 = args[0].toString();
    status = args[2].toBool();
}
