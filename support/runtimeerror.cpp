#include "runtimeerror.h"

RuntimeError::RuntimeError(int number, QString description)
    : m_number(number), m_description(std::move(description)), m_what(m_description.toUtf8())
{}

RuntimeError::RuntimeError(Number number) : RuntimeError(number, standardDescription(number)) {}

QString RuntimeError::standardDescription(int number)
{
    switch (number) {
    case InvalidProcedureCall: return QStringLiteral("Invalid procedure call or argument");
    case Overflow: return QStringLiteral("Overflow");
    case SubscriptOutOfRange: return QStringLiteral("Subscript out of range");
    case DivisionByZero: return QStringLiteral("Division by zero");
    case TypeMismatch: return QStringLiteral("Type mismatch");
    case BadFileName: return QStringLiteral("Bad file name or number");
    case FileNotFound: return QStringLiteral("File not found");
    case BadFileMode: return QStringLiteral("Bad file mode");
    case FileAlreadyOpen: return QStringLiteral("File already open");
    case InputPastEndOfFile: return QStringLiteral("Input past end of file");
    case PermissionDenied: return QStringLiteral("Permission denied");
    case PathFileAccessError: return QStringLiteral("Path/File access error");
    case PathNotFound: return QStringLiteral("Path not found");
    case ObjectRequired: return QStringLiteral("Object required");
    case ActiveXCannotCreateObject: return QStringLiteral("ActiveX component can't create object");
    case ObjectDoesNotSupportMethod: return QStringLiteral("Object doesn't support this property or method");
    case AutomationError: return QStringLiteral("Automation error");
    case ApplicationDefined: return QStringLiteral("Application-defined or object-defined error");
    default: return QStringLiteral("Application-defined or object-defined error");
    }
}
