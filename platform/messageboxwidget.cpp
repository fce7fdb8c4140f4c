#include "messageboxwidget.h"

#include <QMessageBox>
#include <QPushButton>

namespace msgbox {

namespace {
class WidgetService final : public Service {
public:
    Answer show(QWidget* parent, const Request& r) override
    {
        QMessageBox box(parent);
        box.setObjectName(QStringLiteral("msgBox"));
        box.setWindowTitle(r.title);
        box.setText(r.text);
        switch (r.icon) {
        case Critical: box.setIcon(QMessageBox::Critical); break;
        case Question: box.setIcon(QMessageBox::Question); break;
        case Exclamation: box.setIcon(QMessageBox::Warning); break;
        case Information: box.setIcon(QMessageBox::Information); break;
        case NoIcon: break;
        }
        struct B {
            QMessageBox::StandardButton button;
            Answer answer;
        };
        QList<B> buttons;
        switch (r.buttons) {
        case OKOnly: buttons = {{QMessageBox::Ok, OK}}; break;
        case OKCancel: buttons = {{QMessageBox::Ok, OK}, {QMessageBox::Cancel, Cancel}}; break;
        case AbortRetryIgnore:
            buttons = {{QMessageBox::Abort, Abort}, {QMessageBox::Retry, Retry}, {QMessageBox::Ignore, Ignore}};
            break;
        case YesNoCancel:
            buttons = {{QMessageBox::Yes, Yes}, {QMessageBox::No, No}, {QMessageBox::Cancel, Cancel}};
            break;
        case YesNo: buttons = {{QMessageBox::Yes, Yes}, {QMessageBox::No, No}}; break;
        case RetryCancel: buttons = {{QMessageBox::Retry, Retry}, {QMessageBox::Cancel, Cancel}}; break;
        }
        QMessageBox::StandardButtons all;
        for (const B& b : buttons)
            all |= b.button;
        box.setStandardButtons(all);
        box.setDefaultButton(buttons.first().button);
        const auto clicked = QMessageBox::StandardButton(box.exec());
        for (const B& b : buttons) {
            if (b.button == clicked)
                return b.answer;
        }
        // Closing the box answers like its cancel button, or its only button.
        for (const B& b : buttons) {
            if (b.answer == Cancel || b.answer == No)
                return b.answer;
        }
        return buttons.first().answer;
    }
};

} // namespace

void useWindows()
{
    static WidgetService widgets;
    setWindowService(&widgets);
}

} // namespace msgbox
