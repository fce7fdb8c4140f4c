#pragma once

#include "displaylistfile.h"

#include <QDialog>

#include <optional>

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
    // The kind cell's text, "3 - TCP", and the kind read back from such a text
    // (its leading number; nullopt when there is none).
    static QString kindText(int16_t kind);
    static std::optional<int16_t> kindOf(const QString& text);
    // A new display of that kind: the fields its connection needs, filled in.
    static DisplayRecord defaultsFor(int16_t kind, const QString& number);

signals:
    void saved(const QString& path, int displays);

private:
    void fillKindDefaults(int row);
    void markUnusedFields(int row);
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
    bool m_filling = false; // rows being filled by the dialog itself, not edited
};
