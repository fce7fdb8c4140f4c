#include "varstore.h"

#include "clsVariableAccess.h"
#include "legacy.h"
#include "machinesettings.h"
#include "settingsstore.h"

#include <QFileInfo>

namespace {
QString absolute(const QString& path) { return QFileInfo(VariableFile::nativePath(path)).absoluteFilePath(); }

QString currentSetting() { return settings::read(settings::kVarFileLoc, clsVariableAccess::defaultFilePath()); }
} // namespace

VarStore::VarStore(const QString& fileOption)
{
    const QString current = absolute(currentSetting());
    m_path = fileOption.isEmpty() ? current : absolute(fileOption);
    m_current = m_path == current;
}

vls::RecordSet VarStore::defaults()
{
    vls::RecordSet records;
    for (int n = 1; n <= vls::kRecordCount; ++n)
        records[n - 1] = vls::Record{clsVariableAccess::defaultName(n),
                                     QStringLiteral("1"),
                                     QStringLiteral("2"),
                                     QStringLiteral("2"),
                                     QString(),
                                     QString(),
                                     clsVariableAccess::defaultMaxLength(n)};
    return records;
}

bool VarStore::load(QString* error)
{
    m_records = defaults();
    if (m_current && !QFileInfo::exists(m_path))
        return true;
    const VariableFile::ReadResult read = VariableFile::read(m_path, m_records);
    if (!read.opened)
        *error = QStringLiteral("cannot read %1").arg(m_path);
    else if (!read.compatible)
        *error = QStringLiteral("%1 is not a variable file (its first line is not \"%2\")")
                     .arg(m_path, VariableFile::kHeader);
    else if (!read.complete())
        *error = QStringLiteral("%1 holds only %2 of the 416 variables").arg(m_path).arg(read.recordsRead);
    return read.complete();
}

bool VarStore::save(QString* error)
{
    if (!VariableFile::write(m_path, m_records, error))
        return false;
    if (!m_current)
        return true;
    if (settings::read(settings::kVarFileLoc, QString()).isEmpty())
        settings::write(settings::kVarFileLoc, m_path);
    QList<std::pair<QString, QString>> values;
    values.reserve(vls::kRecordCount);
    for (int n = 1; n <= vls::kRecordCount; ++n)
        values.append({QStringLiteral("VBL") + legacy::formatZeros(n, 3), m_records[n - 1][clsVariableAccess::Data]});
    settings::WriteMachineSettings(QString::fromLatin1(settings::kVariablesApplication),
                                   QString::fromLatin1(settings::kVariablesSection), values);
    return true;
}

EngineSet::EngineSet(const vls::RecordSet& records) : m_set(std::make_unique<clsVariableAccess>())
{
    for (int16_t n = 1; n <= vls::kRecordCount; ++n) {
        const vls::Record& r = records[n - 1];
        m_set->setVariableName(n, r[clsVariableAccess::Name]);
        m_set->setVariableColor(n, r[clsVariableAccess::Color]);
        m_set->setVariableBlink(n, r[clsVariableAccess::Blink]);
        m_set->setVariableInverse(n, r[clsVariableAccess::Inverse]);
        m_set->setVariableData(n, r[clsVariableAccess::Data]);
        m_set->setVariableOLELink(n, r[clsVariableAccess::OLELink]);
        m_set->setVariableMaxLength(n, r[clsVariableAccess::MaxLength]);
    }
}

EngineSet::~EngineSet()
{
    // What the object's own save will write is then what the current file holds.
    m_set->LoadVariables(QString());
}
