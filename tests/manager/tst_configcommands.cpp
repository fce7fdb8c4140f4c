// The manager's configuration commands through prepared file-dialog answers:
// what the dialog is asked, the messages, the title and the set afterwards,
// and that no file content is ever lost: the previous file's content after a
// new configuration, damaged files opened, edited and closed. And the viewer
// of all variables.

#include "datarow.h"
#include "clsVariableAccess.h"
#include "dialogcontrols.h"
#include "dlgVariables.h"
#include "fakehostobjects.h"
#include "privatelabel.h"
#include "settingsstore.h"
#include "testenvironment.h"
#include "variablefile.h"

#include <QApplication>
#include <QAbstractButton>
#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QRegularExpression>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>

#include <functional>
#include <memory>

using namespace Qt::StringLiterals;

namespace {
// A complete file whose variable n holds the name "<tag> n".
QByteArray fileNamed(const QString& tag)
{
    vls::RecordSet records;
    for (int n = 1; n <= 416; ++n)
        records[n - 1] = {tag + u' ' + QString::number(n), u"1"_s, u"2"_s, u"2"_s, {}, {}, u"58"_s};
    return VariableFile::encode(records);
}

// The name field of variable n in a file on disk.
QString nameIn(const QString& path, int n)
{
    vls::RecordSet records;
    VariableFile::read(path, records);
    return records[n - 1][0];
}

// Every request of the message box as "text|title|buttons|icon".
QStringList messages(const ScriptedMessageBox& box)
{
    QStringList out;
    for (const msgbox::Request& r : box.shown())
        out << u"%1|%2|%3|%4"_s.arg(r.text, r.title).arg(int(r.buttons)).arg(int(r.icon));
    return out;
}

QString okMessage(const QString& text) { return text + u'|' + privatelabel::kAppTitle + u"|0|0"_s; }
} // namespace

class tst_ConfigCommands final : public QObject {
    Q_OBJECT
    std::unique_ptr<DialogWorld> m_world;
    std::unique_ptr<dlgVariables> m_dialog;

    QString current() const { return m_world->env.path(u"QMDvarinfo.vls"_s); }
    QLineEdit* nameBox() const { return m_dialog->findChild<QLineEdit*>(u"txtTextVariableName"_s); }
    void trigger(const QString& item) { m_dialog->findChild<QAction*>(item)->trigger(); }
    void openManager()
    {
        m_dialog = std::make_unique<dlgVariables>();
        m_dialog->show();
    }
    void typeName(const QString& name) { typeInto(nameBox(), name); }

private slots:
    void init()
    {
        m_world = std::make_unique<DialogWorld>();
        clsVariableAccess first; // a current file exists, as where the plug-in ran before
    }
    void cleanup()
    {
        m_dialog.reset();
        m_world.reset();
    }

    void commands_data()
    {
        QTest::addColumn<QString>("item");
        QTest::addColumn<QString>("answer");    // the file chosen in the dialog: "" cancels
        QTest::addColumn<QString>("title");     // the file dialog's title, "" when none is shown
        QTest::addColumn<QString>("message");   // "" when none
        QTest::addColumn<QString>("window");    // the manager's title afterwards
        QTest::addColumn<QString>("shownName"); // variable 1's name in the manager afterwards
        const QString load = u"Choose file to load!"_s, fresh = u"Choose name for new configuration!"_s;
        const QString stay = u"Variable Manager - QMDvarinfo.vls"_s;
        addRow("save", u"mnuToolsSave"_s, QString(), QString(), QString(), stay, u"typed"_s);
        addRow("load", u"mnuToolsLoad"_s, u"other.vls"_s, load, QString(), u"Variable Manager - other.vls"_s,
               u"other 1"_s);
        addRow("load cancelled", u"mnuToolsLoad"_s, QString(), load,
               u"No file chosen! No configuration will be loaded!"_s, stay, u"typed"_s);
        addRow("new, existing name: a load", u"mnuToolsNewConfiguration"_s, u"other.vls"_s, fresh, QString(),
               u"Variable Manager - other.vls"_s, u"other 1"_s);
        addRow("new, fresh name: defaults, title kept", u"mnuToolsNewConfiguration"_s, u"fresh.vls"_s, fresh, QString(),
               stay, u"Text Var 1"_s);
        addRow("new cancelled", u"mnuToolsNewConfiguration"_s, QString(), fresh,
               u"No name chosen! Not loading new configuration!"_s, stay, u"typed"_s);
    }

    void commands()
    {
        QFETCH(QString, item);
        QFETCH(QString, answer);
        QFETCH(QString, title);
        QFETCH(QString, message);
        writeFile(m_world->env.path(u"other.vls"_s), fileNamed(u"other"_s));
        m_world->files.answerNext(answer.isEmpty() ? QString() : m_world->env.path(answer));
        openManager();
        typeName(u"typed"_s);
        trigger(item);
        // Every command first writes what was typed to the current file.
        QCOMPARE(nameIn(current(), 1), u"typed"_s);
        QCOMPARE(m_world->files.shown().size(), title.isEmpty() ? 0 : 1);
        for (const filedialog::Request& r : m_world->files.shown()) {
            QCOMPARE(r.title, title);
            QCOMPARE(r.filter, u"Variable Configuration File(*.vls)|*.vls"_s);
            QCOMPARE(QDir(r.initialDir), QDir(m_world->env.folder())); // the plug-in's folder
            QCOMPARE(r.fileName, QString());
            QCOMPARE(r.kind, filedialog::Request::Open); // the same dialog for both commands ...
            QVERIFY(!r.mustExist);                       // ... which takes new names
        }
        QCOMPARE(messages(m_world->box), message.isEmpty() ? QStringList() : QStringList{okMessage(message)});
        QTEST(m_dialog->windowTitle(), "window");
        QTEST(nameBox()->text(), "shownName");
        QCOMPARE(readFile(m_world->env.path(u"other.vls"_s)), fileNamed(u"other"_s)); // a load writes nothing
        QVERIFY(!QFileInfo::exists(m_world->env.path(u"fresh.vls"_s)));
    }

    // The fresh set of a new configuration goes over the previous file at the
    // next save, as it always did; the previous content is kept beside it.
    void newConfigurationKeepsPreviousContent()
    {
        openManager();
        typeName(u"precious"_s);
        trigger(u"mnuToolsSave"_s);
        const QByteArray previous = readFile(current());
        m_world->files.answerNext(m_world->env.path(u"fresh.vls"_s));
        trigger(u"mnuToolsNewConfiguration"_s);
        trigger(u"mnuToolsSave"_s);
        QCOMPARE(nameIn(current(), 1), u"Text Var 1"_s); // the quirk, kept
        QVERIFY(!QFileInfo::exists(m_world->env.path(u"fresh.vls"_s)));
        QCOMPARE(readFile(current() + u".bak"_s), previous);
        QCOMPARE(nameIn(current() + u".bak"_s, 1), u"precious"_s);
    }

    void damagedFiles_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("loadsWhole");
        QTest::addColumn<bool>("viaLoad"); // opened with "Load Configuration", else the current file
        const QByteArray whole = fileNamed(u"kept"_s);
        const auto lineStart = [&](int n) { // where the line after the first n begins
            qsizetype at = 0;
            for (int i = 0; i < n; ++i)
                at = whole.indexOf('\n', at) + 1;
            return at;
        };
        const qsizetype line101 = lineStart(101);
        const QByteArray first200 = whole.left(lineStart(201));
        addRow("wrong header", QByteArray(whole).replace("ZOL1.1", "ZOL2.0"), false, false);
        addRow("wrong header, loaded", QByteArray(whole).replace("ZOL1.1", "ZOL2.0"), false, true);
        addRow("binary junk", QByteArray("\x89PNG\r\n\x1a\n\x00\x00\x00\rIHDR\"\x01", 18), false, false);
        addRow("line without quotes", whole.left(line101) + "kept 101 without quotes\r\n" + whole.mid(line101), false,
               false);
        addRow("200 records", first200, false, false);
        addRow("empty", QByteArray(), false, false);
        addRow("CR line ends", QByteArray(whole).replace("\r\n", "\r"), true, false);
        addRow("CR line ends, loaded", QByteArray(whole).replace("\r\n", "\r"), true, true);
    }

    void damagedFiles()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, loadsWhole);
        QFETCH(bool, viaLoad);
        const QString damaged = m_world->env.path(u"show.vls"_s);
        writeFile(damaged, bytes);
        if (viaLoad)
            m_world->files.answerNext(damaged);
        else
            settings::write(settings::kVarFileLoc, damaged);
        if (!loadsWhole)
            QTest::ignoreMessage(
                QtWarningMsg,
                QRegularExpression(u"kept as "_s + QRegularExpression::escape(damaged + u".unreadable-"_s)));
        openManager();
        if (viaLoad)
            trigger(u"mnuToolsLoad"_s);
        if (loadsWhole)
            QCOMPARE(nameBox()->text(), u"kept 1"_s);
        typeName(u"edited"_s);
        QTest::mouseClick(m_dialog->findChild<QAbstractButton*>(u"OKButton"_s), Qt::LeftButton);
        m_dialog.reset(); // and the set saves itself as it goes

        QCOMPARE(nameIn(damaged, 1), u"edited"_s);
        const QStringList copies = QDir(m_world->env.folder()).entryList({u"show.vls.unreadable-*"_s});
        QCOMPARE(copies.size(), loadsWhole ? 0 : 1);
        const QString kept = loadsWhole ? damaged + u".bak"_s : m_world->env.path(copies.value(0));
        QCOMPARE(readFile(kept), bytes);
        if (loadsWhole)
            QCOMPARE(nameIn(damaged, 416), u"kept 416"_s);
    }

    void viewAllVariables()
    {
        openManager();
        auto* container = new FakeLinkContainer;
        container->value = u"live 42"_s;
        m_dialog->setLinkContainer(std::unique_ptr<ILinkContainer>(container));
        QList<bool> noticeSeen; // whether the viewer's notice showed while each link was read
        clsVariableAccess& set = m_dialog->variableSet();
        set.setVariableName(300, u"Scores"_s);
        set.setVariableOLELink(300, u"C:\\book.xls!Variables!R2C2"_s);
        set.setVariableData(416, u"last one"_s);
        typeName(u"typed"_s); // not committed yet: the command does it
        QStringList seen;
        QTimer::singleShot(0, [&] {
            auto* viewer = QApplication::activeModalWidget();
            QVERIFY(viewer && viewer->objectName() == u"dlgViewAllVar");
            seen << viewer->windowTitle() << nameIn(current(), 1);
            auto* list = viewer->findChild<QTreeWidget*>(u"ListView1"_s);
            QCOMPARE(list->topLevelItemCount(), 416);
            QCOMPARE(list->headerItem()->text(0) + u'|' + list->headerItem()->text(1) + u'|'
                         + list->headerItem()->text(2),
                     u"Var #|Var Name|Variable Text"_s);
            for (int row : {0, 255, 256, 299, 415}) {
                const QTreeWidgetItem* item = list->topLevelItem(row);
                seen << item->text(0) + u'|' + item->text(1) + u'|' + item->text(2);
            }
            auto* notice = viewer->findChild<QLabel*>(u"txtUpdating"_s);
            seen << notice->text() << (notice->isVisible() ? u"notice showing"_s : u"notice hidden"_s);
            viewer->findChild<QAction*>(u"mnuExit"_s)->trigger();
        });
        container->onRead = [&] {
            auto* viewer = m_dialog->findChild<QDialog*>(u"dlgViewAllVar"_s);
            noticeSeen << (viewer && viewer->findChild<QLabel*>(u"txtUpdating"_s)->isVisible());
        };
        trigger(u"mnuViewAllVar"_s);
        QCOMPARE(seen, (QStringList{u"View All Variables"_s, u"typed"_s, u"1|typed|"_s, u"256|Text Var 256|"_s,
                                    u"257|Cell Var 1|"_s, u"300|Scores|live 42"_s, u"416|Cell Var 160|last one"_s,
                                    u"Updating Variable Data ..."_s, u"notice hidden"_s}));
        QCOMPARE(noticeSeen, QList<bool>{true}); // the one linked variable, read while the notice showed
    }
};

QTEST_MAIN(tst_ConfigCommands)
#include "tst_configcommands.moc"
