#include "installlayout.h"

#include <QDir>
#include <QFileInfo>

#include <sys/stat.h>

#ifndef LUMAREX_SHARED_DIR
#define LUMAREX_SHARED_DIR "/var/lib/lumarex"
#endif
#ifndef LUMAREX_COMPONENTS_FROM_PROGRAMS
#define LUMAREX_COMPONENTS_FROM_PROGRAMS "../lib/lumarex"
#endif

namespace install {

Layout layoutFor(const QString& programFolder, const QString& componentsFromPrograms, const QString& sharedFolder)
{
    const QString components = QDir::cleanPath(QDir(programFolder).absoluteFilePath(componentsFromPrograms));
    if (!componentsFromPrograms.isEmpty() && QFileInfo(components).isDir())
        return {components, sharedFolder};
    return {programFolder, programFolder};
}

Layout layoutFor(const QString& programFolder)
{
    return layoutFor(programFolder, QStringLiteral(LUMAREX_COMPONENTS_FROM_PROGRAMS), sharedFolder());
}

QString sharedFolder() { return QStringLiteral(LUMAREX_SHARED_DIR); }

bool isSharedFolder(const QString& folder)
{
    struct stat st {};
    if (::stat(QFile::encodeName(folder).constData(), &st) != 0 || !S_ISDIR(st.st_mode))
        return false;
    return (st.st_mode & S_ISGID) && (st.st_mode & S_IWGRP);
}

bool shareNewFilesIn(const QString& folder)
{
    if (!isSharedFolder(folder))
        return false;
    const mode_t mask = ::umask(0);
    ::umask(mask & ~mode_t(S_IRGRP | S_IWGRP));
    return true;
}

} // namespace install
