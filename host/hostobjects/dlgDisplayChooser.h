#pragma once

#include "displaylistfile.h"

#include <QDialog>
#include <QStringList>

class QLabel;
class QListWidget;
class QPushButton;

// The host's display choice: every display of the display list with a check
// box; the last choice comes checked.
class dlgDisplayChooser final : public QDialog {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(dlgDisplayChooser)
public:
    explicit dlgDisplayChooser(QWidget* parent = nullptr);

    // Fills the list; `problem` (a missing file, malformed lines) is shown above it.
    void setDisplays(const QList<DisplayRecord>& records, const QStringList& checkedNumbers,
                     const QString& problem = {});
    // The numbers of the checked displays, in list order.
    QStringList checkedNumbers() const;

private:
    void setAllChecked(bool checked);

    QLabel* m_prompt;
    QLabel* m_problem;
    QListWidget* m_list;
    QPushButton* m_selectAll;
    QPushButton* m_clearAll;
    QPushButton* m_ok;
    QPushButton* m_cancel;
};
