#pragma once

#include <QObject>
#include <QString>

#include <functional>
#include <memory>

// The class registry: which library serves which ProgID. Kept in the machine-wide
// settings hive under "Software\Classes\<ProgID>", value "Library".
class ClassRegistry final {
public:
    bool registerClass(const QString& progId, const QString& libraryPath);
    bool unregisterClass(const QString& progId);
    QString libraryOf(const QString& progId) const; // "" when not registered
};

// Creates objects by ProgID: loads the registered library and calls its
// DllGetClassObject. Tests and programs that carry a class in-process can
// install a factory for a ProgID, which is used before the registry.
namespace ComponentLoader {

using Factory = std::function<QObject*()>;

// The new object, owned by the caller; raises RuntimeError 429 ("ActiveX
// component can't create object") when the class cannot be created.
QObject* create(const QString& progId);
// The same, returning null instead of raising.
QObject* tryCreate(const QString& progId);

void setFactory(const QString& progId, Factory factory); // an empty factory removes it
void clearFactories();

// Loads a library by path and calls its DllRegisterServer / DllUnregisterServer.
int registerLibrary(const QString& libraryPath);
int unregisterLibrary(const QString& libraryPath);

} // namespace ComponentLoader

// An owning pointer to a created component, used through one of its interfaces.
template <class Interface> class Component {
public:
    Component() = default;
    explicit Component(QObject* object) : m_object(object), m_iface(object ? qobject_cast<Interface*>(object) : nullptr)
    {}
    Interface* operator->() const { return m_iface; }
    Interface* get() const { return m_iface; }
    QObject* object() const { return m_object.get(); }
    explicit operator bool() const { return m_iface != nullptr; }
    void reset(QObject* object = nullptr) { *this = Component(object); }

private:
    std::shared_ptr<QObject> m_object;
    Interface* m_iface = nullptr;
};

// Creates the component and checks that it offers the interface (429 otherwise).
template <class Interface> Component<Interface> createComponent(const QString& progId);

#include "runtimeerror.h"

template <class Interface> Component<Interface> createComponent(const QString& progId)
{
    Component<Interface> c(ComponentLoader::create(progId));
    if (!c)
        RuntimeError::raise(RuntimeError::ActiveXCannotCreateObject);
    return c;
}
