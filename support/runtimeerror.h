#pragma once

#include <QString>
#include <exception>

// A run-time error as the original platform raised it: a number and the
// platform's own description. Thrown by operations and by late-bound calls,
// caught by the dialog handlers, which show "prefix " + description().
class RuntimeError : public std::exception {
public:
    // The platform's error numbers that this system raises or reports.
    enum Number : int {
        TypeMismatch = 13,
        Overflow = 6,
        SubscriptOutOfRange = 9,
        DivisionByZero = 11,
        InvalidProcedureCall = 5,
        FileNotFound = 53,
        BadFileMode = 54,
        FileAlreadyOpen = 55,
        InputPastEndOfFile = 62,
        BadFileName = 52,
        PermissionDenied = 70,
        PathNotFound = 76,
        PathFileAccessError = 75,
        ObjectRequired = 424,
        ActiveXCannotCreateObject = 429,
        ObjectDoesNotSupportMethod = 438,
        AutomationError = 440,
        ApplicationDefined = 1004,
    };

    RuntimeError(int number, QString description);
    explicit RuntimeError(Number number); // with the platform's standard description

    int number() const noexcept { return m_number; }
    const QString& description() const noexcept { return m_description; }
    const char* what() const noexcept override { return m_what.constData(); }

    // The platform's standard description of an error number ("Overflow", ...).
    static QString standardDescription(int number);

    [[noreturn]] static void raise(Number number) { throw RuntimeError(number); }

private:
    int m_number;
    QString m_description;
    QByteArray m_what;
};
