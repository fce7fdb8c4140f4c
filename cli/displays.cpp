#include "displays.h"

#include "DisplayList.h"
#include "classregistry.h"
#include "displaylistfile.h"
#include "varrange.h"

#include <QFileInfo>
#include <QSet>

namespace displays {

namespace {
// The host's display list, reading one given file whatever name it is told.
class RedirectedList final : public QObject, public disptrans::IDisplayList {
    Q_OBJECT
    Q_INTERFACES(disptrans::IDisplayList)
public:
    explicit RedirectedList(const QString& file) : m_file(file) {}
    void setListFile(const QString&) override { m_list.setListFile(m_file); }
    int16_t FindDisplay(const QString& number) override { return m_list.FindDisplay(number); }
    int16_t FindDisplayByName(const QString& name) override { return m_list.FindDisplayByName(name); }
    int16_t RecordCount() override { return m_list.RecordCount(); }
    void setCurrentRecord(int16_t position) override { m_list.setCurrentRecord(position); }
    QString DisplayNumber() override { return m_list.DisplayNumber(); }
    QString DisplayName() override { return m_list.DisplayName(); }
    int16_t ConnectionKind() override { return m_list.ConnectionKind(); }
    QString LinkTarget() override { return m_list.LinkTarget(); }
    QString Kind1Param() override { return m_list.Kind1Param(); }
    QString Kind3Param() override { return m_list.Kind3Param(); }
    QString OtherKindParam() override { return m_list.OtherKindParam(); }
    QString AddressList() override { return m_list.AddressList(); }

private:
    QString m_file;
    DisplayList m_list;
};
} // namespace

QString listFile(const QString& option)
{
    return option.isEmpty() ? DisplayList::resolve(DisplayList::kDefaultListFile)
                            : QFileInfo(option).absoluteFilePath();
}

Problem select(const QString& rangeText, const QString& file, QList<Entry>* chosen, QString* error)
{
    if (!varrange::wellFormed(rangeText)) {
        *error = QStringLiteral("bad display list \"%1\" (for example 1,3,5-12)").arg(rangeText);
        return Problem::BadArgument;
    }
    DisplayListFile::Contents contents;
    try {
        contents = DisplayListFile::read(file);
    } catch (const RuntimeError& e) {
        *error = QStringLiteral("cannot read the display list %1: %2").arg(file, e.description());
        return Problem::BadFile;
    }
    // A list with a line that is not a display is refused whole: nothing is sent
    // to a list that may not say what its author meant.
    if (!contents.errors.isEmpty()) {
        *error = QStringLiteral("the display list %1 has lines that are not displays: %2")
                     .arg(file, contents.errorTexts().join(QStringLiteral("; ")));
        return Problem::BadFile;
    }
    QSet<int> present;
    int highest = 0;
    for (const DisplayRecord& r : std::as_const(contents.records)) {
        present.insert(r.number.toInt());
        highest = std::max(highest, r.number.toInt());
    }
    QList<int> numbers;
    try {
        for (const QString& element : rangeText.split(u',')) {
            const QList<int> named = varrange::parse(element, 32767);
            if (!element.contains(u'-') && (named.isEmpty() || !present.contains(named.first()))) {
                *error = QStringLiteral("no display %1 in %2").arg(element.trimmed(), file);
                return Problem::BadArgument;
            }
        }
        numbers = varrange::parse(rangeText, highest);
    } catch (const RuntimeError&) {
        *error = QStringLiteral("a display number in \"%1\" is too large").arg(rangeText);
        return Problem::BadArgument;
    }
    chosen->clear();
    for (int n : std::as_const(numbers)) {
        for (const DisplayRecord& r : std::as_const(contents.records))
            if (r.number.toInt() == n)
                chosen->append({r.number, r.name, r.addressList});
    }
    if (chosen->isEmpty()) {
        *error = QStringLiteral("\"%1\" names no display of %2").arg(rangeText, file);
        return Problem::BadArgument;
    }
    return Problem::None;
}

void useListFile(const QString& file)
{
    ComponentLoader::setFactory(QString::fromLatin1(DisplayList::kProgId),
                                [file]() -> QObject* { return new RedirectedList(file); });
}

} // namespace displays

#include "displays.moc"
