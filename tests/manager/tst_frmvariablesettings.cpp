#include "frmVariableSettings.h"
#include "settingsstore.h"
#include "testenvironment.h"

#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>

#include <memory>


// The update settings dialog: what it shows of the stored settings and what OK
// and Cancel store.
class tst_frmVariableSettings final : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void shouldHaveDefaultValues();
    void intervalShown_data();
    void intervalShown();
    void optionsShown_data();
    void optionsShown();
    void okStoresInterval_data();
    void okStoresInterval();
    void okStoresOptions_data();
    void okStoresOptions();
    void cancelStoresNothing();

private:
    std::unique_ptr<TestEnvironment> m_env;
};

namespace {
const QString kAbsent = QStringLiteral("<absent>");

QRadioButton* radio(QWidget* d, const QString& name) { return d->findChild<QRadioButton*>(name); }
QLineEdit* box(QWidget* d, const char* name) { return d->findChild<QLineEdit*>(QString::fromLatin1(name)); }
QString stored(const settings::Key& key) { return settings::read(key, kAbsent); }
void storeUnlessAbsent(const settings::Key& key, const QString& value)
{
    if (value != kAbsent)
        settings::write(key, value);
}
void pressOK(QWidget* d) { QTest::mouseClick(d->findChild<QPushButton*>(QStringLiteral("cmdOK")), Qt::LeftButton); }
} // namespace

void tst_frmVariableSettings::init() { m_env = std::make_unique<TestEnvironment>(); }
void tst_frmVariableSettings::cleanup() { m_env.reset(); }

void tst_frmVariableSettings::shouldHaveDefaultValues()
{
    frmVariableSettings d;
    QCOMPARE(d.objectName(), QStringLiteral("frmVariableSettings"));
    QCOMPARE(d.windowTitle(), QStringLiteral("Variable Update Settings"));
    const QList<std::pair<QString, QString>> frames{{"fraDisplay", "Choose Display"},
                                                    {"fraVariables", "Choose Variables"},
                                                    {"fraUpdateDelay", "Update Delay"},
                                                    {"fraDelay", "Retry Interval"}};
    for (const auto& [name, caption] : frames)
        QCOMPARE(d.findChild<QGroupBox*>(name)->title(), caption);
    const QList<std::pair<QString, QString>> options{
        {"optChooseDisplay_0", "Never ask for displays, use the current one"},
        {"optChooseDisplay_1", "Never ask for displays, use the last selection"},
        {"optChooseDisplay_2", "Prompt for displays every time"},
        {"optChooseVar", "Prompt for variables every time"},
        {"optNeverChooseVar", "Never ask for variables, use the last selected"},
        {"optDelay", "Prompt for Delay Setup every time"},
        {"optNoDelay", "Never ask for Delay Setup"}};
    for (const auto& [name, caption] : options) {
        QVERIFY2(radio(&d, name), qPrintable(name));
        QCOMPARE(radio(&d, name)->text(), caption);
    }
    for (const auto& [buddy, caption] : QList<std::pair<QString, QString>>{
             {"txtHour", "Hours"}, {"txtMin", "Min."}, {"txtSec", "Sec."}}) {
        bool found = false;
        for (QLabel* label : d.findChildren<QLabel*>()) {
            if (label->buddy() && label->buddy()->objectName() == buddy) {
                QCOMPARE(label->text(), caption);
                found = true;
            }
        }
        QVERIFY2(found, qPrintable(buddy));
    }
    QCOMPARE(d.findChild<QPushButton*>(QStringLiteral("cmdOK"))->text(), QStringLiteral("OK"));
    QCOMPARE(d.findChild<QPushButton*>(QStringLiteral("cmdCancel"))->text(), QStringLiteral("Cancel"));
    // Nothing stored: ask for displays and variables, no delay dialog, one hour.
    QVERIFY(radio(&d, QStringLiteral("optChooseDisplay_2"))->isChecked());
    QVERIFY(radio(&d, QStringLiteral("optChooseVar"))->isChecked());
    QVERIFY(radio(&d, QStringLiteral("optNoDelay"))->isChecked());
    QCOMPARE(box(&d, "txtHour")->text(), QStringLiteral("1"));
    QCOMPARE(box(&d, "txtMin")->text(), QStringLiteral("0"));
    QCOMPARE(box(&d, "txtSec")->text(), QStringLiteral("0"));
}

void tst_frmVariableSettings::intervalShown_data()
{
    QTest::addColumn<QString>("interval");
    QTest::addColumn<QString>("hours");
    QTest::addColumn<QString>("minutes");
    QTest::addColumn<QString>("seconds");
    QTest::newRow("one hour") << "3600" << "1" << "0" << "0";
    QTest::newRow("one second short") << "3599" << "0" << "59" << "59";
    QTest::newRow("past a day wraps") << "90000" << "1" << "0" << "0";
    QTest::newRow("seven seconds") << "7" << "0" << "0" << "7";
    QTest::newRow("zero") << "0" << "0" << "0" << "0";
    QTest::newRow("last second of a day") << "86399" << "23" << "59" << "59";
    QTest::newRow("not a number") << "abc" << "0" << "0" << "0";
    QTest::newRow("absent") << kAbsent << "1" << "0" << "0";
}

void tst_frmVariableSettings::intervalShown()
{
    QFETCH(QString, hours);
    QFETCH(QString, minutes);
    QFETCH(QString, seconds);
    QFETCH(QString, interval);
    storeUnlessAbsent(settings::kRetryInterval, interval);
    frmVariableSettings d;
    QCOMPARE(box(&d, "txtHour")->text(), hours);
    QCOMPARE(box(&d, "txtMin")->text(), minutes);
    QCOMPARE(box(&d, "txtSec")->text(), seconds);
}

void tst_frmVariableSettings::optionsShown_data()
{
    QTest::addColumn<QString>("display");
    QTest::addColumn<QString>("variable");
    QTest::addColumn<QString>("delay");
    QTest::addColumn<QStringList>("checked");
    QTest::newRow("current display") << "0" << "TRUE" << "TRUE"
                                     << QStringList{"optChooseDisplay_0", "optChooseVar", "optDelay"};
    QTest::newRow("last selection") << "1" << "FALSE" << "FALSE"
                                    << QStringList{"optChooseDisplay_1", "optNeverChooseVar", "optNoDelay"};
    QTest::newRow("out of range asks") << "7" << "True" << "true"
                                       << QStringList{"optChooseDisplay_2", "optNeverChooseVar", "optNoDelay"};
    QTest::newRow("negative asks") << "-1" << kAbsent << kAbsent
                                   << QStringList{"optChooseDisplay_2", "optChooseVar", "optNoDelay"};
    QTest::newRow("not a number asks") << "x" << "" << "" 
                                       << QStringList{"optChooseDisplay_2", "optNeverChooseVar", "optNoDelay"};
}

void tst_frmVariableSettings::optionsShown()
{
    QFETCH(QString, display);
    QFETCH(QString, variable);
    QFETCH(QString, delay);
    storeUnlessAbsent(settings::kPromptForDisplay, display);
    storeUnlessAbsent(settings::kPromptForVariable, variable);
    storeUnlessAbsent(settings::kPromptForDelay, delay);
    QFETCH(QStringList, checked);
    frmVariableSettings d;
    for (QRadioButton* r : d.findChildren<QRadioButton*>())
        QCOMPARE(r->isChecked(), checked.contains(r->objectName()));
}

void tst_frmVariableSettings::okStoresInterval_data()
{
    QTest::addColumn<QString>("hours");
    QTest::addColumn<QString>("minutes");
    QTest::addColumn<QString>("seconds");
    QTest::addColumn<QString>("interval");
    QTest::newRow("decimal hours") << "1.5" << "0" << "0" << "5400";
    QTest::newRow("minutes above 59") << "0" << "75" << "0" << "4500";
    QTest::newRow("not numbers") << "abc" << "x" << "" << "0";
    QTest::newRow("all three") << "1" << "1" << "1" << "3661";
    QTest::newRow("leading numbers") << "2h" << "30min" << "" << "9000";
    QTest::newRow("half to even down") << "0" << "0" << "2.5" << "2";
    QTest::newRow("half to even up") << "0" << "0" << "3.5" << "4";
    QTest::newRow("more than a day is kept") << "25" << "0" << "0" << "90000";
    QTest::newRow("negative") << "-1" << "0" << "0" << "-3600";
}

void tst_frmVariableSettings::okStoresInterval()
{
    QFETCH(QString, hours);
    QFETCH(QString, minutes);
    QFETCH(QString, seconds);
    QFETCH(QString, interval);
    frmVariableSettings d;
    box(&d, "txtHour")->setText(hours);
    box(&d, "txtMin")->setText(minutes);
    box(&d, "txtSec")->setText(seconds);
    pressOK(&d);
    QCOMPARE(d.result(), int(QDialog::Accepted));
    QCOMPARE(stored(settings::kRetryInterval), interval);
}

void tst_frmVariableSettings::okStoresOptions_data()
{
    QTest::addColumn<QString>("storedDisplay");
    QTest::addColumn<QStringList>("click");
    QTest::addColumn<QString>("display");
    QTest::addColumn<QString>("variable");
    QTest::addColumn<QString>("delay");
    QTest::newRow("unchanged defaults") << kAbsent << QStringList{} << "2" << "TRUE" << "FALSE";
    QTest::newRow("out of range stores 2") << "7" << QStringList{} << "2" << "TRUE" << "FALSE";
    QTest::newRow("current, never, delay")
        << kAbsent << QStringList{"optChooseDisplay_0", "optNeverChooseVar", "optDelay"} << "0" << "FALSE" << "TRUE";
    QTest::newRow("last selection") << "0" << QStringList{"optChooseDisplay_1"} << "1" << "TRUE" << "FALSE";
}

void tst_frmVariableSettings::okStoresOptions()
{
    QFETCH(QString, storedDisplay);
    QFETCH(QString, display);
    QFETCH(QString, variable);
    QFETCH(QString, delay);
    storeUnlessAbsent(settings::kPromptForDisplay, storedDisplay);
    QFETCH(QStringList, click);
    frmVariableSettings d;
    d.show();
    for (const QString& name : click)
        QTest::mouseClick(radio(&d, name), Qt::LeftButton);
    pressOK(&d);
    QCOMPARE(stored(settings::kPromptForDisplay), display);
    QCOMPARE(stored(settings::kPromptForVariable), variable);
    QCOMPARE(stored(settings::kPromptForDelay), delay);
    QCOMPARE(stored(settings::kRetryInterval), QStringLiteral("3600"));
}

void tst_frmVariableSettings::cancelStoresNothing()
{
    frmVariableSettings d;
    d.show();
    box(&d, "txtHour")->setText(QStringLiteral("5"));
    QTest::mouseClick(radio(&d, QStringLiteral("optDelay")), Qt::LeftButton);
    QTest::mouseClick(d.findChild<QPushButton*>(QStringLiteral("cmdCancel")), Qt::LeftButton);
    QCOMPARE(d.result(), int(QDialog::Rejected));
    for (const settings::Key& key : {settings::kRetryInterval, settings::kPromptForDelay, settings::kPromptForDisplay,
                                     settings::kPromptForVariable})
        QCOMPARE(stored(key), kAbsent);
}

QTEST_MAIN(tst_frmVariableSettings)
#include "tst_frmvariablesettings.moc"
