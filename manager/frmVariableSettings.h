#pragma once

#include <QDialog>

#include <array>

class QLineEdit;
class QRadioButton;

// The update settings: whether an update asks for displays, variables and
// delays, and the retry interval. OK stores, Cancel leaves everything as it was.
// The values and the interval arithmetic are manager::VariableSettings.
class frmVariableSettings final : public QDialog {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(frmVariableSettings)
public:
    explicit frmVariableSettings(QWidget* parent = nullptr);

private:
    void load();
    void store();

    std::array<QRadioButton*, 3> m_display{};
    QRadioButton* m_chooseVar;
    QRadioButton* m_neverChooseVar;
    QRadioButton* m_delay;
    QRadioButton* m_noDelay;
    QLineEdit* m_hour;
    QLineEdit* m_min;
    QLineEdit* m_sec;
};
