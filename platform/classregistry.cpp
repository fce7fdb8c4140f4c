#include "classregistry.h"

#include "registryroutines.h"
#include "runtimeerror.h"

#include <QHash>
#include <QLibrary>

namespace {
QString keyOf(const QString& progId) { return QStringLiteral("Software\\Classes\\") + progId; }

QHash<QString, ComponentLoader::Factory>& factories()
{
    static QHash<QString, ComponentLoader::Factory> table;
    return table;
}

using GetClassObjectFn = int (*)(const char*, QObject**);
using ServerFn = int (*)();

// Libraries stay loaded for the life of the process, as an in-process server
// does while any of its objects may live.
QLibrary* loadLibrary(const QString& path)
{
    static QHash<QString, QLibrary*> loaded;
    if (auto it = loaded.find(path); it != loaded.end())
        return *it;
    auto* library = new QLibrary(path);
    library->setLoadHints(QLibrary::ResolveAllSymbolsHint);
    if (!library->load()) {
        qWarning("Cannot load %s: %s", qPrintable(path), qPrintable(library->errorString()));
        delete library;
        return nullptr;
    }
    loaded.insert(path, library);
    return library;
}
} // namespace

bool ClassRegistry::registerClass(const QString& progId, const QString& libraryPath)
{
    return RegistryRoutines(RegistryRoutines::LocalMachine)
        .writeValue(keyOf(progId), QStringLiteral("Library"), libraryPath);
}

bool ClassRegistry::unregisterClass(const QString& progId)
{
    return RegistryRoutines(RegistryRoutines::LocalMachine).deleteKey(keyOf(progId));
}

QString ClassRegistry::libraryOf(const QString& progId) const
{
    return RegistryRoutines(RegistryRoutines::LocalMachine).readValue(keyOf(progId), QStringLiteral("Library"));
}

namespace ComponentLoader {

QObject* tryCreate(const QString& progId)
{
    if (auto it = factories().constFind(progId); it != factories().constEnd())
        return (*it)();
    const QString path = ClassRegistry().libraryOf(progId);
    if (path.isEmpty() || path == RegistryRoutines::kError)
        return nullptr;
    QLibrary* library = loadLibrary(path);
    if (!library)
        return nullptr;
    auto getClassObject = reinterpret_cast<GetClassObjectFn>(library->resolve("DllGetClassObject"));
    if (!getClassObject)
        return nullptr;
    QObject* object = nullptr;
    const QByteArray id = progId.toLatin1();
    if (getClassObject(id.constData(), &object) != 0)
        return nullptr;
    return object;
}

QObject* create(const QString& progId)
{
    QObject* object = tryCreate(progId);
    if (!object)
        RuntimeError::raise(RuntimeError::ActiveXCannotCreateObject);
    return object;
}

void setFactory(const QString& progId, Factory factory)
{
    if (factory)
        factories().insert(progId, std::move(factory));
    else
        factories().remove(progId);
}

void clearFactories() { factories().clear(); }

namespace {
int callServerFunction(const QString& libraryPath, const char* name)
{
    QLibrary* library = loadLibrary(libraryPath);
    if (!library)
        return -1;
    auto fn = reinterpret_cast<ServerFn>(library->resolve(name));
    return fn ? fn() : -1;
}
} // namespace

int registerLibrary(const QString& libraryPath) { return callServerFunction(libraryPath, "DllRegisterServer"); }
int unregisterLibrary(const QString& libraryPath) { return callServerFunction(libraryPath, "DllUnregisterServer"); }

} // namespace ComponentLoader
