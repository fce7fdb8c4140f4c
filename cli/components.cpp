#include "components.h"

#include "DisplayList.h"
#include "classregistry.h"
#include "spreadsheetlinks.h"
#include "zolBadWordChecker.h"
#include "zolDispTrans.h"
#include "zolPluginMaster.h"

namespace components {

void install()
{
    ComponentLoader::setFactory(QString::fromLatin1(zolDispTrans::kProgId), [] { return new zolDispTrans; });
    ComponentLoader::setFactory(QString::fromLatin1(DisplayList::kProgId), [] { return new DisplayList; });
    ComponentLoader::setFactory(QString::fromLatin1(zolPluginMaster::kProgId), [] { return new zolPluginMaster; });
    ComponentLoader::setFactory(QString::fromLatin1(zolBadWordChecker::kProgId), [] { return new zolBadWordChecker; });
    // Linked variables read their spreadsheet cells and JSON values as the plug-in does.
    links::installSpreadsheetLinks();
}

} // namespace components
