#include "reportfile.h"

#include "clock.h"
#include "datetimetext.h"
#include "filedialog.h"
#include "messagebox.h"
#include "richtextdocument.h"

#include <QFileInfo>
#include <QSaveFile>

namespace reportfile {

void save(const QTextDocument& report, const SaveRequest& request, QWidget* parent)
{
    const QString proposed = request.namePrefix + datetimetext::fileDate(Clock::now().date()) + QStringLiteral(".doc");
    const QString fileName = filedialog::getSaveFileName(request.title, request.filter, QString(), proposed, parent);
    if (fileName.isEmpty())
        return;
    if (request.askOverwrite && QFileInfo::exists(fileName)
        && msgbox::show(QStringLiteral("File already exists, Do You Wish to Overwrite it?"), msgbox::YesNoCancel,
                        msgbox::NoIcon, QString(), parent)
               != msgbox::Yes)
        return;
    QSaveFile file(fileName);
    if (file.open(QIODevice::WriteOnly) && file.write(rtf::write(report)) >= 0 && file.commit())
        return;
    if (!request.errorPrefix.isEmpty())
        msgbox::showError(request.errorPrefix, file.errorString(), msgbox::Critical, parent);
}

} // namespace reportfile
