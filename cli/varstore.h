#pragma once

// The variable file the tool works on: the one named with --file, or the
// current one that the settings name, as the plug-in finds it. Reads and
// writes go through the engine's VariableStore (its lock, its messages).

#include "variablestore.h"

#include <QString>

#include <memory>

class clsVariableAccess;

class VarStore final {
public:
    // `fileOption` empty: the current file.
    explicit VarStore(const QString& fileOption) : m_store(fileOption) {}

    QString path() const { return m_store.path(); }
    // Whether this is the file the plug-in and the host use now.
    bool isCurrent() const { return m_store.isCurrent(); }
    VariableStore& store() { return m_store; }

    // Reads the whole file. A current file that does not exist yet holds the
    // defaults, as a fresh plug-in's does; a missing --file is "no such file";
    // anything else that is not a complete variable file is an error, with the
    // reason in `error`.
    bool load(QString* error) { return m_store.read(m_records, error); }
    vls::RecordSet& records() { return m_records; }
    const vls::RecordSet& records() const { return m_records; }

private:
    VariableStore m_store;
    vls::RecordSet m_records = VariableStore::defaults();
};

// The records as the engine reads them (the updater, the displayable data, the
// comparison with a display): a set that belongs to no file, so the tool's
// reads never write anything.
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
