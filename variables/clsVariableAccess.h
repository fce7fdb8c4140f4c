#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QStringList>

#include <array>
#include <cstdint>
#include <functional>
#include <optional>

#include "linkcontainer.h"

// The complete set of 416 variables: 1 ... 256 text variables, 257 ... 416 cell
// variables, each a record of seven text fields. Every property takes the
// variable number; a number outside 1 ... 416 raises "Subscript out of range".
//
// An object loads the current variable file when it is created and writes the
// whole set back when it is destroyed. Its saves go through VariableStore: under
// the file's lock, and keeping what another program wrote to the file since
// this object loaded it (variablestore.h).
//
// A detached set (made from records) belongs to no file: it neither loads nor
// saves; VariableStore hands such sets to readers and to changes.
//
// Fields never hold Chr(0), Chr(1), CR or LF: the setters drop them, since the
// variable file cannot carry them (VariableFile::carriable).
class clsVariableAccess final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(clsVariableAccess)
public:
    static constexpr int kVariableCount = 416;
    static constexpr int kTextVariableCount = 256;
    static constexpr int kFieldCount = 7;
    enum Field { Name = 0, Color = 1, Blink = 2, Inverse = 3, Data = 4, OLELink = 5, MaxLength = 6 };
    using Record = std::array<QString, kFieldCount>;

    explicit clsVariableAccess(QObject* parent = nullptr);
    explicit clsVariableAccess(const std::array<Record, kVariableCount>& records, QObject* parent = nullptr);
    ~clsVariableAccess() override;

    Q_INVOKABLE QString VariableName(int16_t n) const;
    Q_INVOKABLE void setVariableName(int16_t n, const QString& value);
    Q_INVOKABLE QString VariableColor(int16_t n) const;
    Q_INVOKABLE void setVariableColor(int16_t n, const QString& value);
    Q_INVOKABLE QString VariableBlink(int16_t n) const;
    Q_INVOKABLE void setVariableBlink(int16_t n, const QString& value);
    Q_INVOKABLE QString VariableInverse(int16_t n) const;
    Q_INVOKABLE void setVariableInverse(int16_t n, const QString& value);
    Q_INVOKABLE QString VariableData(int16_t n) const;
    Q_INVOKABLE void setVariableData(int16_t n, const QString& value);
    Q_INVOKABLE QString VariableOLELink(int16_t n) const;
    Q_INVOKABLE void setVariableOLELink(int16_t n, const QString& value);
    // A stored empty value reads as "250" for text and "58" for cell variables.
    Q_INVOKABLE QString VariableMaxLength(int16_t n) const;
    Q_INVOKABLE void setVariableMaxLength(int16_t n, const QString& value);

    // The text to send: the linked value for a linked variable (read through
    // `container`), the stored data otherwise; cut to the maximum length. Any
    // failure gives an empty text.
    QString GetDisplayableData(int16_t n, ILinkContainer* container) const;
    // The same text, or why the linked source cannot be read: a stale source
    // gives its last good value with the reason, one that never read gives the
    // reason only (links::LinkReading). A variable without a link always reads.
    links::LinkReading DisplayableReading(int16_t n, ILinkContainer* container) const;

    // Resets the set and reads `path`, or the current file when `path` is empty;
    // the file read becomes the current file.
    Q_INVOKABLE void LoadVariables(const QString& path);
    // Starts a new configuration: every variable at its defaults, `path` the
    // current file from now on (written at the next save).
    Q_INVOKABLE void NewConfiguration(const QString& path);
    // Writes the set to the current file and every variable's data to the
    // settings store ("Variables"\VBL001 ... VBL416). Nothing for a detached set.
    Q_INVOKABLE void SaveVariables();
    // The current file's name without its folder.
    Q_INVOKABLE QString CurrFileName() const;

    QString FieldSeparator() const { return m_fieldSeparator; }
    QString currentPath() const { return m_currentPath; }
    const Record& record(int16_t n) const;
    const std::array<Record, kVariableCount>& records() const { return m_records; }
    bool isDetached() const { return m_detached; }
    // Told of every save that wrote the file this set had read: the records as
    // read and as written (the window records its changes in the send history).
    using SaveObserver = std::function<void(const std::array<Record, kVariableCount>& before,
                                            const std::array<Record, kVariableCount>& after)>;
    void setSaveObserver(SaveObserver observer) { m_saveObserver = std::move(observer); }

    static bool isTextVariable(int n) { return n >= 1 && n <= kTextVariableCount; }
    static QString defaultName(int n);
    static QString defaultMaxLength(int n);
    // The plug-in's folder and "QMDvarinfo.vls", joined as the original did.
    static QString defaultFilePath();

private:
    void ResetVariables();
    QString field(int16_t n, Field f) const;
    void setField(int16_t n, Field f, const QString& value);

    std::array<Record, kVariableCount> m_records;
    QString m_fieldSeparator;
    QString m_currentPath;
    bool m_detached = false;
    // The file as this object last loaded or saved it: its path, the digest of
    // its bytes (nothing: there was no file) and the set it held.
    QString m_knownPath;
    std::optional<QByteArray> m_knownFingerprint;
    std::array<Record, kVariableCount> m_knownRecords;
    SaveObserver m_saveObserver;
};
