#pragma once

// A dot-matrix LED sign: the lines of a message drawn as lit LEDs in the
// sign's seven colours on black, with blinking and inverse runs.

#include "messagemarkup.h"

#include <QColor>
#include <QImage>
#include <QTimer>
#include <QWidget>

namespace emulator {

class LedSignWidget final : public QWidget {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(LedSignWidget)
public:
    explicit LedSignWidget(QWidget* parent = nullptr);

    // LEDs per text line: a 7-row glyph with a dark row above and below.
    static constexpr int kRowsPerLine = 9;

    void setLines(const QList<MessageLine>& lines);
    // Blinking runs are lit in the "on" phase; the widget toggles it twice a
    // second unless stopped (screenshots).
    void setBlinkPhase(bool on);
    void setBlinking(bool running);
    // The colour of a colour code; codes outside 1 ... 7 show red.
    static QColor ledColor(int code);

    // The LED matrix: one pixel per LED, transparent when dark.
    const QImage& matrix() const { return m_matrix; }
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void rebuild();

    QList<MessageLine> m_lines;
    QImage m_matrix;
    bool m_blinkOn = true;
    QTimer m_blinkTimer;
};

} // namespace emulator
