#pragma once

#include "progids.h"
#include <QIcon>
#include <QObject>
#include <QString>

// The plug-in's main class, which the host creates and calls: from its plug-in
// menu (StartPlugin), from its frame editor (StartFrameFeature) and before it
// transmits a playfile (StartPreTransmit). Creating it seeds the host's token
// table when needed.
class zolQMDVariables final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(zolQMDVariables)
public:
    static inline const char* kProgId = progid::kVariablePlugin;

    explicit zolQMDVariables(QObject* parent = nullptr);

    // In the order of the public interface.
    Q_INVOKABLE void StartPlugin(QObject* bActive = nullptr);
    Q_INVOKABLE bool DoesFrameEdit() const { return true; }
    Q_INVOKABLE void StartFrameFeature(QObject* fMyFrm);
    Q_INVOKABLE bool DoesPreTransmit() const;
    Q_INVOKABLE void StartPreTransmit(QObject* zolObject, QObject* pFile);
    Q_INVOKABLE QString GetMyName() const;
    Q_INVOKABLE QString GetMyDescription() const;
    Q_INVOKABLE QIcon GetMyPicture() const;
    Q_INVOKABLE QString GetMyDescriptiveName() const;
    // Runs "InitVariables" (exact, case-sensitive); any other name is ignored.
    // The other arguments are neither read nor written.
    Q_INVOKABLE void ExecuteMethod(QString& sMethod, QString& strParam1, QString& strParam2, bool& bGetStatus);
};
