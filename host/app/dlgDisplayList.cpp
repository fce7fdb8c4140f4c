#include "dlgDisplayList.h"

#include "runtimeerror.h" // before disptrans.h, which uses it
#include "disptrans.h"
#include "messagebox.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QHash>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QRegularExpression>
#include <QStyledItemDelegate>
#include <QTableWidget>
#include <QVBoxLayout>

#include <algorithm>
#include <tuple>

namespace {
enum Column { Number, Name, Kind, Target, SerialParams, TcpPort, DialNumber, Addresses, ColumnCount };
// A kind cell that is not a number; no display uses this kind.
constexpr int16_t kBadKind = -32768;
constexpr int16_t kKinds[] = {disptrans::Network, disptrans::SerialPort, disptrans::Modem};

// The kind column is edited by choosing a kind by name; other numbers can still be typed.
class KindDelegate final : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;
    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem&, const QModelIndex&) const override
    {
        auto* box = new QComboBox(parent);
        box->setObjectName(QStringLiteral("cmbKind"));
        box->setEditable(true);
        for (int16_t kind : kKinds)
            box->addItem(dlgDisplayList::kindText(kind));
        return box;
    }
    void setEditorData(QWidget* editor, const QModelIndex& index) const override
    {
        static_cast<QComboBox*>(editor)->setCurrentText(index.data().toString());
    }
    void setModelData(QWidget* editor, QAbstractItemModel* model, const QModelIndex& index) const override
    {
        const QString text = static_cast<QComboBox*>(editor)->currentText();
        const auto kind = dlgDisplayList::kindOf(text);
        model->setData(index, kind ? dlgDisplayList::kindText(*kind) : text);
    }
};
} // namespace

QString dlgDisplayList::kindText(int16_t kind)
{
    switch (kind) {
    case disptrans::SerialPort: return QStringLiteral("1 - Serial port");
    case disptrans::Network: return QStringLiteral("3 - TCP");
    case disptrans::Modem: return QStringLiteral("2 - Modem");
    default: return QStringLiteral("%1 - Modem").arg(kind); // any other kind is opened as a modem
    }
}

std::optional<int16_t> dlgDisplayList::kindOf(const QString& text)
{
    static const QRegularExpression leading(QStringLiteral("^\\s*(-?\\d+)(\\s|-|$)"));
    const QRegularExpressionMatch m = leading.match(text);
    bool ok = false;
    const int kind = m.hasMatch() ? m.captured(1).toInt(&ok) : 0;
    if (!ok || kind <= kBadKind || kind > 32767)
        return std::nullopt;
    return int16_t(kind);
}

DisplayRecord dlgDisplayList::defaultsFor(int16_t kind, const QString& number)
{
    DisplayRecord r;
    r.number = number;
    r.name = QStringLiteral("Display %1").arg(number);
    r.kind = kind;
    r.addressList = QStringLiteral("1");
    if (kind == disptrans::Network) {
        r.linkTarget = QStringLiteral("127.0.0.1");
        r.kind3Param = QStringLiteral("47010");
    } else {
        r.linkTarget = QStringLiteral("/dev/ttyS0");
        if (kind == disptrans::SerialPort)
            r.kind1Param = QStringLiteral("9600,N,8,1");
    }
    return r;
}

QStringList dlgDisplayList::columnCaptions()
{
    return {QStringLiteral("Number"), QStringLiteral("Name"),     QStringLiteral("Kind"), QStringLiteral("Target"),
            QStringLiteral("Serial"), QStringLiteral("TCP Port"), QStringLiteral("Dial"), QStringLiteral("Addresses")};
}

dlgDisplayList::dlgDisplayList(const QString& path, QWidget* parent)
    : QDialog(parent), m_path(path), m_file(new QLabel(this)), m_problems(new QLabel(this)),
      m_grid(new QTableWidget(0, ColumnCount, this)), m_add(new QPushButton(QStringLiteral("&Add"), this)),
      m_remove(new QPushButton(QStringLiteral("&Remove"), this)),
      m_save(new QPushButton(QStringLiteral("&Save"), this)), m_close(new QPushButton(QStringLiteral("Close"), this))
{
    setObjectName(QStringLiteral("dlgDisplayList"));
    setWindowTitle(QStringLiteral("Display List"));
    m_file->setObjectName(QStringLiteral("lblFile"));
    m_file->setText(QStringLiteral("File: ") + path);
    m_file->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_problems->setObjectName(QStringLiteral("lblProblems"));
    m_problems->setWordWrap(true);
    m_problems->setStyleSheet(QStringLiteral("color: #b00000"));
    m_grid->setObjectName(QStringLiteral("gridDisplays"));
    m_grid->setHorizontalHeaderLabels(columnCaptions());
    m_grid->horizontalHeader()->setStretchLastSection(true);
    m_grid->verticalHeader()->setVisible(false);
    m_grid->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_grid->setItemDelegateForColumn(Kind, new KindDelegate(m_grid));
    m_grid->horizontalHeader()->setMinimumSectionSize(70);
    m_grid->horizontalHeaderItem(Kind)->setToolTip(QStringLiteral("1 serial port, 3 TCP, any other number a modem"));
    m_add->setObjectName(QStringLiteral("cmdAdd"));
    m_remove->setObjectName(QStringLiteral("cmdRemove"));
    m_save->setObjectName(QStringLiteral("cmdSave"));
    m_close->setObjectName(QStringLiteral("cmdClose"));

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_add);
    buttons->addWidget(m_remove);
    buttons->addStretch();
    buttons->addWidget(m_save);
    buttons->addWidget(m_close);
    auto* layout = new QVBoxLayout(this);
    auto* kinds = new QLabel(
        QStringLiteral("Kind: 1 serial port (Target = device, Serial = 9600,N,8,1), "
                       "3 TCP (Target = host, TCP Port), any other: modem (Target = device, Dial). "
                       "Addresses: the units' addresses joined by \",\". Fields a kind does not use are grey; "
                       "choosing a kind fills the fields it needs with its defaults."),
        this);
    kinds->setObjectName(QStringLiteral("lblKinds"));
    kinds->setWordWrap(true);
    layout->addWidget(m_file);
    layout->addWidget(kinds);
    layout->addWidget(m_grid);
    layout->addWidget(m_problems);
    layout->addLayout(buttons);
    resize(900, 380);

    connect(m_add, &QPushButton::clicked, this, [this] { addRow(); });
    connect(m_remove, &QPushButton::clicked, this, [this] { removeSelectedRows(); });
    connect(m_save, &QPushButton::clicked, this, [this] { save(); });
    connect(m_close, &QPushButton::clicked, this, &QDialog::accept);
    connect(m_grid, &QTableWidget::itemChanged, this, [this](QTableWidgetItem* item) {
        if (item->column() == Kind && !m_filling)
            fillKindDefaults(item->row());
    });
    reload();
}

void dlgDisplayList::reload()
{
    try {
        const DisplayListFile::Contents contents = DisplayListFile::read(m_path);
        setRecords(contents.records);
        m_problems->setText(contents.errorTexts().join(u'\n'));
    } catch (const RuntimeError& e) {
        setRecords({});
        m_problems->setText(e.description());
    }
    m_problems->setVisible(!m_problems->text().isEmpty());
}

void dlgDisplayList::setRecords(const QList<DisplayRecord>& records)
{
    m_filling = true;
    m_grid->setRowCount(0);
    for (const DisplayRecord& r : records) {
        const int row = m_grid->rowCount();
        m_grid->insertRow(row);
        const QStringList cells{r.number,     r.name,       kindText(r.kind), r.linkTarget,
                                r.kind1Param, r.kind3Param, r.otherKindParam, r.addressList};
        for (int c = 0; c < ColumnCount; ++c)
            m_grid->setItem(row, c, new QTableWidgetItem(cells[c]));
        m_grid->item(row, Kind)->setData(Qt::UserRole, r.kind);
        markUnusedFields(row);
    }
    m_filling = false;
    // Wide enough for the header and a typical value, whatever the rows hold.
    m_grid->resizeColumnsToContents();
    const int minimum[ColumnCount] = {60, 150, 110, 130, 100, 80, 100, 90};
    for (int c = 0; c < ColumnCount; ++c)
        m_grid->setColumnWidth(c, qMax(m_grid->columnWidth(c), minimum[c]));
}

void dlgDisplayList::markUnusedFields(int row)
{
    const auto kind = kindOf(m_grid->item(row, Kind) ? m_grid->item(row, Kind)->text() : QString());
    const bool serial = kind == disptrans::SerialPort, tcp = kind == disptrans::Network,
               modem = kind && !serial && !tcp;
    const std::pair<int, bool> used[] = {{SerialParams, serial}, {TcpPort, tcp}, {DialNumber, modem}};
    for (const auto& [column, inUse] : used) {
        if (QTableWidgetItem* item = m_grid->item(row, column))
            item->setBackground(inUse ? QBrush() : QBrush(QColor(0xe8, 0xe8, 0xe8)));
    }
}

void dlgDisplayList::fillKindDefaults(int row)
{
    QTableWidgetItem* kindItem = m_grid->item(row, Kind);
    const auto kind = kindOf(kindItem->text());
    if (kind) {
        // A field that is empty or still holds the previous kind's default gets
        // the new kind's default; what the operator typed stays.
        const auto previous = kindItem->data(Qt::UserRole);
        const DisplayRecord was = defaultsFor(previous.isValid() ? int16_t(previous.toInt()) : *kind, QString());
        const DisplayRecord d = defaultsFor(*kind, QString());
        const std::tuple<int, QString, QString> fields[] = {{Target, was.linkTarget, d.linkTarget},
                                                            {SerialParams, was.kind1Param, d.kind1Param},
                                                            {TcpPort, was.kind3Param, d.kind3Param},
                                                            {DialNumber, was.otherKindParam, d.otherKindParam}};
        m_filling = true;
        for (const auto& [column, oldDefault, value] : fields) {
            QTableWidgetItem* item = m_grid->item(row, column);
            const QString text = item ? item->text().trimmed() : QString();
            if (item && (text.isEmpty() || text == oldDefault))
                item->setText(value);
        }
        kindItem->setData(Qt::UserRole, *kind);
        m_filling = false;
    }
    markUnusedFields(row);
}

QList<DisplayRecord> dlgDisplayList::records() const
{
    QList<DisplayRecord> out;
    for (int row = 0; row < m_grid->rowCount(); ++row) {
        auto cell = [&](int c) { return m_grid->item(row, c) ? m_grid->item(row, c)->text() : QString(); };
        DisplayRecord r;
        r.number = cell(Number).trimmed();
        r.name = cell(Name);
        r.kind = kindOf(cell(Kind)).value_or(kBadKind);
        r.linkTarget = cell(Target);
        r.kind1Param = cell(SerialParams);
        r.kind3Param = cell(TcpPort);
        r.otherKindParam = cell(DialNumber);
        r.addressList = cell(Addresses);
        r.line = row + 1;
        out << r;
    }
    return out;
}

bool dlgDisplayList::save()
{
    const QList<DisplayRecord> rows = records();
    // Each row is judged by the file's own reader, as it will be read back.
    QStringList problems;
    QHash<QString, int> rowOfNumber;
    for (const DisplayRecord& r : rows) {
        QString error;
        const auto parsed = DisplayListFile::parseLine(DisplayListFile::formatRecord(r), &error);
        if (r.kind == kBadKind)
            problems << QStringLiteral("row %1: the kind is not a number").arg(r.line);
        else if (!parsed)
            problems << QStringLiteral("row %1: %2").arg(r.line).arg(error);
        else if (rowOfNumber.contains(parsed->number))
            problems << QStringLiteral("row %1: display number %2 is already used in row %3")
                            .arg(r.line)
                            .arg(parsed->number)
                            .arg(rowOfNumber.value(parsed->number));
        else
            rowOfNumber.insert(parsed->number, r.line);
    }
    if (!problems.isEmpty()) {
        m_problems->setText(problems.join(u'\n'));
        m_problems->show();
        msgbox::show(QStringLiteral("The display list was not saved:\n") + problems.join(u'\n'), msgbox::OKOnly,
                     msgbox::Exclamation, {}, this);
        return false;
    }
    QString error;
    if (!DisplayListFile::write(m_path, rows, &error)) {
        msgbox::show(QStringLiteral("The display list could not be written: ") + error, msgbox::OKOnly,
                     msgbox::Critical, {}, this);
        return false;
    }
    m_problems->clear();
    m_problems->hide();
    reload();
    emit saved(m_path, int(rows.size()));
    return true;
}

void dlgDisplayList::addRow()
{
    // The next free display number, TCP on the local machine as a start.
    int next = 1;
    for (const DisplayRecord& r : records())
        next = std::max(next, r.number.toInt() + 1);
    const DisplayRecord r = defaultsFor(disptrans::Network, QString::number(next));
    QList<DisplayRecord> all = records();
    all << r;
    setRecords(all);
    m_grid->setCurrentCell(m_grid->rowCount() - 1, Name);
}

void dlgDisplayList::removeSelectedRows()
{
    QList<int> rows;
    for (const QModelIndex& index : m_grid->selectionModel()->selectedRows())
        rows << index.row();
    std::sort(rows.begin(), rows.end(), std::greater<>());
    for (int row : rows)
        m_grid->removeRow(row);
}
