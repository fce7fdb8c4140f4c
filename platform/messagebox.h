#pragma once

// Message boxes with the original platform's buttons, icons and answers. All of
// the system's message boxes go through here, so tests can answer them.

#include <QString>

#include <functional>

class QWidget;

namespace msgbox {

enum Buttons { OKOnly = 0, OKCancel = 1, AbortRetryIgnore = 2, YesNoCancel = 3, YesNo = 4, RetryCancel = 5 };
enum Icon { NoIcon = 0, Critical = 16, Question = 32, Exclamation = 48, Information = 64 };
enum Answer { OK = 1, Cancel = 2, Abort = 3, Retry = 4, Ignore = 5, Yes = 6, No = 7 };

struct Request {
    QString text;
    QString title; // already resolved: the application's default title when none was given
    Buttons buttons = OKOnly;
    Icon icon = NoIcon;
};

class Service {
public:
    virtual ~Service() = default;
    virtual Answer show(QWidget* parent, const Request& request) = 0;
};

// Shows a message box; an empty title means the application's default title.
Answer show(const QString& text, Buttons buttons = OKOnly, Icon icon = NoIcon, const QString& title = {},
            QWidget* parent = nullptr);

// The error handlers' message: a fixed prefix ending in a blank, then the error's
// description ("Error Occurred " + "Overflow"), with an OK button.
Answer showError(const QString& prefix, const QString& description, Icon icon = Critical, QWidget* parent = nullptr);

// An error handler: what it shows, and who else hears of it.
struct ErrorHandler {
    QString prefix; // ends in a blank: "Error Occurred "
    Icon icon = NoIcon;
    QWidget* parent = nullptr;
    std::function<void(const QString& message)> note = {}; // hears the message before it is shown (a log)
};
// Runs `work` under the handler: an error it raises (a run-time error's
// description, another error's text) is shown as prefix + description with an
// OK button and ends the work. False when it ended so.
bool guard(const ErrorHandler& handler, const std::function<void()>& work);

// Replaces the service (tests); null restores the real message box.
void setService(Service* service);
// The service that shows real windows (see messageboxwidget.h); without one,
// texts go to the log and the first button answers.
void setWindowService(Service* service);

} // namespace msgbox
