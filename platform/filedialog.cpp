#include "filedialog.h"

#include <QDir>
#include <QFileDialog>
#include <QStringList>

namespace filedialog {

QString toQtFilter(const QString& filter)
{
    const QStringList parts = filter.split(u'|');
    QStringList out;
    for (int i = 0; i + 1 < parts.size(); i += 2) {
        QString patterns = parts[i + 1];
        patterns.replace(u';', u' ');
        out << parts[i] + QStringLiteral(" (") + patterns + u')';
    }
    return out.join(QStringLiteral(";;"));
}

namespace {
class WidgetService final : public Service {
public:
    QString show(QWidget* parent, const Request& r) override
    {
        QFileDialog dialog(parent, r.title, r.initialDir, toQtFilter(r.filter));
        dialog.setObjectName(QStringLiteral("dlgCommon"));
        dialog.setAcceptMode(r.kind == Request::Save ? QFileDialog::AcceptSave : QFileDialog::AcceptOpen);
        dialog.setFileMode(r.kind == Request::Save || !r.mustExist ? QFileDialog::AnyFile : QFileDialog::ExistingFile);
        dialog.setOption(QFileDialog::DontConfirmOverwrite);
        if (!r.fileName.isEmpty())
            dialog.selectFile(r.fileName);
        if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
            return {};
        return QDir::toNativeSeparators(dialog.selectedFiles().first());
    }
};

Service* g_service = nullptr;

QString run(const Request& request, QWidget* parent)
{
    static WidgetService widgets;
    return (g_service ? g_service : &widgets)->show(parent, request);
}
} // namespace

QString getOpenFileName(const QString& title, const QString& filter, const QString& initialDir, const QString& fileName,
                        QWidget* parent)
{
    return run({Request::Open, title, fileName, filter, initialDir}, parent);
}

QString getSaveFileName(const QString& title, const QString& filter, const QString& initialDir, const QString& fileName,
                        QWidget* parent)
{
    return run({Request::Save, title, fileName, filter, initialDir}, parent);
}

QString choose(const Request& request, QWidget* parent) { return run(request, parent); }

void setService(Service* service) { g_service = service; }

} // namespace filedialog
