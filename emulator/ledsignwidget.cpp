#include "ledsignwidget.h"

#include <QFont>
#include <QPainter>
#include <QRadialGradient>

#include <algorithm>
#include <array>

namespace emulator {

namespace {
constexpr int kMinColumns = 120;
constexpr int kMargin = 2;           // dark LEDs around the text
constexpr int kCellWidth = 6;        // a 5-column glyph and one dark column
constexpr int kPitch = 8;            // screen pixels from one LED to the next

// The classic 5x7 dot-matrix glyphs of ' ' ... '~': five columns each, bit 0
// the top row.
constexpr uint8_t kFont5x7[95][5] = {
    {0x00, 0x00, 0x00, 0x00, 0x00},
    {0x00, 0x00, 0x5F, 0x00, 0x00},
    {0x00, 0x07, 0x00, 0x07, 0x00},
    {0x14, 0x7F, 0x14, 0x7F, 0x14},
    {0x24, 0x2A, 0x7F, 0x2A, 0x12},
    {0x23, 0x13, 0x08, 0x64, 0x62},
    {0x36, 0x49, 0x55, 0x22, 0x50},
    {0x00, 0x05, 0x03, 0x00, 0x00},
    {0x00, 0x1C, 0x22, 0x41, 0x00},
    {0x00, 0x41, 0x22, 0x1C, 0x00},
    {0x08, 0x2A, 0x1C, 0x2A, 0x08},
    {0x08, 0x08, 0x3E, 0x08, 0x08},
    {0x00, 0x50, 0x30, 0x00, 0x00},
    {0x08, 0x08, 0x08, 0x08, 0x08},
    {0x00, 0x60, 0x60, 0x00, 0x00},
    {0x20, 0x10, 0x08, 0x04, 0x02},
    {0x3E, 0x51, 0x49, 0x45, 0x3E},
    {0x00, 0x42, 0x7F, 0x40, 0x00},
    {0x42, 0x61, 0x51, 0x49, 0x46},
    {0x21, 0x41, 0x45, 0x4B, 0x31},
    {0x18, 0x14, 0x12, 0x7F, 0x10},
    {0x27, 0x45, 0x45, 0x45, 0x39},
    {0x3C, 0x4A, 0x49, 0x49, 0x30},
    {0x01, 0x71, 0x09, 0x05, 0x03},
    {0x36, 0x49, 0x49, 0x49, 0x36},
    {0x06, 0x49, 0x49, 0x29, 0x1E},
    {0x00, 0x36, 0x36, 0x00, 0x00},
    {0x00, 0x56, 0x36, 0x00, 0x00},
    {0x00, 0x08, 0x14, 0x22, 0x41},
    {0x14, 0x14, 0x14, 0x14, 0x14},
    {0x41, 0x22, 0x14, 0x08, 0x00},
    {0x02, 0x01, 0x51, 0x09, 0x06},
    {0x32, 0x49, 0x79, 0x41, 0x3E},
    {0x7E, 0x11, 0x11, 0x11, 0x7E},
    {0x7F, 0x49, 0x49, 0x49, 0x36},
    {0x3E, 0x41, 0x41, 0x41, 0x22},
    {0x7F, 0x41, 0x41, 0x22, 0x1C},
    {0x7F, 0x49, 0x49, 0x49, 0x41},
    {0x7F, 0x09, 0x09, 0x01, 0x01},
    {0x3E, 0x41, 0x41, 0x51, 0x32},
    {0x7F, 0x08, 0x08, 0x08, 0x7F},
    {0x00, 0x41, 0x7F, 0x41, 0x00},
    {0x20, 0x40, 0x41, 0x3F, 0x01},
    {0x7F, 0x08, 0x14, 0x22, 0x41},
    {0x7F, 0x40, 0x40, 0x40, 0x40},
    {0x7F, 0x02, 0x04, 0x02, 0x7F},
    {0x7F, 0x04, 0x08, 0x10, 0x7F},
    {0x3E, 0x41, 0x41, 0x41, 0x3E},
    {0x7F, 0x09, 0x09, 0x09, 0x06},
    {0x3E, 0x41, 0x51, 0x21, 0x5E},
    {0x7F, 0x09, 0x19, 0x29, 0x46},
    {0x46, 0x49, 0x49, 0x49, 0x31},
    {0x01, 0x01, 0x7F, 0x01, 0x01},
    {0x3F, 0x40, 0x40, 0x40, 0x3F},
    {0x1F, 0x20, 0x40, 0x20, 0x1F},
    {0x7F, 0x20, 0x18, 0x20, 0x7F},
    {0x63, 0x14, 0x08, 0x14, 0x63},
    {0x03, 0x04, 0x78, 0x04, 0x03},
    {0x61, 0x51, 0x49, 0x45, 0x43},
    {0x00, 0x00, 0x7F, 0x41, 0x41},
    {0x02, 0x04, 0x08, 0x10, 0x20},
    {0x41, 0x41, 0x7F, 0x00, 0x00},
    {0x04, 0x02, 0x01, 0x02, 0x04},
    {0x40, 0x40, 0x40, 0x40, 0x40},
    {0x00, 0x01, 0x02, 0x04, 0x00},
    {0x20, 0x54, 0x54, 0x54, 0x78},
    {0x7F, 0x48, 0x44, 0x44, 0x38},
    {0x38, 0x44, 0x44, 0x44, 0x20},
    {0x38, 0x44, 0x44, 0x48, 0x7F},
    {0x38, 0x54, 0x54, 0x54, 0x18},
    {0x08, 0x7E, 0x09, 0x01, 0x02},
    {0x08, 0x14, 0x54, 0x54, 0x3C},
    {0x7F, 0x08, 0x04, 0x04, 0x78},
    {0x00, 0x44, 0x7D, 0x40, 0x00},
    {0x20, 0x40, 0x44, 0x3D, 0x00},
    {0x00, 0x7F, 0x10, 0x28, 0x44},
    {0x00, 0x41, 0x7F, 0x40, 0x00},
    {0x7C, 0x04, 0x18, 0x04, 0x78},
    {0x7C, 0x08, 0x04, 0x04, 0x78},
    {0x38, 0x44, 0x44, 0x44, 0x38},
    {0x7C, 0x14, 0x14, 0x14, 0x08},
    {0x08, 0x14, 0x14, 0x18, 0x7C},
    {0x7C, 0x08, 0x04, 0x04, 0x08},
    {0x48, 0x54, 0x54, 0x54, 0x20},
    {0x04, 0x3F, 0x44, 0x40, 0x20},
    {0x3C, 0x40, 0x40, 0x20, 0x7C},
    {0x1C, 0x20, 0x40, 0x20, 0x1C},
    {0x3C, 0x40, 0x30, 0x40, 0x3C},
    {0x44, 0x28, 0x10, 0x28, 0x44},
    {0x0C, 0x50, 0x50, 0x50, 0x3C},
    {0x44, 0x64, 0x54, 0x4C, 0x44},
    {0x00, 0x08, 0x36, 0x41, 0x00},
    {0x00, 0x00, 0x7F, 0x00, 0x00},
    {0x00, 0x41, 0x36, 0x08, 0x00},
    {0x08, 0x04, 0x08, 0x10, 0x08}
};

// Extra glyphs of the code page that signs commonly show.
struct ExtraGlyph {
    char16_t ch;
    uint8_t columns[5];
};
constexpr ExtraGlyph kExtraGlyphs[] = {
    {u'\u00B0', {0x00, 0x06, 0x09, 0x09, 0x06}},   // degree
    {u'\u20AC', {0x14, 0x3E, 0x55, 0x55, 0x41}},   // euro
    {u'\u00A3', {0x48, 0x7E, 0x49, 0x41, 0x42}},   // pound
};

// The columns of a character: the table's glyph, or the character drawn by a
// small system font and sampled to 5x7.
std::array<uint8_t, 5> glyph(QChar c)
{
    std::array<uint8_t, 5> out{};
    const char16_t u = c.unicode();
    if (u >= 0x20 && u <= 0x7E) {
        std::copy(std::begin(kFont5x7[u - 0x20]), std::end(kFont5x7[u - 0x20]), out.begin());
        return out;
    }
    for (const ExtraGlyph& g : kExtraGlyphs)
        if (g.ch == u) {
            std::copy(std::begin(g.columns), std::end(g.columns), out.begin());
            return out;
        }
    QImage mask(5, 7, QImage::Format_RGB32);
    mask.fill(Qt::black);
    {
        QPainter p(&mask);
        QFont font(QStringLiteral("DejaVu Sans Mono"));
        font.setPixelSize(8);
        font.setStyleStrategy(QFont::NoAntialias);
        p.setFont(font);
        p.setPen(Qt::white);
        p.drawText(QRect(0, -1, 5, 8), Qt::AlignCenter, QString(c));
    }
    for (int x = 0; x < 5; ++x)
        for (int y = 0; y < 7; ++y)
            if (qGray(mask.pixel(x, y)) > 127)
                out[x] |= uint8_t(1 << y);
    return out;
}
} // namespace

LedSignWidget::LedSignWidget(QWidget* parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("ledSign"));
    setAttribute(Qt::WA_OpaquePaintEvent);
    m_blinkTimer.setInterval(500);
    connect(&m_blinkTimer, &QTimer::timeout, this, [this] { setBlinkPhase(!m_blinkOn); });
    m_blinkTimer.start();
    rebuild();
}

QColor LedSignWidget::ledColor(int code)
{
    switch (code) {
    case 2: return QColor(40, 255, 60);     // green
    case 3: return QColor(255, 180, 0);     // yellow / amber
    case 4: return QColor(50, 110, 255);    // blue
    case 5: return QColor(255, 40, 220);    // magenta
    case 6: return QColor(30, 240, 255);    // cyan
    case 7: return QColor(255, 255, 255);   // white
    default: return QColor(255, 30, 20);    // red
    }
}

void LedSignWidget::setLines(const QList<MessageLine>& lines)
{
    if (lines == m_lines && !m_matrix.isNull())
        return;
    m_lines = lines;
    rebuild();
}

void LedSignWidget::setBlinkPhase(bool on)
{
    m_blinkOn = on;
    rebuild();
}

void LedSignWidget::setBlinking(bool running)
{
    if (running)
        m_blinkTimer.start();
    else
        m_blinkTimer.stop();
}

void LedSignWidget::rebuild()
{
    int columns = kMinColumns;
    for (const MessageLine& line : std::as_const(m_lines)) {
        int chars = 0;
        for (const MessageRun& run : line)
            chars += int(run.text.size());
        columns = std::max(columns, chars * kCellWidth + 2 * kMargin);
    }
    const int lineCount = std::max<int>(1, int(m_lines.size()));
    const int rows = lineCount * kRowsPerLine + 2 * kMargin;

    QImage matrix(columns, rows, QImage::Format_ARGB32);
    matrix.fill(Qt::transparent);
    for (int l = 0; l < m_lines.size(); ++l) {
        const MessageLine& line = m_lines[l];
        int chars = 0;
        for (const MessageRun& run : line)
            chars += int(run.text.size());
        int x = (columns - chars * kCellWidth + 1) / 2;
        const int top = kMargin + l * kRowsPerLine;
        for (const MessageRun& run : line) {
            const bool lit = !run.blink || m_blinkOn;
            const QRgb color = ledColor(run.color).rgba();
            for (QChar c : run.text) {
                const std::array<uint8_t, 5> g = glyph(c);
                // An inverse cell lights everything but the glyph, one row
                // above and below it included.
                for (int cx = 0; cx < kCellWidth && lit; ++cx) {
                    for (int cy = 0; cy < kRowsPerLine; ++cy) {
                        const int gy = cy - 1;
                        const bool dot = cx < 5 && gy >= 0 && gy < 7 && (g[cx] >> gy & 1);
                        if (dot != run.inverse && x + cx < columns)
                            matrix.setPixel(x + cx, top + cy, color);
                    }
                }
                x += kCellWidth;
            }
        }
    }
    m_matrix = matrix;
    updateGeometry();
    update();
}

QSize LedSignWidget::sizeHint() const
{
    return QSize(m_matrix.width() * kPitch + 2 * kPitch, m_matrix.height() * kPitch + 2 * kPitch);
}

void LedSignWidget::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.fillRect(rect(), QColor(12, 12, 12));
    if (m_matrix.isNull())
        return;
    // Scale the LEDs to the widget, keeping them round.
    const double pitch = std::min(double(width()) / (m_matrix.width() + 2), double(height()) / (m_matrix.height() + 2));
    const double ox = (width() - pitch * m_matrix.width()) / 2;
    const double oy = (height() - pitch * m_matrix.height()) / 2;
    const double radius = pitch * 0.42;
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(Qt::NoPen);
    p.fillRect(QRectF(ox - pitch / 2, oy - pitch / 2, pitch * (m_matrix.width() + 1), pitch * (m_matrix.height() + 1)),
               Qt::black);
    const QColor dark(38, 30, 30);
    for (int y = 0; y < m_matrix.height(); ++y) {
        const QRgb* row = reinterpret_cast<const QRgb*>(m_matrix.constScanLine(y));
        for (int x = 0; x < m_matrix.width(); ++x) {
            const QPointF centre(ox + (x + 0.5) * pitch, oy + (y + 0.5) * pitch);
            if (qAlpha(row[x]) == 0) {
                p.setBrush(dark);
                p.drawEllipse(centre, radius, radius);
                continue;
            }
            const QColor c = QColor::fromRgba(row[x]);
            QRadialGradient glow(centre, radius);
            glow.setColorAt(0.0, c.lighter(150));
            glow.setColorAt(0.6, c);
            glow.setColorAt(1.0, c.darker(160));
            p.setBrush(glow);
            p.drawEllipse(centre, radius, radius);
        }
    }
}

} // namespace emulator
