// The variable text editor: rich text as word processors write it shown red
// where it has no colour of its own, in the editor's font; damaged rich text;
// the keys the box refuses; what OK and Cancel give back; and the public class
// created from the loaded plug-in library and driven late-bound.

#include "datarow.h"
#include "dialogcontrols.h"
#include "classregistry.h"
#include "clsFrm_Var_Editor.h"
#include "dlgVarEdit.h"
#include "latebound.h"
#include "testenvironment.h"

#include <QApplication>
#include <QClipboard>
#include <QLibrary>
#include <QPushButton>
#include <QScreen>
#include <QTest>
#include <QTextBlock>
#include <QTimer>

#include <functional>

using namespace Qt::StringLiterals;

namespace {
// The box's text as runs of one colour: "text#rrggbb", in order.
QStringList colouredRuns(const QTextDocument& document)
{
    QStringList runs;
    QString last;
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        if (block != document.begin())
            runs << u"\n"_s;
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QTextCharFormat f = it.fragment().charFormat();
            const QString colour = f.foreground().style() == Qt::NoBrush ? u"#none"_s : f.foreground().color().name();
            if (!runs.isEmpty() && colour == last && runs.last() != u"\n")
                runs.last().chop(7);
            else
                runs << QString();
            runs.last() += it.fragment().text() + colour;
            last = colour;
        }
    }
    return runs;
}

// Every character of the document in the editor's font at 14 points.
bool inEditorFont(const QTextDocument& document)
{
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next())
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QTextCharFormat f = it.fragment().charFormat();
            if (f.fontFamilies().toStringList().value(0) != dlgVarEdit::fontFamily() || f.fontPointSize() != 14)
                return false;
        }
    return true;
}

const QByteArray kWordPad = "{\\rtf1\\ansi\\ansicpg1252\\deff0\\nouicompat\\deflang1033"
                            "{\\fonttbl{\\f0\\fnil\\fcharset0 Calibri;}{\\f1\\fswiss\\fcharset0 Arial;}}\r\n"
                            "{\\colortbl ;\\red0\\green0\\blue255;\\red0\\green0\\blue0;\\red0\\green128\\blue0;}\r\n"
                            "{\\*\\generator Riched20 10.0.19041}\\viewkind4\\uc1 \r\n"
                            "\\pard\\sa200\\sl276\\slmult1\\f0\\fs22\\lang9 ";
} // namespace

class tst_DlgVarEdit final : public QObject {
    Q_OBJECT
private slots:
    void setTextColours_data()
    {
        QTest::addColumn<QByteArray>("rtf");
        QTest::addColumn<QStringList>("runs");
        const QString red = u"#ff0000"_s, blue = u"#0000ff"_s, green = u"#008000"_s;
        addRow("plain text", QByteArray("Open 9-5"), QStringList{u"Open 9-5"_s + red});
        addRow("no colour table", QByteArray("{\\rtf1\\ansi Sale {\\b today}}"), QStringList{u"Sale today"_s + red});
        addRow("colour table, \\cf and \\cf0", kWordPad + "Now \\cf1 blue\\cf0  then \\cf3 green\\cf0\\par\r\n}",
               QStringList{u"Now "_s + red, u"blue"_s + blue, u" then "_s + red, u"green"_s + green, u"\n"_s});
        addRow("black from the table turns red", kWordPad + "\\cf2 black\\cf1 blue}",
               QStringList{u"black"_s + red, u"blue"_s + blue});
        addRow("nested groups restore the colour", kWordPad + "a{\\cf1 b{\\cf3 c}d}e}",
               QStringList{u"a"_s + red, u"b"_s + blue, u"c"_s + green, u"d"_s + blue, u"e"_s + red});
        addRow("sizes and fonts do not colour", kWordPad + "\\fs48 big\\f1\\fs16  small}",
               QStringList{u"big small"_s + red});
        addRow("\\u with fallback, \\'hh", kWordPad + "\\u8364?5 caf\\'e9 \\u937\\'3f}",
               QStringList{u"€5 café Ω"_s + red});
        addRow("ignorable destinations",
               kWordPad + "{\\*\\bkmkstart x}{\\*\\unknownthing {\\cf1 hidden}}shown{\\*\\bkmkend x}}",
               QStringList{u"shown"_s + red});
        addRow("\\par inside the text", kWordPad + "one\\par two}",
               QStringList{u"one"_s + red, u"\n"_s, u"two"_s + red});
        addRow("colour index past the table", kWordPad + "\\cf9 x}", QStringList{u"x"_s + red});
    }

    void setTextColours()
    {
        QFETCH(QByteArray, rtf);
        dlgVarEdit form;
        form.SetText(QString::fromLatin1(rtf));
        QTEST(colouredRuns(*form.textBox()->document()), "runs");
        QVERIFY(inEditorFont(*form.textBox()->document()));
        QCOMPARE(form.textBox()->textCursor().selectionEnd(), 0); // the caret at the start, nothing selected
        QCOMPARE(form.GetText(), QString());                      // nothing given back before OK or Cancel
    }

    // OK gives back the one line of the box: a paragraph mark that ends the rich text is no line break.
    void okGivesOneLine_data()
    {
        QTest::addColumn<QByteArray>("given");
        QTest::addColumn<QString>("result");
        addRow("plain text", QByteArray("Open 9-5"), u"Open 9-5"_s);
        addRow("ends in \\par", kWordPad + "Sale\\par\r\n}", u"Sale"_s);
    }
    void okGivesOneLine()
    {
        dlgVarEdit form;
        QFETCH(QByteArray, given);
        form.SetText(QString::fromLatin1(given));
        form.findChild<QPushButton*>(u"OKButton"_s)->click();
        QTEST(form.GetText(), "result");
    }

    // Damaged rich text never brings the editor down and shows what could be read.
    void damagedRichText_data()
    {
        QTest::addColumn<QByteArray>("rtf");
        QTest::addColumn<QString>("text");
        addRow("cut inside the colour table", QByteArray("{\\rtf1{\\colortbl;\\red255\\gr"), QString());
        addRow("cut after text", kWordPad + "Hello \\cf1 wor", u"Hello wor"_s);
        addRow("cut inside \\'hh", kWordPad + "ab\\'e", u"ab"_s);
        addRow("cut after a backslash", kWordPad + "ab\\", u"ab"_s);
        addRow("\\u without a number", kWordPad + "a\\u b}", u"ab"_s);
        addRow("too many closing braces", QByteArray("{\\rtf1 a}}}}b}"), u"ab"_s);
        addRow("deep nesting", "{\\rtf1 " + QByteArray(100000, '{') + "x", u"x"_s);
        addRow("huge numbers", kWordPad + "\\cf99999999999\\fs-99999999999\\uc999999999 a\\bin99999999999}", u"a"_s);
        addRow("binary junk after the header", QByteArray("{\\rtf1 ok\x00\xff\x01\\\x80", 14), u"ok\u00ff"_s);
    }

    void damagedRichText()
    {
        QFETCH(QByteArray, rtf);
        dlgVarEdit form;
        form.SetText(QString::fromLatin1(rtf));
        QTEST(form.textBox()->toPlainText(), "text");
    }

    void keys_data()
    {
        QTest::addColumn<int>("maxLength");
        QTest::addColumn<bool>("editable");
        QTest::addColumn<QString>("typed"); // "\n" presses Enter
        QTest::addColumn<QString>("shown");
        addRow("Enter inserts nothing", 0, true, u"ab\ncd"_s, u"Xabcd"_s);
        addRow("maximum length 10 stops input", 10, true, u"0123456789012"_s, u"X012345678"_s);
        addRow("not editable", 0, false, u"abc"_s, u"X"_s);
    }

    void keys()
    {
        QFETCH(int, maxLength);
        QFETCH(bool, editable);
        QFETCH(QString, typed);
        QFETCH(QString, shown);
        dlgVarEdit form;
        form.SetText(u"{\\rtf1 X}"_s);
        form.SetMaxLength(maxLength);
        form.EnableEdit(editable);
        form.Show(0);
        QVERIFY(QTest::qWaitForWindowExposed(&form));
        tools::VarTextBox* box = form.textBox();
        box->moveCursor(QTextCursor::End);
        for (const QChar c : typed) {
            if (c == u'\n')
                QTest::keyClick(box, Qt::Key_Return);
            else
                QTest::keyClick(box, c.toLatin1());
        }
        QTest::keyClick(box, Qt::Key_Enter); // the keypad's
        QCOMPARE(box->toPlainText(), shown);
        QCOMPARE(box->document()->blockCount(), 1);
        // What was typed is red, like the text given.
        QCOMPARE(colouredRuns(*box->document()), QStringList{shown + u"#ff0000"_s});
    }

    void pasteLosesLineBreaksAndStopsAtTheLimit()
    {
        dlgVarEdit form;
        form.SetText(u"ab"_s);
        form.SetMaxLength(6);
        form.textBox()->moveCursor(QTextCursor::End);
        QGuiApplication::clipboard()->setText(u"c\r\nd\nefgh"_s);
        form.textBox()->paste();
        QCOMPARE(form.textBox()->toPlainText(), u"abcdef"_s);
    }

    void centredOnTheScreen()
    {
        dlgVarEdit form;
        form.Show(0);
        QVERIFY(QTest::qWaitForWindowExposed(&form));
        const QPoint centre = form.screen()->availableGeometry().center();
        QVERIFY2((form.frameGeometry().center() - centre).manhattanLength() <= 2,
                 qPrintable(u"%1,%2"_s.arg(form.frameGeometry().center().x()).arg(form.frameGeometry().center().y())));
    }

    // The host's way: the class created by its ProgID from the registered library, called late-bound.
    void createdFromTheLibraryAndCalledLateBound()
    {
        TestEnvironment env;
        QLibrary library{QStringLiteral(PLUGIN_LIBRARY_PATH)};
        QVERIFY2(library.load(), qPrintable(library.errorString()));
        QCOMPARE(ComponentLoader::registerLibrary(library.fileName()), 0);
        std::unique_ptr<QObject> editor(ComponentLoader::create(u"zolQMDVariablePlugin.clsFrm_Var_Editor"_s));
        QVERIFY(editor);
        QCOMPARE(latebound::callMethod(editor.get(), "GetText").toString(), QString());
        const QString given = u"{\\rtf1{\\colortbl;\\red0\\green255\\blue0;}Hi \\cf1 there}"_s;
        latebound::callMethod(editor.get(), "SetText", {given});
        latebound::callMethod(editor.get(), "SetMaxLength", {12});
        latebound::callMethod(editor.get(), "EnableEdit", {true});
        QStringList seen;
        whenModal([&](QWidget* w) {
            auto* box = w->findChild<QTextEdit*>(u"rtxtTextBox"_s);
            seen << w->windowTitle() << colouredRuns(*box->document());
            box->moveCursor(QTextCursor::End);
            QTest::keyClicks(box, u" you all"_s); // 12 characters at most
            click(w, "OKButton");
        });
        latebound::callMethod(editor.get(), "Show", {1});
        QCOMPARE(seen, (QStringList{u"Variable Viewer"_s, u"Hi #ff0000"_s, u"there#00ff00"_s}));
        QCOMPARE(latebound::callMethod(editor.get(), "GetText").toString(), u"Hi there you"_s);

        // Read-only: what the user types is lost, Cancel gives back what was given.
        latebound::callMethod(editor.get(), "EnableEdit", {false});
        whenModal([&](QWidget* w) {
            QTest::keyClicks(w->findChild<QTextEdit*>(u"rtxtTextBox"_s), u"zzz"_s);
            click(w, "cmdCancel");
        });
        latebound::callMethod(editor.get(), "Show", {1});
        QCOMPARE(latebound::callMethod(editor.get(), "GetText").toString(), given);
        editor.reset();
        QCOMPARE(ComponentLoader::unregisterLibrary(library.fileName()), 0);
    }
};

QTEST_MAIN(tst_DlgVarEdit)
#include "tst_dlgvaredit.moc"
