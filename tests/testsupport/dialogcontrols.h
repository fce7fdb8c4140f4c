#pragma once

#include <QDialog>
#include <QString>
#include <QTest>
#include <QTimer>

#include <functional>
#include <initializer_list>
#include <type_traits>
#include <utility>

class QLineEdit;
class QWidget;

// What the control of that objectName shows ("" = the dialog itself): the window
// title, a button's or menu item's text, a group box's title, a label's, text
// box's or list's current text, or a tab widget's page titles joined by "|";
// followed by " (disabled)" when it cannot be used. "<missing>" when there is no
// such control.
QString shownState(QWidget* dialog, const QString& name);

// The data of a default-state test: columns "name" and "shown", one row per
// control given as {objectName, what shownState gives}.
void addControlRows(std::initializer_list<std::pair<const char*, const char*>> controls);

// Runs `step` from the event loop once a modal window of objectName `name`
// ("" = any) is active, then closes the window if the step left it open, so a
// failing check cannot hang the test.
void whenModal(const QString& name, std::function<void(QWidget*)> step);
inline void whenModal(std::function<void(QWidget*)> step) { whenModal(QString(), std::move(step)); }

// Clicks the button, or triggers the menu item, of objectName `name` in `dialog`;
// with `caption`, after checking that the button says so.
void click(QWidget* dialog, const QString& name, const QString& caption = {});
// Empties the box and types `text` into it, as a person does.
void typeInto(QLineEdit* box, const QString& text);

// Runs `dlg` modally with `send`; once its first pass has ended, runs
// `whileOpen` from the dialog's event loop, then closes the dialog.
template <class Dialog>
void runFirstPass(Dialog& dlg, void (Dialog::*send)(), const std::function<void()>& whileOpen = {}, int ms = 30000)
{
    int passes = 0;
    using Run = std::remove_reference_t<decltype(dlg.run())>;
    const auto counting = QObject::connect(&dlg.run(), &Run::passFinished, &dlg, [&] { ++passes; });
    QTimer::singleShot(0, &dlg, [&] {
        [&] {
            QTRY_VERIFY_WITH_TIMEOUT(passes >= 1 && !dlg.run().passRunning(), ms);
            if (whileOpen)
                whileOpen();
        }();
        if (dlg.isVisible())
            dlg.done(QDialog::Rejected);
    });
    (dlg.*send)();
    QObject::disconnect(counting);
}
