#pragma once

#include "progids.h"
#include "runtimeerror.h"
#include "disptrans.h"

#include <QObject>
#include <QVariant>

#include <functional>
#include <memory>

class DisplayClient;

// The display-transmission control (ProgID "zolDTCon4.zolDispTrans"): one
// connection to a display at a time, and the commands that put variables on it,
// read them back and show messages. Every command answers whether the display
// took it; the reason for a false answer is in LastErrorText.
//
// Late-bound callers use the same role names: the operations are invokable and
// DisplayAddress is a property that takes a number or its text.
class zolDispTrans final : public QObject, public disptrans::IDispTrans {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(zolDispTrans)
    Q_INTERFACES(disptrans::IDispTrans)
    Q_PROPERTY(QVariant DisplayAddress READ displayAddressValue WRITE setDisplayAddressValue)
    Q_PROPERTY(bool LastCommandSucceeded READ LastCommandSucceeded)
    Q_PROPERTY(QString LastErrorText READ LastErrorText)
    Q_PROPERTY(bool IsOpen READ IsOpen)
    Q_PROPERTY(int TimeoutMs READ TimeoutMs WRITE setTimeoutMs)
    Q_PROPERTY(disptrans::DisplayConfiguration DisplayConfiguration READ ReadDisplayConfiguration)
    Q_PROPERTY(qulonglong BytesSent READ BytesSent)
    Q_PROPERTY(qulonglong BytesReceived READ BytesReceived)
public:
    static inline const char* kProgId = progid::kDispTrans;
    static constexpr int kDefaultTimeoutMs = 2000;

    explicit zolDispTrans(QObject* parent = nullptr);
    ~zolDispTrans() override;

    // Closes a connection that is still open, then opens the one described; the
    // display address becomes settings.ConnAddress.
    Q_INVOKABLE bool OpenConnection(disptrans::ConnectionSettings& settings) override;
    Q_INVOKABLE void CloseConnection() override;
    bool IsOpen() const;

    void setDisplayAddress(const QString& address) override; // Type mismatch / Overflow on bad text
    void setDisplayAddress(int16_t address) override;
    int16_t DisplayAddress() override { return m_address; }

    Q_INVOKABLE bool SendTextVarData(disptrans::TextVarDataItem& item) override;
    Q_INVOKABLE bool SendCellVarData(disptrans::CellVarDataItem& item) override;
    Q_INVOKABLE bool SendTextVarAttributes(disptrans::VarAttributeList& list) override;
    Q_INVOKABLE bool SendCellVarAttributes(disptrans::VarAttributeList& list) override;

    // Reads give an empty answer, and LastCommandSucceeded false, when the
    // display does not answer.
    Q_INVOKABLE disptrans::DisplayConfiguration ReadDisplayConfiguration() override;
    Q_INVOKABLE disptrans::DownloadTime ReadDownloadTime() override;
    Q_INVOKABLE disptrans::VarReadReply ReadTextVariable(disptrans::VarReadRequest& request) override;
    Q_INVOKABLE disptrans::VarReadReply ReadCellVariable(disptrans::VarReadRequest& request) override;
    Q_INVOKABLE bool SendMessage(const QString& message) override;

    bool LastCommandSucceeded() override { return m_succeeded; }
    QString LastErrorText() override { return m_errorText; }

    int TimeoutMs() const { return m_timeoutMs; }
    void setTimeoutMs(int ms);
    qulonglong BytesSent() const;
    qulonglong BytesReceived() const;

    static inline const QString kNotOpenText = QStringLiteral("no connection to a display is open");

private:
    QVariant displayAddressValue() const { return QVariant::fromValue(m_address); }
    void setDisplayAddressValue(const QVariant& value);

    // Runs a command on the open connection and records its outcome.
    bool command(const std::function<bool(DisplayClient&)>& run);

    std::unique_ptr<DisplayClient> m_client;
    int16_t m_address = 0;
    int m_timeoutMs = kDefaultTimeoutMs;
    bool m_succeeded = true;
    QString m_errorText;
};
