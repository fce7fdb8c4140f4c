// The variable manager's Edit menu on the data box of the page showing: typing,
// the clipboard commands and undo step by step with the menu's enabled states,
// each page with its own undo store, the right-button menu of the data boxes,
// and "View/Edit Variable" through the variable text editor.

#include "datarow.h"
#include "clsVariableAccess.h"
#include "dialogcontrols.h"
#include "dlgVarEdit.h"
#include "dlgVariables.h"
#include "propertypage.h"
#include "testenvironment.h"

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QTabWidget>
#include <QTest>
#include <QTextEdit>
#include <QTimer>

#include <functional>
#include <memory>

using namespace Qt::StringLiterals;

namespace {
// The six commands in the order of the state strings below: a letter when the
// command is enabled, "-" when not.
const std::array<std::pair<const char*, QChar>, 6> kCommands{{{"mnuUndo", u'U'},
                                                              {"mnuCut", u'X'},
                                                              {"mnuCopy", u'C'},
                                                              {"mnuPaste", u'P'},
                                                              {"mnuDelete", u'D'},
                                                              {"mnuSelectAll", u'A'}}};

QString menuState(QWidget* dialog)
{
    QString state;
    for (const auto& [name, letter] : kCommands)
        state += dialog->findChild<QAction*>(QString::fromLatin1(name))->isEnabled() ? letter : u'-';
    return state;
}

struct Step {
    QString action; // "type:<text>", "key:Backspace", "menu:<item>", "select:<start>,<length>"
    QString text;   // the data box after the step
    QString state;  // the Edit menu after the step
};
} // namespace
Q_DECLARE_METATYPE(QList<Step>)

class tst_Editing final : public QObject {
    Q_OBJECT
    std::unique_ptr<DialogWorld> m_world;
    std::unique_ptr<dlgVariables> m_dialog;

    QLineEdit* dataBox(int page) const
    {
        return m_dialog->findChild<QLineEdit*>(page == 0 ? u"txtTextVarData"_s : u"txtCellVarData"_s);
    }
    void showPage(int page) { m_dialog->findChild<QTabWidget*>(u"tabVariables"_s)->setCurrentIndex(page); }
    // Chooses a command from the Edit menu as the user does: the menu opens first.
    void trigger(const QString& item)
    {
        editMenu()->popup(QPoint(0, 0));
        QTRY_VERIFY(editMenu()->isVisible());
        m_dialog->findChild<QAction*>(item)->trigger();
        editMenu()->close();
    }
    QMenu* editMenu() const { return m_dialog->findChild<QMenu*>(u"mnuPopUp"_s); }

    void run(QLineEdit* box, const QString& action)
    {
        const QString verb = action.section(u':', 0, 0), argument = action.section(u':', 1);
        if (verb == u"type") {
            QTest::keyClicks(box, argument);
        } else if (verb == u"key") {
            QTest::keyClick(box, argument == u"Backspace" ? Qt::Key_Backspace : Qt::Key_Delete);
        } else if (verb == u"menu") {
            trigger(argument);
        } else if (verb == u"select") {
            // By code, behind the menu's back: the menu catches up as it opens.
            box->setSelection(argument.section(u',', 0, 0).toInt(), argument.section(u',', 1).toInt());
            editMenu()->popup(QPoint(0, 0));
            QTRY_VERIFY(editMenu()->isVisible());
            editMenu()->close();
        } else {
            QFAIL(qPrintable(u"unknown step "_s + action));
        }
    }

private slots:
    void init()
    {
        m_world = std::make_unique<DialogWorld>();
        QGuiApplication::clipboard()->clear();
        m_dialog = std::make_unique<dlgVariables>();
        m_dialog->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_dialog.get()));
    }
    void cleanup()
    {
        m_dialog.reset();
        m_world.reset();
    }

    void stepByStep_data()
    {
        QTest::addColumn<int>("page");
        QTest::addColumn<QList<Step>>("steps");
        const QList<Step> steps{
            {u"type:"_s, u""_s, u"------"_s}, // empty box, empty clipboard: nothing to do
            {u"type:ab"_s, u"ab"_s, u"U----A"_s},
            {u"menu:mnuSelectAll"_s, u"ab"_s, u"UXC-D-"_s},
            {u"menu:mnuCopy"_s, u"ab"_s, u"UXCPD-"_s},
            {u"menu:mnuCopy"_s, u"ab"_s, u"UXCPD-"_s}, // the same text again: not kept twice
            {u"menu:mnuCut"_s, u""_s, u"U--P--"_s},
            {u"menu:mnuPaste"_s, u"ab"_s, u"U--P-A"_s},
            {u"menu:mnuPaste"_s, u"abab"_s, u"U--P-A"_s},
            {u"select:1,2"_s, u"abab"_s, u"UXCPDA"_s},
            {u"menu:mnuDelete"_s, u"ab"_s, u"U--P-A"_s},
            {u"key:Backspace"_s, u"b"_s, u"U--P-A"_s}, // the cursor stood where the deleted text was
            // Undo walks back one saved state at a time: before the Backspace,
            // the Delete, the two Pastes, the Copy and each typed character.
            {u"menu:mnuUndo"_s, u"ab"_s, u"U--P-A"_s},
            {u"menu:mnuUndo"_s, u"abab"_s, u"U--P-A"_s},
            {u"menu:mnuUndo"_s, u"ab"_s, u"U--P-A"_s},
            {u"menu:mnuUndo"_s, u""_s, u"U--P--"_s},
            {u"menu:mnuUndo"_s, u"ab"_s, u"U--P-A"_s},
            {u"menu:mnuUndo"_s, u"a"_s, u"U--P-A"_s},
            {u"menu:mnuUndo"_s, u""_s, u"---P--"_s},
            {u"menu:mnuUndo"_s, u""_s, u"---P--"_s}, // nothing left: does nothing
            {u"type:xy"_s, u"xy"_s, u"U--P-A"_s},
            {u"key:Delete"_s, u"xy"_s, u"U--P-A"_s}, // at the end: deletes nothing, but the state is saved
            {u"menu:mnuUndo"_s, u"xy"_s, u"U--P-A"_s},
            {u"menu:mnuUndo"_s, u"x"_s, u"U--P-A"_s},
        };
        addRow("Text page", 0, steps);
        addRow("Cell page", 1, steps);
    }

    void stepByStep()
    {
        QFETCH(int, page);
        QFETCH(QList<Step>, steps);
        showPage(page);
        QLineEdit* box = dataBox(page);
        QLineEdit* other = dataBox(1 - page);
        other->setText(u"other page"_s);
        box->setFocus();
        for (int i = 0; i < steps.size(); ++i) {
            run(box, steps[i].action);
            const QString where = u"step %1 (%2)"_s.arg(i).arg(steps[i].action);
            QVERIFY2(box->text() == steps[i].text, qPrintable(where + u": "_s + box->text()));
            QVERIFY2(menuState(m_dialog.get()) == steps[i].state,
                     qPrintable(where + u": "_s + menuState(m_dialog.get())));
        }
        QCOMPARE(QGuiApplication::clipboard()->text(), u"ab"_s);
        QCOMPARE(other->text(), u"other page"_s);
        // The other page's store saw none of it.
        showPage(1 - page);
        editMenu()->popup(QPoint(0, 0));
        QTRY_VERIFY(editMenu()->isVisible());
        editMenu()->close();
        QCOMPARE(menuState(m_dialog.get()).front(), u'-');
    }

    // A new showing of the manager starts with empty undo stores.
    void storesEmptiedOnLoad()
    {
        QTest::keyClicks(dataBox(0), u"ab"_s);
        m_dialog->done(QDialog::Accepted);
        m_dialog->show();
        const QString shown = dataBox(0)->text();
        trigger(u"mnuUndo"_s);
        QCOMPARE(dataBox(0)->text(), shown);
        QVERIFY(!m_dialog->findChild<QAction*>(u"mnuUndo"_s)->isEnabled());
    }

    void rightButtonOpensEditMenu_data()
    {
        QTest::addColumn<int>("page");
        addRow("Text data box", 0);
        addRow("Cell data box", 1);
    }

    void rightButtonOpensEditMenu()
    {
        QFETCH(int, page);
        showPage(page);
        QLineEdit* box = dataBox(page);
        box->setText(u"sale"_s);
        box->selectAll();
        QTest::mouseClick(box, Qt::RightButton, {}, QPoint(5, 5));
        QTRY_VERIFY(QApplication::activePopupWidget());
        QCOMPARE(QApplication::activePopupWidget(), editMenu()); // not the box's own menu
        QCOMPARE(menuState(m_dialog.get()), u"-XC-D-"_s);
        QCOMPARE(editMenu()->defaultAction(), nullptr); // "View/Edit Variable" is the grids' default only
        editMenu()->close();

        // Once the manager is closed, the boxes are no longer hooked.
        m_dialog->done(QDialog::Accepted);
        QTest::mouseRelease(box, Qt::RightButton, {}, QPoint(5, 5));
        QCoreApplication::processEvents();
        QVERIFY(!editMenu()->isVisible());
    }

    void viewEditVariable_data()
    {
        QTest::addColumn<int>("page");
        QTest::addColumn<bool>("linked");   // a linked variable's box is disabled: the editor is read-only
        QTest::addColumn<QString>("close"); // the editor's button, or "" for the window's close
        QTest::addColumn<QString>("stored");
        addRow("Text, OK", 0, false, u"OKButton"_s, u"Happy hour!"_s);
        addRow("Cell, OK, cut to the length list", 1, false, u"OKButton"_s, u"Happy hou"_s);
        addRow("Text, Cancel", 0, false, u"cmdCancel"_s, u"Happy"_s);
        addRow("Text, closed: emptied", 0, false, QString(), QString());
        addRow("linked, OK: not editable", 0, true, u"OKButton"_s, u"Happy"_s);
    }

    void viewEditVariable()
    {
        QFETCH(int, page);
        QFETCH(bool, linked);
        QFETCH(QString, close);
        QFETCH(QString, stored);
        showPage(page);
        QLineEdit* box = dataBox(page);
        if (page == 1)
            m_dialog->findChild<QComboBox*>(u"cmbCellVarMaxLength"_s)->setCurrentText(u"9"_s);
        QTest::keyClicks(box, u"Happy"_s);
        box->setEnabled(!linked);
        QStringList seen;
        whenModal(u"dlgVarEdit"_s, [&](QWidget* editor) {
            auto* text = editor->findChild<QTextEdit*>(u"rtxtTextBox"_s);
            seen << text->toPlainText() << text->textColor().name() << (text->isReadOnly() ? u"read-only"_s : u""_s);
            text->moveCursor(QTextCursor::End);
            QTest::keyClicks(text, u" hour!"_s);
            if (close.isEmpty())
                editor->close();
            else
                QTest::mouseClick(editor->findChild<QPushButton*>(close), Qt::LeftButton);
        });
        trigger(u"mnuPopUpVariableViewer"_s);
        QCOMPARE(seen, (QStringList{u"Happy"_s, u"#ff0000"_s, linked ? u"read-only"_s : QString()}));
        QCOMPARE(box->text(), stored);
        m_dialog->commitPages();
        const int16_t n = page == 0 ? 1 : 257;
        QCOMPARE(m_dialog->variableSet().VariableData(n), stored);
        // The text before the editor is the newest undo state.
        trigger(u"mnuUndo"_s);
        QCOMPARE(box->text(), u"Happy"_s);
    }
};

QTEST_MAIN(tst_Editing)
#include "tst_editing.moc"
