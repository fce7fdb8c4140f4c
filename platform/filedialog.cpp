#include "filedialog.h"

#include <QDir>
#include <QFileDialog>
#include <QStandardPaths>
#include <QStringList>

#include <algorithm>

namespace filedialog {

QString toQtFilter(const QString& filter)
{
    const QStringList parts = filter.split(u'|');
    QStringList out;
    for (int i = 0; i + 1 < parts.size(); i += 2) {
        const QString& description = parts[i];
        const QStringList patterns = parts[i + 1].split(u';', Qt::SkipEmptyParts);
        // "Log Files (*.doc)" already names its pattern: shown as it is.
        const bool named = std::all_of(patterns.begin(), patterns.end(),
                                       [&](const QString& p) { return description.contains(p.trimmed()); });
        out << (named && description.contains(u'(') ? description
                                                    : description + QStringLiteral(" (") + patterns.join(u' ') + u')');
    }
    return out.join(QStringLiteral(";;"));
}

QString initialFolder(const Request& request)
{
    if (!request.initialDir.isEmpty() || request.kind != Request::Save)
        return request.initialDir;
    return QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
}

namespace {
class WidgetService final : public Service {
public:
    QString show(QWidget* parent, const Request& r) override
    {
        QFileDialog dialog(parent, r.title, initialFolder(r), toQtFilter(r.filter));
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
