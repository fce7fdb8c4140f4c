#pragma once

#include "databox.h"
#include "variablepage.h"

#include <QWidget>

class QComboBox;
class QLineEdit;
class QPushButton;
class QTableWidget;

namespace manager {

// One page of the variable manager: the selection list above a two-column
// property sheet whose left column holds the row captions and whose right column
// holds the editors. The page remembers the number of the variable it shows and
// guards its selection handler against re-entry; the handler itself is the
// dialog's, which owns the variable set.
class PropertyPage final : public QWidget {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(PropertyPage)
public:
    PropertyPage(PageKind kind, QWidget* parent = nullptr);

    PageKind kind() const { return m_kind; }
    QComboBox* selectionList() const { return m_selection; }
    QComboBox* lengthList() const { return m_length; }
    DataBox* dataBox() const { return m_data; }
    QLineEdit* linkBox() const { return m_link; }
    QPushButton* pasteButton() const { return m_paste; }
    QTableWidget* grid() const { return m_grid; }
    // The maximum length shown: the length list's choice, or a stored length
    // the list does not hold, which is kept as it is.
    QString maxLengthText() const;

    // The selection and length lists refilled, the length list on its last entry,
    // nothing selected yet; no handler runs.
    void fillLists();
    // The variable number of the selection list's entry, 0 when none is selected.
    int chosenNumber() const;
    // Selects the entry of variable n without running the handler.
    void choose(int n);

    void showValues(const EditorValues& values);
    EditorValues values() const;

    // Stores the editors into the variable shown, if any.
    void commit(clsVariableAccess& set) const;
    // Shows the chosen variable, linked values read through `links`.
    void showChosen(const clsVariableAccess& set, ILinkContainer* links);
    // The selection handler's work: the shown variable committed, then the
    // chosen one shown; does nothing while it runs already.
    void select(clsVariableAccess& set, ILinkContainer* links);

    // The variable the page shows: -1 before the first, 0 once the dialog closed.
    int shownNumber = -1;
    // Set while the page's selection handler runs.
    bool busy = false;

signals:
    // The user (or code) chose a variable or a length.
    void selectionChanged();
    void pasteClicked();
    // A right-button click on the sheet, at a global position (`onSheet` true).
    void menuRequested(const QPoint& globalPos, bool onSheet);

private:
    QWidget* cellEditor(QWidget* editor);
    void layOutSheet();

    PageKind m_kind;
    QComboBox* m_selection;
    QTableWidget* m_grid;
    QLineEdit* m_name;
    QComboBox* m_color;
    QComboBox* m_blink;
    QComboBox* m_inverse;
    DataBox* m_data;
    QLineEdit* m_link;
    QPushButton* m_paste;
    QComboBox* m_length;
};

} // namespace manager
