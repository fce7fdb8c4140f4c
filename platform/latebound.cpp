#include "latebound.h"

#include "runtimeerror.h"

#include <QMetaMethod>
#include <QMetaProperty>

#include <array>
#include <vector>

namespace latebound {

namespace {
QMetaMethod findMethod(const QMetaObject* meta, const char* name, int argc)
{
    for (int i = meta->methodCount() - 1; i >= 0; --i) {
        const QMetaMethod m = meta->method(i);
        if (m.name() == name && m.parameterCount() == argc
            && (m.methodType() == QMetaMethod::Method || m.methodType() == QMetaMethod::Slot))
            return m;
    }
    return {};
}
} // namespace

QVariant callMethod(QObject* object, const char* name, QVariantList& args)
{
    if (!object)
        RuntimeError::raise(RuntimeError::ObjectRequired);
    if (args.size() > 10)
        RuntimeError::raise(RuntimeError::InvalidProcedureCall);
    const QMetaMethod method = findMethod(object->metaObject(), name, int(args.size()));
    if (!method.isValid())
        RuntimeError::raise(RuntimeError::ObjectDoesNotSupportMethod);

    // Each argument is held in a QVariant of the parameter's exact type, whose
    // storage the callee reads and, for reference parameters, writes.
    std::vector<QVariant> storage(args.size());
    std::array<QGenericArgument, 10> generic{};
    for (int i = 0; i < args.size(); ++i) {
        QByteArray typeName = method.parameterTypeName(i);
        const bool byReference = typeName.endsWith('&');
        if (byReference)
            typeName.chop(1);
        const QMetaType type = byReference ? QMetaType::fromName(typeName) : method.parameterMetaType(i);
        if (!type.isValid())
            RuntimeError::raise(RuntimeError::TypeMismatch);
        QVariant v = args[i];
        if (type.id() != QMetaType::QVariant && v.metaType() != type && !v.convert(type))
            RuntimeError::raise(RuntimeError::TypeMismatch);
        storage[i] = type.id() == QMetaType::QVariant ? QVariant::fromValue(v) : v;
        generic[i] = QGenericArgument(type.name(), type.id() == QMetaType::QVariant
                                                       ? static_cast<const void*>(&storage[i])
                                                       : storage[i].constData());
    }
    // constData() of a detached, non-shared QVariant is the value the callee sees.
    for (auto& s : storage)
        s.data();

    QVariant result;
    const QMetaType returnType = method.returnMetaType();
    bool ok = false;
    if (returnType.id() == QMetaType::Void) {
        ok = method.invoke(object, Qt::DirectConnection, generic[0], generic[1], generic[2], generic[3], generic[4],
                           generic[5], generic[6], generic[7], generic[8], generic[9]);
    } else {
        result = QVariant(returnType);
        ok = method.invoke(object, Qt::DirectConnection, QGenericReturnArgument(method.typeName(), result.data()),
                           generic[0], generic[1], generic[2], generic[3], generic[4], generic[5], generic[6],
                           generic[7], generic[8], generic[9]);
    }
    if (!ok)
        RuntimeError::raise(RuntimeError::ObjectDoesNotSupportMethod);
    if (returnType.id() == QMetaType::QVariant)
        result = result.value<QVariant>();
    for (int i = 0; i < args.size(); ++i) {
        if (method.parameterTypeName(i).endsWith('&'))
            args[i] = storage[i];
    }
    return result;
}

QVariant callMethod(QObject* object, const char* name, const QVariantList& args)
{
    QVariantList copy = args;
    return callMethod(object, name, copy);
}

QVariant getProperty(QObject* object, const char* name)
{
    if (!object)
        RuntimeError::raise(RuntimeError::ObjectRequired);
    const int index = object->metaObject()->indexOfProperty(name);
    if (index < 0)
        RuntimeError::raise(RuntimeError::ObjectDoesNotSupportMethod);
    return object->metaObject()->property(index).read(object);
}

void setProperty(QObject* object, const char* name, const QVariant& value)
{
    if (!object)
        RuntimeError::raise(RuntimeError::ObjectRequired);
    const int index = object->metaObject()->indexOfProperty(name);
    if (index < 0)
        RuntimeError::raise(RuntimeError::ObjectDoesNotSupportMethod);
    if (!object->metaObject()->property(index).write(object, value))
        RuntimeError::raise(RuntimeError::TypeMismatch);
}

} // namespace latebound
