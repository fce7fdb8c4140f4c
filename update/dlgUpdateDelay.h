#pragma once

#include <QDialog>
#include <QHash>
#include <QString>

#include <functional>

class QComboBox;
class QLabel;
class QPushButton;
class QTreeWidget;
class QTreeWidgetItem;

// Asks, display by display, whether the chosen displays are updated now or after
// a delay. The caller reads Cancelled(), DisplayList() and DelayList() once the
// dialog has been hidden.
class dlgUpdateDelay final : public QDialog { // objectName "dlgUpdateDelay"
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(dlgUpdateDelay)
public:
    // displaySelection is asked once when the dialog loads, for the chosen display names joined by ",".
    explicit dlgUpdateDelay(std::function<QString()> displaySelection, QWidget* parent = nullptr);
    bool Cancelled() const;
    QString DelayList() const;
    QString DisplayList() const; // the displays it listed, joined by ","

    void reject() override; // the window's close box counts as "Cancel"

    // The names of the host's displays for these display entries, read from the
    // host's display list; entries it does not know are left out.
    static QHash<QString, QString> displayNames(const QStringList& entries);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void fillList(const std::function<QString()>& displaySelection);
    void applyChoice(QTreeWidgetItem* row, int choice);
    void placeDelayCombo();
    void onStartUpdate();
    void onCancel();

    QTreeWidget* m_list = nullptr;
    QComboBox* m_delay = nullptr;
    QComboBox* m_delayAll = nullptr;
    QLabel* m_allLabel = nullptr;
    QPushButton* m_start = nullptr;
    QPushButton* m_cancel = nullptr;
    QStringList m_displays;
    QString m_delayList;
    bool m_cancelled = false;
    bool m_syncing = false;
};
