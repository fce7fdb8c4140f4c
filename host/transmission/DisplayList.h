#pragma once

#include "progids.h"
#include "displaylistfile.h"
#include "runtimeerror.h"
#include "disptrans.h"

#include <QObject>
#include <QStringList>

#include <functional>

// The host's display list (ProgID "zolDTCon4.DisplayList"): "Displays.dat" read
// afresh every time ListFile is set, a current record and its fields. A bare
// file name is looked for in the host's folder (setting "AppPath").
class DisplayList final : public QObject, public disptrans::IDisplayList {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(DisplayList)
    Q_INTERFACES(disptrans::IDisplayList)
    Q_PROPERTY(QString ListFile READ ListFile WRITE setListFile)
    Q_PROPERTY(short CurrentRecord READ CurrentRecord WRITE setCurrentRecord)
    Q_PROPERTY(short RecordCount READ RecordCount)
    Q_PROPERTY(QString DisplayNumber READ DisplayNumber)
    Q_PROPERTY(QString DisplayName READ DisplayName)
    Q_PROPERTY(short ConnectionKind READ ConnectionKind)
    Q_PROPERTY(QString LinkTarget READ LinkTarget)
    Q_PROPERTY(QString Kind1Param READ Kind1Param)
    Q_PROPERTY(QString Kind3Param READ Kind3Param)
    Q_PROPERTY(QString OtherKindParam READ OtherKindParam)
    Q_PROPERTY(QString AddressList READ AddressList)
public:
    static inline const char* kProgId = progid::kDisplayList;
    static inline const QString kDefaultListFile = QStringLiteral("Displays.dat");

    explicit DisplayList(QObject* parent = nullptr);

    // Setting the file (re)reads it: RuntimeError 53 when it is missing, 75 when
    // it cannot be read. Malformed lines are skipped and listed in ParseErrors().
    QString ListFile() const { return m_listFile; }
    void setListFile(const QString& fileName) override;

    // The record position (1-based) of the display, which also becomes the
    // current record. FindDisplay matches the display number, then the name;
    // FindDisplayByName the name (case-insensitive), then the number. Raises
    // RuntimeError 9 when no record matches.
    Q_INVOKABLE short FindDisplay(const QString& displayNumber) override;
    Q_INVOKABLE short FindDisplayByName(const QString& name) override;

    short RecordCount() override;
    short CurrentRecord() const { return m_current; }
    void setCurrentRecord(short position) override; // RuntimeError 9 outside 1 ... RecordCount

    QString DisplayNumber() override { return current().number; }
    QString DisplayName() override { return current().name; }
    short ConnectionKind() override { return current().kind; }
    QString LinkTarget() override { return current().linkTarget; }
    QString Kind1Param() override { return current().kind1Param; }
    QString Kind3Param() override { return current().kind3Param; }
    QString OtherKindParam() override { return current().otherKindParam; }
    QString AddressList() override { return current().addressList; }

    // What the last read found wrong, one "line N: ..." text per malformed line.
    Q_INVOKABLE QStringList ParseErrors() const { return m_errors; }
    // The full path the list was read from.
    Q_INVOKABLE QString ResolvedPath() const { return m_path; }
    // Every record, for the host's own views.
    const QList<DisplayRecord>& records();

    // Where a list file name leads: a bare or relative name lies in the host's
    // folder ("AppPath", default the folder of this library); "\" and "/" both
    // separate folders.
    static QString resolve(const QString& fileName);

private:
    void ensureLoaded();
    const DisplayRecord& current();
    short positionWhere(const std::function<bool(const DisplayRecord&)>& match) const;
    [[noreturn]] void raiseNotFound(const QString& what) const;

    QString m_listFile;
    QString m_path;
    bool m_loaded = false;
    QList<DisplayRecord> m_records;
    QStringList m_errors;
    short m_current = 0;
};
