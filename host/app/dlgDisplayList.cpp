#include "dlgDisplayList.h"

#include "runtimeerror.h" // before disptrans.h, which uses it
#include "disptrans.h"
#include "messagebox.h"

#include <QHBoxLayout>
#include <QHash>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

#include <algorithm>

namespace {
enum Column { Number, Name, Kind, Target, SerialParams, TcpPort, DialNumber, Addresses, ColumnCount };
// A kind cell that is not a number; no display uses this kind.
constexpr int16_t kBadKind = -32768;
} // namespace

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
                       "Addresses: the units' addresses joined by \",\"."),
        this);
    kinds->setObjectName(QStringLiteral("lblKinds"));
    kinds->setWordWrap(true);
    layout->addWidget(m_file);
    layout->addWidget(kinds);
    layout->addWidget(m_grid);
    layout->addWidget(m_problems);
    layout->addLayout(buttons);
    resize(760, 360);

    connect(m_add, &QPushButton::clicked, this, [this] { addRow(); });
    connect(m_remove, &QPushButton::clicked, this, [this] { removeSelectedRows(); });
    connect(m_save, &QPushButton::clicked, this, [this] { save(); });
    connect(m_close, &QPushButton::clicked, this, &QDialog::accept);
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
    m_grid->setRowCount(0);
    for (const DisplayRecord& r : records) {
        const int row = m_grid->rowCount();
        m_grid->insertRow(row);
        const QStringList cells{r.number,     r.name,       QString::number(r.kind), r.linkTarget,
                                r.kind1Param, r.kind3Param, r.otherKindParam,        r.addressList};
        for (int c = 0; c < ColumnCount; ++c)
            m_grid->setItem(row, c, new QTableWidgetItem(cells[c]));
    }
    m_grid->resizeColumnsToContents();
}

QList<DisplayRecord> dlgDisplayList::records() const
{
    QList<DisplayRecord> out;
    for (int row = 0; row < m_grid->rowCount(); ++row) {
        auto cell = [&](int c) { return m_grid->item(row, c) ? m_grid->item(row, c)->text() : QString(); };
        DisplayRecord r;
        r.number = cell(Number).trimmed();
        r.name = cell(Name);
        bool ok = false;
        const int kind = cell(Kind).trimmed().toInt(&ok);
        r.kind = ok && kind > kBadKind && kind <= 32767 ? int16_t(kind) : kBadKind;
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
    return true;
}

void dlgDisplayList::addRow()
{
    // The next free display number, TCP on the local machine as a start.
    int next = 1;
    for (const DisplayRecord& r : records())
        next = std::max(next, r.number.toInt() + 1);
    DisplayRecord r;
    r.number = QString::number(next);
    r.name = QStringLiteral("Display %1").arg(next);
    r.kind = disptrans::Network;
    r.linkTarget = QStringLiteral("127.0.0.1");
    r.kind1Param = QStringLiteral("9600,N,8,1");
    r.kind3Param = QStringLiteral("47010");
    r.addressList = QStringLiteral("1");
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
