#include "zolDispTrans.h"

#include "displayclient.h"
#include "legacy.h"
#include "runtimeerror.h"

zolDispTrans::zolDispTrans(QObject* parent) : QObject(parent), m_client(std::make_unique<DisplayClient>())
{
    setObjectName(QStringLiteral("zolDispTrans"));
    m_client->setTimeoutMs(m_timeoutMs);
}

zolDispTrans::~zolDispTrans() { m_client->close(); }

bool zolDispTrans::OpenConnection(disptrans::ConnectionSettings& settings)
{
    m_client->close();
    m_address = settings.ConnAddress;
    const bool opened = m_client->open(settings);
    m_succeeded = opened;
    m_errorText = opened ? QString() : m_client->errorText();
    if (opened)
        m_client->setAddress(m_address);
    else if (m_errorText.isEmpty())
        m_errorText = QStringLiteral("the connection could not be opened");
    return opened;
}

void zolDispTrans::CloseConnection()
{
    m_client->close();
    m_succeeded = true;
    m_errorText.clear();
}

bool zolDispTrans::IsOpen() const { return m_client->isOpen(); }

void zolDispTrans::setDisplayAddress(const QString& address) { setDisplayAddress(legacy::textToInt16(address)); }

void zolDispTrans::setDisplayAddress(int16_t address)
{
    m_address = address;
    m_client->setAddress(address);
}

void zolDispTrans::setDisplayAddressValue(const QVariant& value)
{
    if (value.metaType().id() == QMetaType::QString)
        setDisplayAddress(value.toString());
    else {
        bool ok = false;
        const double number = value.toDouble(&ok);
        if (!ok)
            RuntimeError::raise(RuntimeError::TypeMismatch);
        setDisplayAddress(legacy::toInt16(number));
    }
}

void zolDispTrans::setTimeoutMs(int ms)
{
    m_timeoutMs = ms;
    m_client->setTimeoutMs(ms);
}

qulonglong zolDispTrans::BytesSent() const { return m_client->bytesSent(); }
qulonglong zolDispTrans::BytesReceived() const { return m_client->bytesReceived(); }

bool zolDispTrans::command(const std::function<bool(DisplayClient&)>& run)
{
    if (!m_client->isOpen()) {
        m_succeeded = false;
        m_errorText = kNotOpenText;
        return false;
    }
    m_succeeded = run(*m_client);
    m_errorText = m_succeeded ? QString() : m_client->errorText();
    if (!m_succeeded && m_errorText.isEmpty())
        m_errorText = QStringLiteral("display %1 did not take the command").arg(m_address);
    return m_succeeded;
}

bool zolDispTrans::SendTextVarData(disptrans::TextVarDataItem& item)
{
    return command([&](DisplayClient& c) { return c.writeTextData(item.VarIndex, item.VarText); });
}

bool zolDispTrans::SendCellVarData(disptrans::CellVarDataItem& item)
{
    return command([&](DisplayClient& c) { return c.writeCellData(item.VarIndex, item.VarText); });
}

bool zolDispTrans::SendTextVarAttributes(disptrans::VarAttributeList& list)
{
    return command([&](DisplayClient& c) { return c.writeTextAttributes(list); });
}

bool zolDispTrans::SendCellVarAttributes(disptrans::VarAttributeList& list)
{
    return command([&](DisplayClient& c) { return c.writeCellAttributes(list); });
}

disptrans::DisplayConfiguration zolDispTrans::ReadDisplayConfiguration()
{
    disptrans::DisplayConfiguration result;
    command([&](DisplayClient& c) {
        const auto answer = c.readConfiguration();
        if (answer)
            result = *answer;
        return answer.has_value();
    });
    return result;
}

disptrans::DownloadTime zolDispTrans::ReadDownloadTime()
{
    disptrans::DownloadTime result;
    command([&](DisplayClient& c) {
        const auto answer = c.readDownloadTime();
        if (answer)
            result = *answer;
        return answer.has_value();
    });
    return result;
}

disptrans::VarReadReply zolDispTrans::ReadTextVariable(disptrans::VarReadRequest& request)
{
    disptrans::VarReadReply result;
    command([&](DisplayClient& c) {
        const auto answer = c.readTextVariable(request.VariableIndex);
        if (answer)
            result = *answer;
        return answer.has_value();
    });
    return result;
}

disptrans::VarReadReply zolDispTrans::ReadCellVariable(disptrans::VarReadRequest& request)
{
    disptrans::VarReadReply result;
    command([&](DisplayClient& c) {
        const auto answer = c.readCellVariable(request.VariableIndex);
        if (answer)
            result = *answer;
        return answer.has_value();
    });
    return result;
}

bool zolDispTrans::SendMessage(const QString& message)
{
    return command([&](DisplayClient& c) { return c.showMessage(message); });
}
