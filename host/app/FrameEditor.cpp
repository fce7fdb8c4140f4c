#include "FrameEditor.h"

#include <QPlainTextEdit>
#include <QTextBlock>

FrameEditor::FrameEditor(QPlainTextEdit* editor, QObject* parent) : QObject(parent), m_editor(editor)
{
    setObjectName(QStringLiteral("FrameEditor"));
}

void FrameEditor::addtexttocurrentline(const QString& text)
{
    QTextCursor cursor = m_editor->textCursor();
    cursor.movePosition(QTextCursor::EndOfBlock);
    cursor.insertText(text);
    m_editor->setTextCursor(cursor);
}

QString FrameEditor::text() const { return m_editor->toPlainText(); }
void FrameEditor::setText(const QString& text) { m_editor->setPlainText(text); }

Playfile::Playfile(const QString& text, QObject* parent) : QObject(parent), m_text(text)
{
    setObjectName(QStringLiteral("Playfile"));
}
