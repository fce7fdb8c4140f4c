#include "dlgVarEdit.h"

#include "codepage.h"
#include "namedwidgets.h"
#include "richtextdocument.h"
#include "typinglimit.h"

#include <QFontDatabase>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QMimeData>
#include <QPushButton>
#include <QScreen>
#include <QTextBlock>
#include <QTextCursor>
#include <QVBoxLayout>

namespace {
const QString kTerminal = QStringLiteral("Terminal");

bool isLineBreak(QChar c)
{
    return c == u'\r' || c == u'\n' || c == QChar::ParagraphSeparator || c == QChar::LineSeparator;
}

// No colour of its own is the automatic colour, black.
bool isBlack(const QTextCharFormat& format)
{
    return format.foreground().style() == Qt::NoBrush || (format.foreground().color().rgb() & 0xFFFFFF) == 0;
}

QTextCharFormat red()
{
    QTextCharFormat f;
    f.setForeground(QColor::fromRgb(dlgVarEdit::kRed));
    return f;
}
} // namespace

namespace tools {

VarTextBox::VarTextBox(QWidget* parent) : QTextEdit(parent)
{
    setObjectName(QStringLiteral("rtxtTextBox"));
    setLineWrapMode(QTextEdit::NoWrap);
    setTabChangesFocus(true);
}

int VarTextBox::room() const
{
    const QTextCursor cursor = textCursor();
    return typinglimit::room(m_maxLength, toPlainText().size(), cursor.selectionEnd() - cursor.selectionStart());
}

void VarTextBox::keyPressEvent(QKeyEvent* event)
{
    const QString text = event->text();
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter
        || (!text.isEmpty() && isLineBreak(text.front()))) {
        event->accept(); // a variable's text is one line
        return;
    }
    if (!isReadOnly() && typinglimit::typesText(event) && room() < text.size()) {
        event->accept(); // full
        return;
    }
    QTextEdit::keyPressEvent(event);
}

bool VarTextBox::canInsertFromMimeData(const QMimeData* source) const { return source->hasText(); }

void VarTextBox::insertFromMimeData(const QMimeData* source)
{
    QString text = source->text();
    text.removeIf(isLineBreak);
    textCursor().insertText(text.left(room()));
}

} // namespace tools

dlgVarEdit::dlgVarEdit(QWidget* parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("dlgVarEdit"));
    setWindowTitle(QStringLiteral("Variable Viewer"));

    m_box = new tools::VarTextBox(this);
    QFont font(fontFamily());
    font.setPointSizeF(kPointSize);
    font.setStyleHint(QFont::TypeWriter);
    m_box->setFont(font);
    m_box->setFixedHeight(m_box->fontMetrics().height() * 2 + 2 * m_box->frameWidth());
    m_box->setMinimumWidth(m_box->fontMetrics().horizontalAdvance(QString(40, u'W')));
    m_box->installEventFilter(this);

    auto* ok = widgets::namedButton(this, "OKButton", QStringLiteral("OK"));
    auto* cancel = widgets::namedButton(this, "cmdCancel", QStringLiteral("Cancel"));

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(ok);
    buttons->addWidget(cancel);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_box);
    layout->addLayout(buttons);

    connect(ok, &QPushButton::clicked, this, [this] {
        // One line: a paragraph mark that ends the rich text is no part of it.
        m_result = m_box->toPlainText();
        while (!m_result.isEmpty() && isLineBreak(m_result.back()))
            m_result.chop(1);
        close();
    });
    connect(cancel, &QPushButton::clicked, this, [this] {
        m_result = m_given;
        close();
    });
}

QString dlgVarEdit::fontFamily()
{
    if (QFontDatabase::families().contains(kTerminal))
        return kTerminal;
    return QFontDatabase::systemFont(QFontDatabase::FixedFont).family();
}

void dlgVarEdit::SetText(const QString& sRTF)
{
    QTextDocument* document = m_box->document();
    if (rtf::isRtf(sRTF)) {
        rtf::read(codepage::toAnsi(sRTF), *document); // one byte per character, as RTF is
    } else {
        document->setPlainText(sRTF);
    }
    // Black becomes red one character at a time; coloured text keeps its colour.
    QTextCursor cursor(document);
    const int length = document->characterCount() - 1;
    for (int i = 0; i < length; ++i) {
        cursor.setPosition(i);
        cursor.setPosition(i + 1, QTextCursor::KeepAnchor);
        if (isBlack(cursor.charFormat()))
            cursor.mergeCharFormat(red());
    }
    QTextCharFormat font;
    font.setFontFamilies(QStringList{fontFamily()});
    font.setFontPointSize(kPointSize);
    cursor.select(QTextCursor::Document);
    cursor.mergeCharFormat(font);
    cursor.setPosition(0); // the caret at the start, nothing selected
    m_box->setTextCursor(cursor);
    m_given = sRTF;
}

void dlgVarEdit::SetMaxLength(int length) { m_box->setMaxLength(length); }

void dlgVarEdit::EnableEdit(bool enable) { m_box->setReadOnly(!enable); }

void dlgVarEdit::Show(int mode)
{
    if (mode == 1) {
        exec();
    } else {
        setModal(false);
        show();
    }
}

bool dlgVarEdit::eventFilter(QObject* watched, QEvent* event)
{
    // Typed text is red unless the text where it goes has a colour of its own.
    if (watched == m_box && event->type() == QEvent::KeyPress && isBlack(m_box->currentCharFormat()))
        m_box->setTextColor(QColor::fromRgb(kRed));
    return QDialog::eventFilter(watched, event);
}

void dlgVarEdit::showEvent(QShowEvent* event)
{
    if (!m_centred) {
        m_centred = true;
        centreOnScreen();
    }
    QDialog::showEvent(event);
}

void dlgVarEdit::centreOnScreen()
{
    adjustSize();
    const QScreen* screen = this->screen();
    if (!screen)
        return;
    QRect frame = frameGeometry();
    frame.moveCenter(screen->availableGeometry().center());
    move(frame.topLeft());
}
