#include "componentserver.h"

#include "classregistry.h"

#include <QFileInfo>

#include <atomic>
#include <cstring>

namespace component {

namespace {
std::atomic<int> g_alive{0};
}

int getClassObject(std::span<const ClassEntry> classes, const char* progId, QObject** object)
{
    if (!object)
        return CLASS_E_CLASSNOTAVAILABLE;
    *object = nullptr;
    if (!progId)
        return CLASS_E_CLASSNOTAVAILABLE;
    for (const ClassEntry& entry : classes) {
        if (std::strcmp(entry.progId, progId) == 0) {
            QObject* created = entry.create();
            if (!created)
                return CLASS_E_CLASSNOTAVAILABLE;
            ++g_alive;
            QObject::connect(created, &QObject::destroyed, [] { --g_alive; });
            *object = created;
            return S_OK;
        }
    }
    return CLASS_E_CLASSNOTAVAILABLE;
}

int canUnloadNow() { return g_alive.load() == 0 ? S_OK : S_FALSE; }
int aliveObjects() { return g_alive.load(); }

int registerServer(std::span<const ClassEntry> classes, const QString& libraryPath)
{
    ClassRegistry registry;
    for (const ClassEntry& entry : classes) {
        if (!registry.registerClass(QString::fromLatin1(entry.progId), libraryPath))
            return SELFREG_E_CLASS;
    }
    return S_OK;
}

int unregisterServer(std::span<const ClassEntry> classes, const QString& libraryPath)
{
    ClassRegistry registry;
    for (const ClassEntry& entry : classes) {
        const QString progId = QString::fromLatin1(entry.progId);
        // Only entries that point at this library: another copy may have taken the name.
        if (QFileInfo(registry.libraryOf(progId)) == QFileInfo(libraryPath))
            registry.unregisterClass(progId);
    }
    return S_OK;
}

} // namespace component
