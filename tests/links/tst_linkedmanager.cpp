#include "clipboardlink.h"
#include "datarow.h"
#include "clsVariableAccess.h"
#include "dlgVariables.h"
#include "propertypage.h"
#include "spreadsheetlinks.h"
#include "testenvironment.h"

#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QLineEdit>
#include <QMimeData>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <memory>

using namespace Qt::StringLiterals;

namespace {
// The office suite's link flavour for a cell of `document`, laid out as captured.
void copyLink(const QString& document, const QString& item)
{
    auto* data = new QMimeData;
    data->setData(QString::fromLatin1(links::kLinkMimeType),
                  "soffice\0"_ba + document.toUtf8() + '\0' + item.toUtf8() + "\0calc:extref\0\0"_ba);
    QGuiApplication::clipboard()->setMimeData(data);
}
} // namespace

// The manager with spreadsheet links: pasting a link from the clipboard, the
// data box following the document on disk, and the auto-configuration command.
class tst_LinkedManager final : public QObject {
    Q_OBJECT
    struct World : DialogWorld {
        World() { links::installSpreadsheetLinks(); }
        ~World() { links::setFactory({}); }
        std::unique_ptr<dlgVariables> manager;
    };
    std::unique_ptr<World> m_world;

    dlgVariables& open()
    {
        m_world->manager = std::make_unique<dlgVariables>();
        m_world->manager->show();
        return *m_world->manager;
    }
    manager::PropertyPage* text() { return m_world->manager->textPage(); }

private slots:
    void init() { m_world = std::make_unique<World>(); }
    void cleanup() { m_world.reset(); }

    void pastesFromClipboard_data()
    {
        QTest::addColumn<QString>("document"); // "" = plain text on the clipboard
        QTest::addColumn<QString>("link");
        QTest::addColumn<QString>("data");
        QTest::addColumn<QStringList>("messages");
        addRow("saved book", u"book.csv"_s, u"book.csv!book.B1"_s, u"linked 1"_s, QStringList());
        const QStringList unsaved{
            u"Please save the file that contains the link you are trying to paste.|OLE Link Paste Error|64"_s};
        addRow("never saved", u"Untitled 1"_s, QString(), u"typed"_s, unsaved);
        addRow("a folder", u"book.d"_s, QString(), u"typed"_s, unsaved);
        addRow("plain text", QString(), QString(), u"typed"_s, QStringList());
    }
    void pastesFromClipboard()
    {
        QFETCH(QString, document);
        QFETCH(QString, link);
        writeFile(m_world->env.path(u"book.csv"_s), "a,linked 1\n");
        QDir(m_world->env.folder()).mkdir(u"book.d"_s);
        open();
        text()->dataBox()->setText(u"typed"_s);
        if (document.isEmpty())
            QGuiApplication::clipboard()->setText(u"just text"_s);
        else
            copyLink(document.startsWith(u"book") ? m_world->env.path(document) : document, u"book.B1"_s);
        QTest::mouseClick(text()->pasteButton(), Qt::LeftButton);

        const QString expectedLink = link.isEmpty() ? QString() : m_world->env.path(link);
        QCOMPARE(text()->linkBox()->text(), expectedLink);
        QCOMPARE(text()->pasteButton()->text(), link.isEmpty() ? u"Paste"_s : u"Clear"_s);
        QCOMPARE(text()->dataBox()->isEnabled(), link.isEmpty());
        QTEST(text()->dataBox()->text(), "data");
        QStringList shown;
        for (const msgbox::Request& r : m_world->box.shown())
            shown << r.text + u'|' + r.title + u'|' + QString::number(r.icon);
        QTEST(shown, "messages");
        QCOMPARE(m_world->manager->variableSet().VariableOLELink(1), expectedLink);
    }

    // The shown linked value follows its document, written in place or saved
    // as a new file renamed over the old; a removed document shows empty text.
    void dataBoxFollowsTheDocument()
    {
        const QString book = m_world->env.path(u"live.csv"_s);
        writeFile(book, "a,first\n");
        open();
        copyLink(book, u"live.B1"_s);
        QTest::mouseClick(text()->pasteButton(), Qt::LeftButton);
        QCOMPARE(text()->dataBox()->text(), u"first"_s);

        writeFile(book, "a,second value\n");
        QTRY_COMPARE(text()->dataBox()->text(), u"second value"_s);

        writeFile(book + u".tmp"_s, "a,renamed over\n");
        QVERIFY(QFile::remove(book) && QFile::rename(book + u".tmp"_s, book));
        QTRY_COMPARE(text()->dataBox()->text(), u"renamed over"_s);

        writeFile(book, "a,after the rename\n"); // the new file is watched too
        QTRY_COMPARE(text()->dataBox()->text(), u"after the rename"_s);

        // Clearing the link leaves the box to the user: no more updates.
        QTest::mouseClick(text()->pasteButton(), Qt::LeftButton);
        QVERIFY(text()->dataBox()->isEnabled());
        text()->dataBox()->setText(u"mine"_s);
        writeFile(book, "a,ignored now\n");
        QTest::qWait(600);
        QCOMPARE(text()->dataBox()->text(), u"mine"_s);
    }

    // "&AutoConfigured Spreadsheet" saves what was typed, then shows the new,
    // linked configuration.
    void autoConfiguresFromTheMenu()
    {
        dlgVariables& d = open();
        const QString before = d.variableSet().currentPath().isEmpty() ? clsVariableAccess::defaultFilePath()
                                                                       : d.variableSet().currentPath();
        d.findChild<QLineEdit*>(u"txtTextVariableName"_s)->setText(u"typed name"_s);
        const QString workbook = m_world->env.path(u"auto.xls"_s);
        QTimer::singleShot(0, &d, [&] {
            QWidget* dialog = QApplication::activeModalWidget();
            QVERIFY(dialog && dialog->objectName() == u"dlgAddSpreadSheet");
            dialog->findChild<QLineEdit*>(u"txtSpreadSheetlocation"_s)->setText(workbook);
            dialog->findChild<QLineEdit*>(u"txtPlayfileLocation"_s)->setText(m_world->env.path(u"auto.vls"_s));
            dialog->findChild<QPushButton*>(u"cmdCreate"_s)->click();
        });
        d.findChild<QAction*>(u"mnuToolsAuto"_s)->trigger();

        QCOMPARE(d.windowTitle(), u"Variable Manager - auto.vls"_s);
        QCOMPARE(text()->linkBox()->text(), workbook + u"!Variables!R2C2"_s);
        QCOMPARE(text()->pasteButton()->text(), u"Clear"_s);
        QCOMPARE(text()->dataBox()->text(), QString()); // column B is empty in the new workbook
        QVERIFY(text()->dataBox()->isEnabled());        // showing a variable leaves it as it was
        clsVariableAccess old;
        old.LoadVariables(before);
        QCOMPARE(old.VariableName(1), u"typed name"_s);
    }
};

QTEST_MAIN(tst_LinkedManager)
#include "tst_linkedmanager.moc"
