#include "hostobjects.h"

#include "latebound.h"

namespace hostobjects {

void addTextToCurrentLine(QObject* frameEditor, const QString& text)
{
    latebound::callMethod(frameEditor, "addtexttocurrentline", QVariantList{text});
}

} // namespace hostobjects
