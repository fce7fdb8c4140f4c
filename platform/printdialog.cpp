#include "printdialog.h"

#include <QPrintDialog>
#include <QPrinter>

namespace printdialog {

namespace {
class WidgetService final : public Service {
public:
    bool exec(QWidget* parent, QPrinter& printer) override
    {
        QPrintDialog dialog(&printer, parent);
        dialog.setObjectName(QStringLiteral("dlgCommon"));
        return dialog.exec() == QDialog::Accepted;
    }
};
Service* g_service = nullptr;
} // namespace

bool exec(QPrinter& printer, QWidget* parent)
{
    static WidgetService widgets;
    return (g_service ? g_service : &widgets)->exec(parent, printer);
}

void setService(Service* service) { g_service = service; }

} // namespace printdialog
