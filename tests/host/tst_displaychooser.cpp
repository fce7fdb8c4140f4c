// The host's display chooser: the dialog driven as a person would, the answers
// given without it, and the "Recent" / "LastOpened" values it leaves behind.

#include "DisplayChooser.h"
#include "displaychoice.h"
#include "dlgDisplayChooser.h"
#include "latebound.h"
#include "settingsstore.h"
#include "testenvironment.h"

#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <functional>

namespace {
const QChar kFF(char16_t(255));

void writeDisplays(const QString& path)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("1|Lobby|3|127.0.0.1||47010||1\n2|Dock|1|/dev/ttyUSB0|9600,N,8,1|||1,2\n3|Branch|2|/dev/ttyS1|||555|1\n");
}

// Runs `answer` on the chooser's dialog once it is open; the dialog is closed
// afterwards whatever `answer` did, so a failing check cannot leave it open.
void whenChooserOpens(const std::function<void(dlgDisplayChooser*)>& answer)
{
    QTimer::singleShot(0, [answer] {
        auto* dialog = qobject_cast<dlgDisplayChooser*>(QApplication::activeModalWidget());
        if (!dialog) {
            qWarning("the display chooser did not open");
            return;
        }
        answer(dialog);
        if (dialog->isVisible())
            dialog->reject();
    });
}

QListWidgetItem* itemFor(dlgDisplayChooser* dialog, const QString& number)
{
    auto* list = dialog->findChild<QListWidget*>(QStringLiteral("lstDisplays"));
    for (int i = 0; i < list->count(); ++i) {
        if (list->item(i)->data(Qt::UserRole).toString() == number)
            return list->item(i);
    }
    return nullptr;
}

// With LUMAREX_SCREENSHOT_DIR set, keeps a picture of the dialog for people to look at.
void keepPicture(QWidget* widget, const QString& name)
{
    const QString folder = qEnvironmentVariable("LUMAREX_SCREENSHOT_DIR");
    if (!folder.isEmpty())
        widget->grab().save(folder + u'/' + name + QStringLiteral(".png"));
}

void click(dlgDisplayChooser* dialog, const char* button)
{
    QTest::mouseClick(dialog->findChild<QPushButton*>(QString::fromLatin1(button)), Qt::LeftButton);
}
} // namespace

class TestDisplayChooser final : public QObject {
    Q_OBJECT
private slots:
    void cleanup() { DisplayChooser::setScriptedAnswer(std::nullopt); }
    void dialogDefaults();
    void choosesCheckedDisplays();
    void recentChoiceComesChecked();
    void endsWithoutChoice_data();
    void endsWithoutChoice();
    void missingListShowsProblem();
    void scriptedAnswer_data();
    void scriptedAnswer();
    void answerFromEnvironment();
    void lateBoundThroughInterface();
};

void TestDisplayChooser::dialogDefaults()
{
    TestEnvironment env;
    dlgDisplayChooser dialog;
    QCOMPARE(dialog.objectName(), QStringLiteral("dlgDisplayChooser"));
    QCOMPARE(dialog.windowTitle(), QStringLiteral("Choose Displays"));
    const QList<std::pair<const char*, QString>> buttons{
        {"cmdSelectAll", "Select &All"}, {"cmdClearAll", "&Clear All"}, {"cmdOK", "OK"}, {"cmdCancel", "Cancel"}};
    for (const auto& [name, caption] : buttons) {
        auto* button = dialog.findChild<QPushButton*>(QString::fromLatin1(name));
        QVERIFY2(button, name);
        QCOMPARE(button->text(), caption);
    }
    QVERIFY(dialog.findChild<QPushButton*>(QStringLiteral("cmdOK"))->isDefault());
    QCOMPARE(dialog.findChild<QLabel*>(QStringLiteral("lblPrompt"))->text(), QStringLiteral("Choose the displays:"));
    QVERIFY(dialog.findChild<QLabel*>(QStringLiteral("lblProblem"))->isHidden());
    QCOMPARE(dialog.findChild<QListWidget*>(QStringLiteral("lstDisplays"))->count(), 0);
}

void TestDisplayChooser::choosesCheckedDisplays()
{
    TestEnvironment env;
    writeDisplays(env.path(QStringLiteral("Displays.dat")));
    QStringList captions;
    whenChooserOpens([&](dlgDisplayChooser* dialog) {
        auto* list = dialog->findChild<QListWidget*>(QStringLiteral("lstDisplays"));
        for (int i = 0; i < list->count(); ++i)
            captions << list->item(i)->text();
        itemFor(dialog, QStringLiteral("3"))->setCheckState(Qt::Checked);
        itemFor(dialog, QStringLiteral("1"))->setCheckState(Qt::Checked);
        click(dialog, "cmdOK");
    });
    DisplayChooser chooser;
    QCOMPARE(chooser.SelectDisplays(), QStringLiteral("1,3"));  // in list order
    QCOMPARE(captions, (QStringList{"1 - Lobby", "2 - Dock", "3 - Branch"}));
    QCOMPARE(settings::read(settings::kRecentDisplays), QString(QStringLiteral("1") + kFF + QStringLiteral("3")));
    QCOMPARE(settings::read(settings::kLastOpenedDisplay), QStringLiteral("1,3"));
}

void TestDisplayChooser::recentChoiceComesChecked()
{
    TestEnvironment env;
    writeDisplays(env.path(QStringLiteral("Displays.dat")));
    settings::write(settings::kRecentDisplays, QStringLiteral("2") + kFF + QStringLiteral("3"));
    QList<Qt::CheckState> states;
    whenChooserOpens([&](dlgDisplayChooser* dialog) {
        for (const char* n : {"1", "2", "3"})
            states << itemFor(dialog, QString::fromLatin1(n))->checkState();
        keepPicture(dialog, QStringLiteral("dlgDisplayChooser"));
        click(dialog, "cmdSelectAll");
        click(dialog, "cmdOK");
    });
    QCOMPARE(DisplayChooser().SelectDisplays(), QStringLiteral("1,2,3"));
    QCOMPARE(states, (QList<Qt::CheckState>{Qt::Unchecked, Qt::Checked, Qt::Checked}));
    QCOMPARE(displaychoice::recent(), (QStringList{"1", "2", "3"}));
}

void TestDisplayChooser::endsWithoutChoice_data()
{
    QTest::addColumn<QString>("how");
    QTest::newRow("cancelled") << "cancel";
    QTest::newRow("nothing checked") << "clear";
    QTest::newRow("closed by the window") << "reject";
}

void TestDisplayChooser::endsWithoutChoice()
{
    TestEnvironment env;
    writeDisplays(env.path(QStringLiteral("Displays.dat")));
    settings::write(settings::kRecentDisplays, QStringLiteral("2"));
    settings::write(settings::kLastOpenedDisplay, QStringLiteral("2"));
    QFETCH(QString, how);
    whenChooserOpens([&](dlgDisplayChooser* dialog) {
        itemFor(dialog, QStringLiteral("1"))->setCheckState(Qt::Checked);
        if (how == u"cancel") {
            click(dialog, "cmdCancel");
        } else if (how == u"clear") {
            click(dialog, "cmdClearAll");
            click(dialog, "cmdOK");
        } else {
            dialog->reject();
        }
    });
    QCOMPARE(DisplayChooser().SelectDisplays(), QString());
    // The host's memory keeps the previous choice.
    QCOMPARE(settings::read(settings::kRecentDisplays), QStringLiteral("2"));
    QCOMPARE(settings::read(settings::kLastOpenedDisplay), QStringLiteral("2"));
}

void TestDisplayChooser::missingListShowsProblem()
{
    TestEnvironment env;
    QString problem;
    int count = -1;
    whenChooserOpens([&](dlgDisplayChooser* dialog) {
        auto* label = dialog->findChild<QLabel*>(QStringLiteral("lblProblem"));
        problem = label->isVisible() ? label->text() : QString();
        count = dialog->findChild<QListWidget*>(QStringLiteral("lstDisplays"))->count();
        keepPicture(dialog, QStringLiteral("dlgDisplayChooser-missing-list"));
        click(dialog, "cmdOK");
    });
    QCOMPARE(DisplayChooser().SelectDisplays(), QString());
    QCOMPARE(count, 0);
    QVERIFY2(problem.contains(QStringLiteral("Display list file not found")), qPrintable(problem));
}

void TestDisplayChooser::scriptedAnswer_data()
{
    QTest::addColumn<QString>("answer");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<QString>("recent");
    QTest::newRow("two displays") << "3,1" << "3,1" << QString(QStringLiteral("3") + kFF + QStringLiteral("1"));
    QTest::newRow("blanks and empty entries") << " 2 ,, 4" << "2,4" << QString(QStringLiteral("2") + kFF + QStringLiteral("4"));
    QTest::newRow("nothing") << "" << "" << "before";
}

void TestDisplayChooser::scriptedAnswer()
{
    TestEnvironment env;
    settings::write(settings::kRecentDisplays, QStringLiteral("before"));
    QFETCH(QString, answer);
    DisplayChooser::setScriptedAnswer(answer);
    QTEST(DisplayChooser().SelectDisplays(), "expected");
    QTEST(settings::read(settings::kRecentDisplays), "recent");
    QVERIFY(!QApplication::activeModalWidget());
}

void TestDisplayChooser::answerFromEnvironment()
{
    TestEnvironment env;
    qputenv(DisplayChooser::kAnswerVariable, "5,6");
    const QString chosen = DisplayChooser().SelectDisplays();
    qunsetenv(DisplayChooser::kAnswerVariable);
    QCOMPARE(chosen, QStringLiteral("5,6"));
    QCOMPARE(settings::read(settings::kLastOpenedDisplay), QStringLiteral("5,6"));
}

void TestDisplayChooser::lateBoundThroughInterface()
{
    TestEnvironment env;
    DisplayChooser::setScriptedAnswer(QStringLiteral("7"));
    DisplayChooser chooser;
    QCOMPARE(latebound::callMethod(&chooser, "SelectDisplays").toString(), QStringLiteral("7"));
    auto* iface = qobject_cast<hostobjects::IDisplayChooser*>(&chooser);
    QVERIFY(iface);
    QCOMPARE(iface->SelectDisplays(), QStringLiteral("7"));
}

QTEST_MAIN(TestDisplayChooser)
#include "tst_displaychooser.moc"
