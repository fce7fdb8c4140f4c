#pragma once

// Where the parts of the system are. In a build tree every program and library
// shares one folder. An installed package keeps the programs in bin/, the
// component libraries in a private library folder, and the files the operators
// share (the machine-wide settings, the display list, the variable file) in one
// folder that their group can write.

#include <QString>

namespace install {

struct Layout {
    QString componentFolder; // the component libraries the host registers
    QString dataFolder;      // the host's folder for its files ("AppPath")
};

// The layout seen from a program in `programFolder`: installed when
// `programFolder`/`componentsFromPrograms` is a folder; otherwise a build tree,
// where both folders are the program's own.
Layout layoutFor(const QString& programFolder, const QString& componentsFromPrograms, const QString& sharedFolder);
// The same with the folders this build installs to.
Layout layoutFor(const QString& programFolder);

// The operators' shared folder of an installed system.
QString sharedFolder();

// A folder operators share through its group: setgid and writable by the group.
bool isSharedFolder(const QString& folder);

// When `folder` is shared, files this process creates from now on keep group
// read and write access (those bits leave the umask): the machine-wide hive and
// the variable file are replaced by rename on every save, and a file one
// operator creates must stay writable by the others whatever umask their
// session has. True when the folder is shared.
bool shareNewFilesIn(const QString& folder);

} // namespace install
