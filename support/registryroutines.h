#pragma once

#include <QSettings>
#include <QString>
#include <QStringList>

#include <memory>

// Access to the two settings hives: the machine-wide one (shared with the host
// application) and the current user's. On Windows they are the registry
// (HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER); elsewhere INI files, the machine-wide
// one at $ZOL_MACHINE_STORE (default: "machine.ini" in the operators' shared
// folder, see installlayout.h) and the user's at $ZOL_USER_STORE (default: the
// user's configuration folder).
// Key paths use "\" between components ("Software\Morvel\Lumarex3\Settings").
//
// Failures are reported the way the original helper class did: operations that
// give back text give "Error!", the others give false.
class RegistryRoutines final {
public:
    enum Hive { LocalMachine, CurrentUser };

    static inline const QString kError = QStringLiteral("Error!");

    explicit RegistryRoutines(Hive hive = LocalMachine);

    Hive hive() const { return m_hive; }

    bool keyExists(const QString& keyPath) const;
    bool createKey(const QString& keyPath);
    bool deleteKey(const QString& keyPath); // the key with its values and subkeys
    QStringList valueNames(const QString& keyPath) const;
    QStringList subkeyNames(const QString& keyPath) const;

    // The named value, or `defaultValue` when the key or value is missing;
    // "Error!" when the store cannot be read at all.
    QString readValue(const QString& keyPath, const QString& name, const QString& defaultValue = {}) const;
    bool valueExists(const QString& keyPath, const QString& name) const;
    bool writeValue(const QString& keyPath, const QString& name, const QString& text);
    // Several values of one key in one write of the store.
    bool writeValues(const QString& keyPath, const QList<std::pair<QString, QString>>& values);
    bool deleteValue(const QString& keyPath, const QString& name);

    // Where the hive lives: the INI file (or the registry root on Windows).
    static QString location(Hive hive);

private:
    enum class Access { Read, Write };
    std::unique_ptr<QSettings> open(Access access = Access::Read) const;
    Hive m_hive;
};
