#include "variablepage.h"

#include "clsVariableAccess.h"
#include "linkcontainer.h"

namespace manager {

namespace {
constexpr int kFirstCellVariable = clsVariableAccess::kTextVariableCount + 1;
const QString kEmptyLengthShows = QStringLiteral("15");
} // namespace

PageRange rangeOf(PageKind kind)
{
    return kind == PageKind::Text ? PageRange{1, clsVariableAccess::kTextVariableCount, 250}
                                  : PageRange{kFirstCellVariable, clsVariableAccess::kVariableCount, 58};
}

QString selectionText(int n)
{
    if (n < kFirstCellVariable)
        return QStringLiteral("Text Var: ") + QString::number(n) + QStringLiteral(" of ")
               + QString::number(clsVariableAccess::kTextVariableCount);
    return QStringLiteral("Cell Var: ") + QString::number(n - kFirstCellVariable + 1) + QStringLiteral(" of ")
           + QString::number(clsVariableAccess::kVariableCount - clsVariableAccess::kTextVariableCount);
}

QStringList lengthChoices(PageKind kind)
{
    QStringList out;
    const int last = rangeOf(kind).maxLength;
    out.reserve(last);
    for (int i = 1; i <= last; ++i)
        out.append(QString::number(i));
    return out;
}

QStringList rowCaptions()
{
    return {QStringLiteral("Friendly Name"),    QStringLiteral("Variable Color"), QStringLiteral("Should Var Blink"),
            QStringLiteral("Show Var Inverse"), QStringLiteral("Variable Data"),  QStringLiteral("OLE Source"),
            QStringLiteral("Max Var Length")};
}

EditorValues valuesOf(const clsVariableAccess& set, int16_t n, ILinkContainer* links)
{
    EditorValues v;
    v.name = set.VariableName(n);
    v.color = set.VariableColor(n);
    v.blink = set.VariableBlink(n);
    v.inverse = set.VariableInverse(n);
    v.maxLength = set.VariableMaxLength(n);
    if (v.maxLength.isEmpty())
        v.maxLength = kEmptyLengthShows;
    v.data = set.GetDisplayableData(n, links);
    if (n >= kFirstCellVariable)
        v.data.remove(QChar(0));
    v.link = set.VariableOLELink(n);
    return v;
}

void commitValues(clsVariableAccess& set, int16_t n, const EditorValues& v)
{
    set.setVariableName(n, v.name);
    set.setVariableColor(n, v.color);
    set.setVariableBlink(n, v.blink);
    set.setVariableInverse(n, v.inverse);
    set.setVariableData(n, v.data);
    set.setVariableOLELink(n, v.link);
    set.setVariableMaxLength(n, v.maxLength);
}

QString liveValue(ILinkContainer& links, const QString& link)
{
    try {
        links.setDataFormat(QStringLiteral("CF_TEXT"));
        if (links.sourceDoc() != link)
            links.createLink(link);
        QString text = links.dataText();
        text.remove(QChar(0));
        text.remove(QStringLiteral("\r\n"));
        return text;
    } catch (...) {
        return {};
    }
}

QString pasteCaption(const QString& linkSource)
{
    return linkSource.isEmpty() ? QStringLiteral("Paste") : QStringLiteral("Clear");
}

} // namespace manager
