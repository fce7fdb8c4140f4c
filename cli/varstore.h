#pragma once

// The variable file the tool works on: the one named with --file, or the
// current one that the settings name, as the plug-in finds it.

#include "variablefile.h"

#include <QString>

#include <memory>

class clsVariableAccess;

class VarStore final {
public:
    // `fileOption` empty: the current file.
    explicit VarStore(const QString& fileOption);

    QString path() const { return m_path; }
    // Whether this is the file the plug-in and the host use now.
    bool isCurrent() const { return m_current; }

    // Reads the whole file. A current file that does not exist yet holds the
    // defaults, as a fresh plug-in's does; anything else that is not a complete
    // variable file is an error, with the reason in `error`.
    bool load(QString* error);
    vls::RecordSet& records() { return m_records; }
    const vls::RecordSet& records() const { return m_records; }

    // Writes the whole file safely (the old one is replaced only by a complete
    // new one); for the current file, also each variable's data where the host
    // reads it by token, as every save of the plug-in does.
    bool save(QString* error);

    static vls::RecordSet defaults();

private:
    QString m_path;
    bool m_current = false;
    vls::RecordSet m_records;
};

// The records as the engine reads them: the updater, the displayable data and
// the comparison with a display all go through a clsVariableAccess. That object
// saves the current file when it is released, so before that it is given the
// current file back: the tool's reads never change a file.
class EngineSet final {
public:
    explicit EngineSet(const vls::RecordSet& records);
    ~EngineSet();
    EngineSet(const EngineSet&) = delete;
    EngineSet& operator=(const EngineSet&) = delete;

    clsVariableAccess* get() const { return m_set.get(); }

private:
    std::unique_ptr<clsVariableAccess> m_set;
};
