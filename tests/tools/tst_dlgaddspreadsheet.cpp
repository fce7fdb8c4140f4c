#include "clsVariableAccess.h"
#include "datarow.h"
#include "dialogcontrols.h"
#include "dlgAddSpreadSheet.h"
#include "settingsstore.h"
#include "spreadsheetlinks.h"
#include "testenvironment.h"

#include <QFile>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <memory>

using namespace Qt::StringLiterals;

namespace {
QLineEdit* box(QWidget* d, const QString& name) { return d->findChild<QLineEdit*>(name); }
QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
} // namespace

// Spreadsheet auto-configuration: the dialog's checks, its browse buttons, and
// the workbook and links it creates.
class tst_dlgAddSpreadSheet final : public QObject {
    Q_OBJECT
    struct World : DialogWorld {
        clsVariableAccess set;
        dlgAddSpreadSheet dialog;
    };
    std::unique_ptr<World> m_world;

    // Fills the two boxes, presses Create (or Cancel) while the dialog is shown.
    void run(const QString& workbook, const QString& playfile, const QString& press = u"cmdCreate"_s)
    {
        dlgAddSpreadSheet* d = &m_world->dialog;
        QTimer::singleShot(0, d, [=] {
            box(d, u"txtSpreadSheetlocation"_s)->setText(workbook);
            box(d, u"txtPlayfileLocation"_s)->setText(playfile);
            click(d, press);
            if (d->isVisible()) // a message kept it open
                d->reject();
        });
        d->exec();
    }

private slots:
    void init() { m_world = std::make_unique<World>(); }
    void cleanup() { m_world.reset(); }

    void defaultState_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("shown");
        const std::pair<const char*, const char*> controls[] = {
            {"", "Auto Configure Spreadsheet"},
            {"fraSpreadSheet", "Excel Spread Sheet"},
            {"txtSpreadSheetlocation", ""},
            {"cmdBrowseSpreadsheet", "Browse..."},
            {"lblSpreadSheetInfo",
             "Choose where to have your spreadsheet placed. The spreadsheet MUST NOT be moved after its creation!"},
            {"fraVariableFile", "Variable File"},
            {"txtPlayfileLocation", ""},
            {"cmdBrowsePlayfile", "Browse..."},
            {"lblVarInfo", "Please choose where you would like to have the variable file created."},
            {"cmdCreate", "Create"},
            {"cmdCancel", "Cancel"},
        };
        for (const auto& [name, shown] : controls)
            addRow(*name ? name : "title", QString::fromLatin1(name), QString::fromLatin1(shown));
    }
    void defaultState()
    {
        QFETCH(QString, name);
        QTEST(shownState(&m_world->dialog, name), "shown");
    }

    // Create checks the variable file's name first; a message keeps the dialog open.
    void createChecksNames_data()
    {
        QTest::addColumn<QString>("workbook");
        QTest::addColumn<QString>("playfile");
        QTest::addColumn<QStringList>("messages"); // text|title|icon
        QTest::addColumn<bool>("cancelled");
        const QString noFile = u"You must choose a filename for your Variable File!|Choose Filename|64"_s;
        const QString noBook = u"You must choose a filename for your Excel spreadsheet!|ChooseSpreadSheet|64"_s;
        addRow("both empty", QString(), QString(), QStringList{noFile}, true);
        addRow("no variable file", u"a.xls"_s, QString(), QStringList{noFile}, true);
        addRow("no workbook", QString(), u"a.vls"_s, QStringList{noBook}, true);
        addRow("both named", u"a.xls"_s, u"a.vls"_s, QStringList(), false);
    }
    void createChecksNames()
    {
        QFETCH(QString, workbook);
        QFETCH(QString, playfile);
        run(workbook, playfile);
        QStringList shown;
        for (const msgbox::Request& r : m_world->box.shown())
            shown << r.text + u'|' + r.title + u'|' + QString::number(r.icon);
        QTEST(shown, "messages");
        QTEST(m_world->dialog.cancelled(), "cancelled");
    }

    void browseButtonsFillTheirBoxes_data()
    {
        QTest::addColumn<QString>("button");
        QTest::addColumn<QString>("target");
        QTest::addColumn<QString>("filter");
        QTest::addColumn<QString>("title");
        addRow("workbook", u"cmdBrowseSpreadsheet"_s, u"txtSpreadSheetlocation"_s,
               u"Excel Spreadsheet Auto Configuration(*.xls)|*.xls"_s, u"Choose where to store file!"_s);
        addRow("variable file", u"cmdBrowsePlayfile"_s, u"txtPlayfileLocation"_s,
               u"Variable Configuration File(*.vls)|*.vls"_s, u"Choose name for new configuration!"_s);
    }
    void browseButtonsFillTheirBoxes()
    {
        QFETCH(QString, button);
        QFETCH(QString, target);
        dlgAddSpreadSheet* d = &m_world->dialog;
        box(d, target)->setText(u"before"_s);
        m_world->files.answerNext(QString()); // cancelled: the box keeps its text
        m_world->files.answerNext(u"/data/my book"_s);
        click(d, button);
        QCOMPARE(box(d, target)->text(), u"before"_s);
        click(d, button);
        QCOMPARE(box(d, target)->text(), u"/data/my book"_s);
        const filedialog::Request& request = m_world->files.shown().constLast();
        QCOMPARE(request.kind, filedialog::Request::Save);
        QCOMPARE(request.fileName, QString());
        QTEST(request.filter, "filter");
        QTEST(request.title, "title");
        QCOMPARE(request.initialDir, settings::pluginFolder());
    }

    void cancelWritesNothing()
    {
        const QString workbook = m_world->env.path(u"book.xls"_s);
        const QString previous = m_world->set.currentPath();
        m_world->set.setVariableData(3, u"kept"_s);
        run(workbook, m_world->env.path(u"new.vls"_s), u"cmdCancel"_s);
        m_world->dialog.AutoConfigureSpreadSheet(m_world->set);
        QVERIFY(!QFile::exists(workbook));
        QVERIFY(!QFile::exists(m_world->env.path(u"new.vls"_s)));
        QCOMPARE(m_world->set.VariableData(3), u"kept"_s);
        QCOMPARE(m_world->set.VariableOLELink(1), QString());
        QCOMPARE(m_world->set.currentPath(), previous);
    }

    // The workbook written as carried, over any file of its name; a fresh
    // configuration under the new name with every variable linked to its row.
    void createsWorkbookAndLinks()
    {
        const QString workbook = m_world->env.path(u"my sheets/auto book.xls"_s);
        QVERIFY(QDir(m_world->env.folder()).mkpath(u"my sheets"_s));
        { // an older, longer file of that name
            QFile old(workbook);
            QVERIFY(old.open(QIODevice::WriteOnly));
            old.write(QByteArray(100000, 'x'));
        }
        const QString playfile = m_world->env.path(u"auto.vls"_s);
        m_world->set.setVariableData(3, u"old data"_s);
        run(workbook, playfile);
        m_world->dialog.AutoConfigureSpreadSheet(m_world->set);

        QCOMPARE(contents(workbook), dlgAddSpreadSheet::workbookTemplate());
        QCOMPARE(m_world->set.CurrFileName(), u"auto.vls"_s);
        QVERIFY(QFile::exists(playfile));
        QCOMPARE(m_world->set.VariableData(3), QString());
        QCOMPARE(m_world->set.VariableName(3), clsVariableAccess::defaultName(3));
        QCOMPARE(m_world->set.VariableOLELink(1), workbook + u"!Variables!R2C2"_s);
        QCOMPARE(m_world->set.VariableOLELink(257), workbook + u"!Variables!R258C2"_s);
        QCOMPARE(m_world->set.VariableOLELink(416), workbook + u"!Variables!R417C2"_s);

        // Every link reads what the user types into its row (here a filled-in copy).
        QVERIFY(QFile::remove(workbook));
        QVERIFY(QFile::copy(QStringLiteral(LINK_FIXTURES "/filled-workbook.xls"), workbook));
        links::installSpreadsheetLinks();
        const std::unique_ptr<ILinkContainer> container = links::create();
        links::setFactory({});
        for (int n = 1; n <= clsVariableAccess::kVariableCount; ++n)
            QCOMPARE(m_world->set.GetDisplayableData(static_cast<int16_t>(n), container.get()),
                     u"Value %1"_s.arg(n + 1));
    }

    // The workbook carried is the one the generator script makes.
    void templateIsTheGeneratorsOutput()
    {
        const QString out = m_world->env.path(u"generated.xls"_s);
        QProcess script;
        script.start(u"/usr/bin/python3"_s, {QStringLiteral(SOURCE_ROOT "/scripts/make-workbook.py"), out});
        QVERIFY2(script.waitForFinished(30000) && script.exitCode() == 0, script.readAllStandardError().constData());
        QCOMPARE(contents(out), dlgAddSpreadSheet::workbookTemplate());
    }
};

QTEST_MAIN(tst_dlgAddSpreadSheet)
#include "tst_dlgaddspreadsheet.moc"
