#include "varcommand.h"

#include "clsVariableAccess.h"
#include "legacy.h"

namespace varcommand {

QString token(int16_t n) { return QStringLiteral("VBL") + legacy::formatZeros(n, 3); }

QString entryText(int16_t n, const QString& name)
{
    if (clsVariableAccess::isTextVariable(n))
        return QStringLiteral("Text Var") + QString::number(n) + QStringLiteral(": ") + name;
    return QStringLiteral("Cell Var") + QString::number(n - clsVariableAccess::kTextVariableCount)
           + QStringLiteral(": ") + name;
}

} // namespace varcommand
