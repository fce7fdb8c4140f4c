#include "messagebox.h"

#include "privatelabel.h"
#include "runtimeerror.h"

#include <QDebug>

namespace msgbox {

namespace {
// Without a window system the text goes to the log and the first button answers.
class LogService final : public Service {
public:
    Answer show(QWidget*, const Request& r) override
    {
        qWarning().noquote() << r.title + QStringLiteral(": ") + r.text;
        switch (r.buttons) {
        case OKOnly:
        case OKCancel: return OK;
        case AbortRetryIgnore: return Abort;
        case YesNoCancel:
        case YesNo: return Yes;
        case RetryCancel: return Retry;
        }
        return OK;
    }
};

Service* g_service = nullptr;
Service* g_windowService = nullptr;
} // namespace

Answer show(const QString& text, Buttons buttons, Icon icon, const QString& title, QWidget* parent)
{
    static LogService log;
    Request request{text, title.isEmpty() ? privatelabel::kAppTitle : title, buttons, icon};
    Service* service = g_service ? g_service : g_windowService ? g_windowService : &log;
    return service->show(parent, request);
}

Answer showError(const QString& prefix, const QString& description, Icon icon, QWidget* parent)
{
    return show(prefix + description, OKOnly, icon, {}, parent);
}

bool guard(const ErrorHandler& handler, const std::function<void()>& work)
{
    QString description;
    try {
        work();
        return true;
    } catch (const RuntimeError& e) {
        description = e.description();
    } catch (const std::exception& e) {
        description = QString::fromLocal8Bit(e.what());
    }
    if (handler.note)
        handler.note(handler.prefix + description);
    showError(handler.prefix, description, handler.icon, handler.parent);
    return false;
}

void setService(Service* service) { g_service = service; }
void setWindowService(Service* service) { g_windowService = service; }

} // namespace msgbox
