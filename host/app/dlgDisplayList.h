#pragma once

#include "displaylistfile.h"

#include <QDialog>

class QLabel;
class QPushButton;
class QTableWidget;

// The host's display list editor: one row per display of "Displays.dat", one
// column per field; Save writes the file when every row is valid.
class dlgDisplayList final : public QDialog {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(dlgDisplayList)
public:
    explicit dlgDisplayList(const QString& path, QWidget* parent = nullptr);

    // The rows as records, in table order.
    QList<DisplayRecord> records() const;
    void setRecords(const QList<DisplayRecord>& records);
    // Validates and writes the file; false (with the problems shown) otherwise.
    bool save();
    QString path() const { return m_path; }

    static QStringList columnCaptions();

private:
    void reload();
    void addRow();
    void removeSelectedRows();

    QString m_path;
    QLabel* m_file;
    QLabel* m_problems;
    QTableWidget* m_grid;
    QPushButton* m_add;
    QPushButton* m_remove;
    QPushButton* m_save;
    QPushButton* m_close;
};
