#pragma once

#include <QObject>
#include <QVariant>
#include <QVariantList>

// Late-bound calls: an operation or property of a QObject named at run time,
// the way the host and the plug-ins call each other's automation objects.
//
// How a run-time error reaches the caller: an invokable reports a failure by
// throwing RuntimeError (number and description). A direct call through the
// meta-object system is an ordinary C++ call, so the exception travels through
// callMethod() to the caller unchanged; callMethod() itself raises error 438
// ("Object doesn't support this property or method") when no operation of that
// name and argument count exists, and 424 ("Object required") for a null object.
namespace latebound {

// Calls `name` with `args`; arguments are converted to the operation's parameter
// types. Parameters declared as non-const references are passed by reference:
// their values after the call are written back into `args`.
QVariant callMethod(QObject* object, const char* name, QVariantList& args);
QVariant callMethod(QObject* object, const char* name, const QVariantList& args = {});

QVariant getProperty(QObject* object, const char* name);
void setProperty(QObject* object, const char* name, const QVariant& value);

} // namespace latebound
