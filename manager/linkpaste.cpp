#include "linkpaste.h"

#include "messagebox.h"
#include "runtimeerror.h"

#include <QFileInfo>

namespace manager {

QString takeLinkFromClipboard(ILinkContainer& container, QWidget* parent)
{
    try {
        container.setLinkedOnly();
        if (!container.canPaste())
            return {};
        container.paste();
        const QString source = container.sourceDoc();
        container.clear();
        if (source.isEmpty())
            return source;
        // A document that was never saved has no path a later read could open;
        // a folder is no document.
        QString document = source.section(u'!', 0, 0);
        document.replace(u'\\', u'/');
        if (!QFileInfo(document).isFile()) {
            msgbox::show(QStringLiteral("Please save the file that contains the link you are trying to paste."),
                         msgbox::OKOnly, msgbox::Information, QStringLiteral("OLE Link Paste Error"), parent);
            return {};
        }
        return source;
    } catch (const RuntimeError& e) {
        msgbox::show(QStringLiteral("OLE Error ") + QString::number(e.number()) + u' ' + e.description(),
                     msgbox::OKOnly, msgbox::NoIcon, {}, parent);
        return {};
    }
}

} // namespace manager
