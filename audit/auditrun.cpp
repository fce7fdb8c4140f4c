#include "auditrun.h"

#include "clock.h"
#include "legacy.h"
#include "recorder.h"

namespace audit {

namespace {
const QString kCrLf = QStringLiteral("\r\n");
const QString kTab = QStringLiteral("\t");
const QString kDisplayListFile = QStringLiteral("Displays.dat");
const QString kRule = QString(41, u'-');
} // namespace

void TextReport::append(const QString& text, quint32 colour, bool heading)
{
    m_text += text;
    rtf::CharFormat format;
    // The report's colour words are blue-green-red.
    format.color = rtf::rgb(int(colour & 0xFF), int(colour >> 8 & 0xFF), int(colour >> 16 & 0xFF));
    format.pointSize = heading ? kHeadingPoints : kNormalPoints;
    m_runs.append({QString(text).remove(u'\r'), format});
}

void TextReport::clear()
{
    m_text.clear();
    m_runs.clear();
}

Mode modeOf(bool dataOnly, bool attributesOnly)
{
    if (dataOnly)
        return Mode::DataOnly;
    if (attributesOnly)
        return Mode::AttributesOnly;
    return Mode::DataAndAttributes;
}

QString downloadText(const disptrans::DownloadTime& t)
{
    return QStringLiteral("Last Var Download: ") + QString::number(t.Month) + u'/' + QString::number(t.Day) + u'/'
           + legacy::formatZeros(t.Year, 2) + u' ' + legacy::formatZeros(t.Hour, 2) + u':'
           + legacy::formatZeros(t.Minute, 2) + u':' + legacy::formatZeros(t.Second, 2);
}

QString colourName(int16_t code)
{
    switch (code) {
    case 1: return QStringLiteral("Red");
    case 2: return QStringLiteral("Green");
    case 3: return QStringLiteral("Yellow");
    case 4: return QStringLiteral("Blue");
    case 5: return QStringLiteral("Magenta");
    case 6: return QStringLiteral("Cyan");
    case 7: return QStringLiteral("White");
    default: return QString();
    }
}

QString yesNo(int16_t value) { return value == 1 ? QStringLiteral("Yes") : QStringLiteral("No"); }

QString columnHeader(Mode mode)
{
    switch (mode) {
    case Mode::DataOnly: return QStringLiteral("Variable\t Data");
    case Mode::AttributesOnly: return QStringLiteral("Variable\tBlink\tInverse\tColor");
    case Mode::DataAndAttributes: break;
    }
    return QStringLiteral("Variable\tBlink\tInverse\tColor\t Data");
}

QString entryText(Mode mode, bool text, int16_t n, const disptrans::VarReadReply& reply)
{
    const QString name = (text ? QStringLiteral("Text Var ") : QStringLiteral("Cell Var ")) + QString::number(n);
    const QString data = kTab + u' ' + reply.Data + u' ';
    const QString attributes = kTab + yesNo(reply.Blink) + kTab + yesNo(reply.Inverse) + kTab + colourName(reply.Color);
    switch (mode) {
    case Mode::DataOnly: return name + data;
    case Mode::AttributesOnly: return name + attributes;
    case Mode::DataAndAttributes: break;
    }
    return name + attributes + data;
}

int16_t groupExtraCount(const disptrans::DisplayConfiguration& configuration)
{
    if (!configuration.IsDisplayGroup)
        return 0;
    const int32_t units = int32_t(legacy::add16(configuration.GroupSpanB, 1))
                          * legacy::add16(configuration.GroupSpanA, 1);
    if (units > 32767 || units < -32768)
        RuntimeError::raise(RuntimeError::Overflow);
    return legacy::sub16(units, 1);
}

AuditRun::AuditRun() = default;
AuditRun::~AuditRun() = default;

namespace {
// The object given, else the one made from `progId` on first use.
template <class Interface> Interface& givenOrMade(Interface* given, Component<Interface>& made, const QString& progId)
{
    if (given)
        return *given;
    if (!made)
        made = createComponent<Interface>(progId);
    return *made.get();
}
} // namespace

disptrans::IDispTrans& AuditRun::control()
{
    return givenOrMade(m_givenControl, m_control, disptrans::kDispTransProgId);
}

disptrans::IDisplayList& AuditRun::displayList()
{
    return givenOrMade(m_givenList, m_list, disptrans::kDisplayListProgId);
}

void AuditRun::append(const QString& text, quint32 colour, bool heading)
{
    if (m_sink)
        m_sink->append(text, colour, heading);
}

void AuditRun::pump()
{
    if (m_pump)
        m_pump();
}

AuditRun::Outcome AuditRun::run()
{
    m_errorText.clear();
    try {
        const QString selection = m_selection ? m_selection() : QString();
        if (selection.isEmpty())
            return Outcome::NothingToDo;
        m_cancelRequested = false;
        if (m_started)
            m_started();
        for (const QString& name : selection.split(u',')) {
            auditDisplay(name);
            if (m_cancelRequested) {
                append(QStringLiteral("VARIABLE AUDIT CANCELLED....."), kRed, true);
                return Outcome::Cancelled;
            }
        }
        return Outcome::Finished;
    } catch (const RuntimeError& e) {
        // The run ends where it was: no further lines, and an open connection stays open.
        m_errorText = e.description();
        return Outcome::Failed;
    }
}

void AuditRun::auditDisplay(const QString& name)
{
    append(kRule + kCrLf, kGreen, true);
    append(name + kCrLf, kBlue, true);
    // Deliberately kept across the display's units: after the first failure on a
    // display its further units get their headings but no variable lines.
    m_display = name;
    m_displayNumber.clear();
    m_displayName.clear();
    m_readOk = openDisplay(name);
    // The connection's own reason, before the reads below put theirs in its place.
    const QString openError = m_readOk ? QString() : control().LastErrorText();
    if (m_openObserver)
        m_openObserver(name, m_readOk);
    pump();
    const QStringList ids = displayList().AddressList().split(u',');
    for (const QString& element : ids) {
        control().setDisplayAddress(element);
        const int16_t extra = groupExtraCount(control().ReadDisplayConfiguration());
        const int16_t first = legacy::textToInt16(element);
        const int16_t last = legacy::add16(first, extra);
        for (int32_t id = first; id <= last; ++id) {
            control().setDisplayAddress(int16_t(id));
            m_unit = int16_t(id);
            append(QStringLiteral("ID=") + QString::number(id) + kCrLf, kBlue);
            append(downloadText(control().ReadDownloadTime()) + kCrLf, kBlue);
            append(columnHeader(m_mode) + kCrLf, kBlue);
            if (m_readOk) {
                for (const clsVarSetupInfo& selector : std::as_const(m_variables)) {
                    readOneVariable(selector);
                    pump();
                    if (!m_readOk || m_cancelRequested)
                        break;
                }
            }
            pump();
            if (m_cancelRequested)
                break;
        }
        if (m_cancelRequested)
            break;
    }
    append(QStringLiteral("Closing Connection") + kCrLf, kBlue);
    const QString error = !openError.isEmpty() ? openError : m_readOk ? QString() : control().LastErrorText();
    control().CloseConnection();
    if (m_recordHistory)
        recordAudit(ids.join(u','), error);
}

void AuditRun::recordAudit(const QString& units, const QString& error)
{
    history::Entry entry;
    entry.when = Clock::now();
    entry.kind = QStringLiteral("audit");
    // By number and name, as updates are recorded.
    entry.display = m_displayNumber.isEmpty() ? m_display : m_displayNumber;
    entry.displayName = m_displayNumber.isEmpty() ? QString() : m_displayName;
    entry.units = units;
    entry.mode = QStringLiteral("audit");
    for (const clsVarSetupInfo& member : std::as_const(m_variables))
        entry.variables.append(member.VarNum);
    const bool ok = m_readOk && !m_cancelRequested;
    entry.result = ok ? QStringLiteral("Audited") : QStringLiteral("FAILED");
    entry.error = ok ? QString() : (m_cancelRequested ? QStringLiteral("User Canceled") : error);
    entry.account = m_account;
    history::recordQuietly(entry);
}

bool AuditRun::openDisplay(const QString& name)
{
    disptrans::IDisplayList& list = displayList();
    list.setListFile(kDisplayListFile);
    list.setCurrentRecord(list.FindDisplayByName(name));
    m_displayNumber = list.DisplayNumber();
    m_displayName = list.DisplayName();
    append(QStringLiteral("Opening connection..."), kBlue);

    disptrans::ConnectionSettings settings;
    switch (list.ConnectionKind()) {
    case disptrans::SerialPort:
        settings.ConnKind = disptrans::SerialPort;
        settings.ConnParam1 = list.Kind1Param();
        break;
    case disptrans::Network:
        settings.ConnKind = disptrans::Network;
        settings.ConnParam3 = list.Kind3Param();
        break;
    default: // every other kind is opened as a modem
        settings.ConnKind = disptrans::Modem;
        settings.ConnParam2 = list.OtherKindParam();
        break;
    }
    settings.ConnTarget = list.LinkTarget();
    // The whole ID list converted as one number, as the update run gives it.
    settings.ConnAddress = legacy::textToInt16(list.AddressList());

    const bool opened = control().OpenConnection(settings);
    if (opened)
        append(QStringLiteral("Passed"), kGreen);
    else
        append(QStringLiteral("FAILED"), kRed);
    append(kCrLf, kBlue);
    return opened;
}

void AuditRun::readOneVariable(const clsVarSetupInfo& selector)
{
    disptrans::IDispTrans& c = control();
    disptrans::VarReadReply reply;
    int16_t shown = selector.VarNum;
    if (selector.IsText) {
        m_textRequest.VariableIndex = legacy::sub16(selector.VarNum, 1);
        reply = c.ReadTextVariable(m_textRequest);
    } else {
        m_cellRequest.VariableIndex = legacy::sub16(selector.VarNum, 257);
        reply = c.ReadCellVariable(m_cellRequest);
        shown = legacy::sub16(selector.VarNum, 256);
    }
    m_readOk = c.LastCommandSucceeded();
    if (m_readObserver)
        m_readObserver(m_display, m_unit, selector, m_readOk, reply);
    if (!m_readOk) {
        append(QStringLiteral("Read Error - FAILED"), kRed);
    } else {
        const int noted = m_sink ? m_sink->endLine() : 0;
        append(entryText(m_mode, selector.IsText, shown, reply), kMagenta);
        // An entry that wrapped onto further lines gets a line of its own after it.
        if (m_sink && m_sink->endLine() > noted + 1)
            append(kCrLf, kMagenta);
    }
    append(kCrLf, kBlue);
}

} // namespace audit
