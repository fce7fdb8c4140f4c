#include "propertypage.h"

#include "namedwidgets.h"

#include <QComboBox>
#include <QScopeGuard>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalBlocker>
#include <QTableWidget>
#include <QVBoxLayout>

namespace manager {

namespace {
// The caption column is 2000 twips wide at the platform's 15 twips a pixel.
constexpr int kCaptionWidth = 2000 / 15;
constexpr int kMinimumRowHeight = 325 / 15 + 1;

struct Names {
    const char* selection;
    const char* grid;
    const char* name;
    const char* color;
    const char* blink;
    const char* inverse;
    const char* data;
    const char* link;
    const char* paste;
    const char* length;
};

const Names kTextNames{"cmbTextVars",          "gridTextVars",      "txtTextVariableName", "cmbTextVarColor",
                       "cmbTextVarBlink",      "cmbTextVarInverse", "txtTextVarData",      "txtTextOLESource",
                       "cmdTextOLEPasteClear", "cmbTextMaxLength"};
const Names kCellNames{"cmbCellVars",        "gridCellVars",       "txtCellVarName", "cmbCellVarColor",
                       "cmbCellVarBlink",    "cmbCellVarInverse",  "txtCellVarData", "txtCellVarOLESource",
                       "cmdCellVarOLEPaste", "cmbCellVarMaxLength"};

enum Row { NameRow, ColorRow, BlinkRow, InverseRow, DataRow, LinkRow, LengthRow, RowCount };

QComboBox* codeList(QWidget* parent, const char* name, const QStringList& texts)
{
    auto* list = widgets::named(new QComboBox(parent), name);
    for (int i = 0; i < texts.size(); ++i)
        list->addItem(texts[i], i + 1);
    return list;
}

// Selects the entry whose code equals the stored text; an unknown code keeps the selection.
void selectCode(QComboBox* list, const QString& code)
{
    bool ok = false;
    const int value = code.trimmed().toInt(&ok);
    const int index = ok ? list->findData(value) : -1;
    if (index >= 0)
        list->setCurrentIndex(index);
}

QString codeOf(const QComboBox* list) { return QString::number(list->currentData().toInt()); }
} // namespace

PropertyPage::PropertyPage(PageKind kind, QWidget* parent) : QWidget(parent), m_kind(kind)
{
    const Names& n = kind == PageKind::Text ? kTextNames : kCellNames;
    setObjectName(kind == PageKind::Text ? QStringLiteral("pageText") : QStringLiteral("pageCell"));

    m_selection = widgets::named(new QComboBox(this), n.selection);
    m_selection->setMaxVisibleItems(20);
    m_grid = widgets::named(new QTableWidget(RowCount, 2, this), n.grid);

    m_name = widgets::named(new QLineEdit(QStringLiteral("Variable Name"), this), n.name);
    m_color = codeList(this, n.color,
                       {QStringLiteral("Red"), QStringLiteral("Green"), QStringLiteral("Yellow"),
                        QStringLiteral("Blue"), QStringLiteral("Magenta"), QStringLiteral("Cyan"),
                        QStringLiteral("White")});
    m_blink = codeList(this, n.blink, {QStringLiteral("Yes"), QStringLiteral("No")});
    m_inverse = codeList(this, n.inverse, {QStringLiteral("Yes"), QStringLiteral("No")});
    m_data = widgets::named(new DataBox(this), n.data);
    m_link = widgets::named(new QLineEdit(this), n.link);
    m_paste = widgets::namedButton(this, n.paste, QStringLiteral("Paste"));
    m_length = widgets::named(new QComboBox(this), n.length);
    m_length->setMaxVisibleItems(20);

    layOutSheet();

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_selection);
    layout->addWidget(m_grid);
    layout->addStretch(1);

    connect(m_selection, &QComboBox::currentIndexChanged, this, [this] { emit selectionChanged(); });
    connect(m_length, &QComboBox::currentIndexChanged, this, [this] { emit selectionChanged(); });
    connect(m_paste, &QPushButton::clicked, this, &PropertyPage::pasteClicked);
    m_grid->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(m_grid, &QWidget::customContextMenuRequested, this,
            [this](const QPoint& pos) { emit menuRequested(m_grid->viewport()->mapToGlobal(pos), true); });
    // The data box's right button is the dialog's (dlgVariables::ShowPopMenu).
}

QWidget* PropertyPage::cellEditor(QWidget* editor)
{
    editor->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    return editor;
}

void PropertyPage::layOutSheet()
{
    m_grid->horizontalHeader()->hide();
    m_grid->verticalHeader()->hide();
    m_grid->setSelectionMode(QAbstractItemView::NoSelection);
    m_grid->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_grid->setFocusPolicy(Qt::NoFocus);
    m_grid->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_grid->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_grid->horizontalHeader()->setMinimumSectionSize(kCaptionWidth);
    m_grid->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Fixed);
    m_grid->horizontalHeader()->setSectionResizeMode(1, QHeaderView::Stretch);
    m_grid->setColumnWidth(
        0, std::max(kCaptionWidth, fontMetrics().horizontalAdvance(QStringLiteral("Show Var Inverse")) + 24));

    const QStringList captions = rowCaptions();
    for (int row = 0; row < RowCount; ++row) {
        auto* caption = new QTableWidgetItem(captions[row]);
        caption->setFlags(Qt::ItemIsEnabled);
        caption->setBackground(palette().button());
        caption->setForeground(palette().buttonText());
        m_grid->setItem(row, 0, caption);
    }

    auto* linkCell = new QWidget(this);
    linkCell->setObjectName(QStringLiteral("linkCell"));
    auto* linkLayout = new QHBoxLayout(linkCell);
    linkLayout->setContentsMargins(0, 0, 0, 0);
    linkLayout->setSpacing(2);
    linkLayout->addWidget(m_link, 1);
    linkLayout->addWidget(m_paste);

    const QList<QWidget*> editors{m_name, m_color, m_blink, m_inverse, m_data, linkCell, m_length};
    int rowHeight = kMinimumRowHeight;
    for (QWidget* editor : editors)
        rowHeight = std::max(rowHeight, editor->sizeHint().height() + 2);
    for (int row = 0; row < RowCount; ++row) {
        m_grid->setCellWidget(row, 1, cellEditor(editors[row]));
        m_grid->setRowHeight(row, rowHeight);
    }
    // Exactly the seven rows: a sheet, not a scrolling list.
    const int frame = 2 * m_grid->frameWidth();
    m_grid->setFixedHeight(RowCount * rowHeight + frame);
    m_grid->setMinimumWidth(m_grid->columnWidth(0) + 300 + frame);
}

void PropertyPage::fillLists()
{
    const QSignalBlocker blockLength(m_length);
    const QSignalBlocker blockSelection(m_selection);
    m_length->clear();
    m_length->addItems(lengthChoices(m_kind));
    m_length->setCurrentIndex(m_length->count() - 1);
    m_selection->clear();
    const PageRange range = rangeOf(m_kind);
    for (int n = range.first; n <= range.last; ++n)
        m_selection->addItem(selectionText(n), n);
    m_selection->setCurrentIndex(-1);
}

int PropertyPage::chosenNumber() const
{
    return m_selection->currentIndex() < 0 ? 0 : m_selection->currentData().toInt();
}

void PropertyPage::choose(int n)
{
    const QSignalBlocker block(m_selection);
    m_selection->setCurrentIndex(m_selection->findData(n));
}

void PropertyPage::showValues(const EditorValues& v)
{
    const QSignalBlocker block(m_length);
    m_name->setText(v.name);
    selectCode(m_color, v.color);
    selectCode(m_blink, v.blink);
    selectCode(m_inverse, v.inverse);
    // A length the list does not hold (a hand-edited file) shows with no entry
    // chosen and stays as stored until the user chooses one.
    m_length->setCurrentIndex(m_length->findText(v.maxLength));
    m_length->setPlaceholderText(v.maxLength);
    m_data->setTypingLimit(maxLengthText().toInt());
    m_data->setText(v.data);
    m_link->setText(v.link);
    m_paste->setText(pasteCaption(v.link));
    // Whether the data can be typed is Paste's and Clear's business, not showing's.
}

QString PropertyPage::maxLengthText() const
{
    return m_length->currentIndex() < 0 ? m_length->placeholderText() : m_length->currentText();
}

EditorValues PropertyPage::values() const
{
    return {m_name->text(), codeOf(m_color), codeOf(m_blink), codeOf(m_inverse),
            m_data->text(), m_link->text(),  maxLengthText()};
}

} // namespace manager

void manager::PropertyPage::commit(clsVariableAccess& set) const
{
    if (shownNumber > 0)
        manager::commitValues(set, static_cast<int16_t>(shownNumber), values());
}

void manager::PropertyPage::showChosen(const clsVariableAccess& set, ILinkContainer* links)
{
    const int n = chosenNumber();
    if (n <= 0)
        return;
    showValues(manager::valuesOf(set, static_cast<int16_t>(n), links));
    shownNumber = n;
}

void manager::PropertyPage::select(clsVariableAccess& set, ILinkContainer* links)
{
    if (busy || chosenNumber() <= 0)
        return;
    busy = true;
    const auto done = qScopeGuard([this] { busy = false; });
    commit(set);
    showChosen(set, links);
}
