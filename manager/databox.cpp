#include "databox.h"

#include "typinglimit.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QInputMethodEvent>
#include <QKeyEvent>

namespace manager {

DataBox::DataBox(QWidget* parent) : QLineEdit(parent)
{
    setAcceptDrops(false); // text comes in by typing and pasting only
}

int DataBox::room() const { return typinglimit::room(m_limit, text().size(), selectedText().size()); }

void DataBox::insertTyped(const QString& text) { insert(text.left(room())); }

void DataBox::keyPressEvent(QKeyEvent* event)
{
    if (event->matches(QKeySequence::Paste) && !isReadOnly()) {
        insertTyped(QGuiApplication::clipboard()->text());
        event->accept();
        return;
    }
    if (typinglimit::typesText(event) && room() < event->text().size()) {
        event->accept(); // full
        return;
    }
    QLineEdit::keyPressEvent(event);
}

void DataBox::inputMethodEvent(QInputMethodEvent* event)
{
    if (event->commitString().size() <= room())
        return QLineEdit::inputMethodEvent(event);
    QInputMethodEvent cut(event->preeditString(), event->attributes());
    cut.setCommitString(event->commitString().left(room()), event->replacementStart(), event->replacementLength());
    QLineEdit::inputMethodEvent(&cut);
}

} // namespace manager
