#pragma once

#include <QLineEdit>

namespace manager {

// A variable's data box: one line whose limit holds back what the user types or
// pastes, never the text the program puts there. A text longer than the limit
// is shown whole; the user may shorten it but not lengthen it.
class DataBox final : public QLineEdit {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(DataBox)
public:
    explicit DataBox(QWidget* parent = nullptr);

    void setTypingLimit(int limit) { m_limit = limit; } // 0 or less: none
    int typingLimit() const { return m_limit; }
    // Puts `text` in place of the selection as the user's paste does: what goes
    // over the limit is left out.
    void insertTyped(const QString& text);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void inputMethodEvent(QInputMethodEvent* event) override;

private:
    int room() const;

    int m_limit = 0;
};

} // namespace manager
