#include "dlgUpdateDelay.h"
#include "runtimeerror.h"
#include "statusicons.h"
#include "testenvironment.h"

#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>

namespace {
struct Rig {
    TestEnvironment env;
    int asked = 0;
    dlgUpdateDelay dlg;

    explicit Rig(const QString& displays)
        : dlg([this, displays] {
              ++asked;
              return displays;
          })
    {
    }
    template <class T>
    T* child(const char* name) const
    {
        T* w = dlg.findChild<T*>(QString::fromLatin1(name));
        if (!w)
            qFatal("no child %s", name);
        return w;
    }
    QTreeWidget* list() const { return child<QTreeWidget>("lstvDisplayStatus"); }
    QComboBox* delay() const { return child<QComboBox>("cbDelay"); }
    QComboBox* delayAll() const { return child<QComboBox>("cbDelayAll"); }
    void clickRow(int row) const
    {
        const QRect r = list()->visualItemRect(list()->topLevelItem(row));
        QTest::mouseClick(list()->viewport(), Qt::LeftButton, {}, QPoint(20, r.center().y()));
    }
    static void choose(QComboBox* combo, const QString& text)
    {
        const int i = combo->findText(text);
        QVERIFY2(i >= 0, qPrintable(text));
        combo->setCurrentIndex(i);
        emit combo->activated(i);
    }
    QStringList column(int c) const
    {
        QStringList out;
        for (int i = 0; i < list()->topLevelItemCount(); ++i)
            out << list()->topLevelItem(i)->text(c);
        return out;
    }
    QStringList marks() const
    {
        QStringList out;
        for (int i = 0; i < list()->topLevelItemCount(); ++i)
            out << list()->topLevelItem(i)->data(0, Qt::UserRole).toString();
        return out;
    }
    void show()
    {
        dlg.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dlg));
    }
};
} // namespace

class TestDlgUpdateDelay final : public QObject {
    Q_OBJECT
private slots:
    void initialState()
    {
        Rig rig(QStringLiteral("Lobby,Gate 4"));
        QCOMPARE(rig.asked, 1);
        QCOMPARE(rig.dlg.objectName(), QStringLiteral("dlgUpdateDelay"));
        QCOMPARE(rig.dlg.windowTitle(), QStringLiteral("Variable Update Delay Setup"));
        const QTreeWidgetItem* header = rig.list()->headerItem();
        QCOMPARE(header->text(0), QStringLiteral("Display Name"));
        QCOMPARE(header->text(1), QStringLiteral("Update"));
        QCOMPARE(header->text(2), QStringLiteral("Delay"));
        QCOMPARE(rig.child<QLabel>("Label1")->text(), QStringLiteral("Set for All"));
        QCOMPARE(rig.child<QPushButton>("cmdClose")->text(), QStringLiteral("Start Update"));
        QCOMPARE(rig.child<QPushButton>("Command1")->text(), QStringLiteral("Cancel"));
        QCOMPARE(rig.delay()->currentText(), QStringLiteral("Now"));
        QCOMPARE(rig.delayAll()->currentText(), QStringLiteral("Now"));
        QCOMPARE(rig.column(0), (QStringList{"Lobby", "Gate 4"}));
        QCOMPARE(rig.column(1), (QStringList{"Now", "Now"}));
        QCOMPARE(rig.marks(), (QStringList{"Now", "Now"}));
        QCOMPARE(rig.list()->currentItem(), rig.list()->topLevelItem(0));
        QCOMPARE(rig.list()->topLevelItem(1)->icon(0).cacheKey(), statusIcon(QStringLiteral("Now")).cacheKey());
        QVERIFY(!rig.dlg.Cancelled());
        QCOMPARE(rig.dlg.DelayList(), QString());
        QCOMPARE(rig.dlg.DisplayList(), QStringLiteral("Lobby,Gate 4"));
    }

    void choices_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("minutes");
        const std::pair<const char*, int> table[] = {
            {"Now", 0},          {"in 15 Min.", 15},  {"in 30 Min.", 30}, {"in 45 Min.", 45}, {"in 1 h.", 60},
            {"in 1 h. 30 Min.", 90}, {"in 2 h. ", 120}, {"in 3 h.", 180},   {"in 4 h.", 240},   {"in 5 h.", 300},
            {"in 6 h.", 360},    {"in 7 h.", 420},    {"in 8 h.", 480},   {"in 9 h.", 540},   {"in 10 h.", 600},
            {"in 11 h.", 660},   {"in 12 h.", 720},   {"in 15 h.", 900},  {"in 20 h.", 1200}, {"in 24 h.", 1440},
            {"in 36 h.", 2160}};
        int i = 0;
        for (const auto& [text, minutes] : table) {
            QTest::newRow(text) << i << QString::fromLatin1(text) << minutes;
            ++i;
        }
    }
    void choices()
    {
        QFETCH(int, index);
        QFETCH(QString, text);
        QFETCH(int, minutes);
        Rig rig(QStringLiteral("A"));
        for (QComboBox* combo : {rig.delay(), rig.delayAll()}) {
            QCOMPARE(combo->count(), 21);
            QCOMPARE(combo->itemText(index), text);
            QCOMPARE(combo->itemData(index).toInt(), minutes);
        }
    }

    void perRowDelays_data()
    {
        QTest::addColumn<QString>("displays");
        QTest::addColumn<QStringList>("picks");  // per row, "" = untouched
        QTest::addColumn<QString>("delayList");
        QTest::addColumn<QStringList>("marks");
        QTest::newRow("0,15,90") << "A,B,C" << QStringList{"Now", "in 15 Min.", "in 1 h. 30 Min."} << "0,15,90"
                                 << QStringList{"Now", "Scheduled", "Scheduled"};
        QTest::newRow("untouched rows are 0") << "A,B" << QStringList{"", "in 2 h. "} << "0,120"
                                              << QStringList{"Now", "Scheduled"};
        QTest::newRow("single display") << "A" << QStringList{"in 4 h."} << "240" << QStringList{"Scheduled"};
    }
    void perRowDelays()
    {
        QFETCH(QString, displays);
        QFETCH(QStringList, picks);
        QFETCH(QString, delayList);
        QFETCH(QStringList, marks);
        Rig rig(displays);
        rig.show();
        for (int row = 0; row < picks.size(); ++row) {
            if (picks[row].isEmpty())
                continue;
            rig.clickRow(row);
            QCOMPARE(rig.list()->currentItem(), rig.list()->topLevelItem(row));
            // The combo sits over the chosen row.
            QCOMPARE(rig.delay()->geometry().top(), rig.list()->visualItemRect(rig.list()->currentItem()).top());
            QVERIFY(rig.delay()->isVisible());
            Rig::choose(rig.delay(), picks[row]);
        }
        QCOMPARE(rig.marks(), marks);
        QTest::mouseClick(rig.child<QPushButton>("cmdClose"), Qt::LeftButton);
        QVERIFY(!rig.dlg.isVisible());
        QVERIFY(!rig.dlg.Cancelled());
        QCOMPARE(rig.dlg.DelayList(), delayList);
    }

    void comboFollowsTheSelectedRow()
    {
        Rig rig(QStringLiteral("A,B,C"));
        rig.show();
        rig.clickRow(1);
        Rig::choose(rig.delay(), QStringLiteral("in 45 Min."));
        rig.clickRow(2);
        QCOMPARE(rig.delay()->currentText(), QStringLiteral("Now"));
        rig.clickRow(1);
        QCOMPARE(rig.delay()->currentText(), QStringLiteral("in 45 Min."));
        QCOMPARE(rig.column(2), (QStringList{"0", "45", "0"}));
        QCOMPARE(rig.column(1), (QStringList{"Now", "in 45 Min.", "Now"}));
    }

    void setForAll()
    {
        Rig rig(QStringLiteral("A,B,C"));
        rig.show();
        rig.clickRow(0);
        Rig::choose(rig.delay(), QStringLiteral("in 15 Min."));
        Rig::choose(rig.delayAll(), QStringLiteral("in 36 h."));
        QCOMPARE(rig.column(1), QStringList(3, QStringLiteral("in 36 h.")));
        QCOMPARE(rig.column(2), QStringList(3, QStringLiteral("2160")));
        QCOMPARE(rig.marks(), QStringList(3, QStringLiteral("Scheduled")));
        QCOMPARE(rig.delay()->currentText(), QStringLiteral("in 36 h."));
        QTest::mouseClick(rig.child<QPushButton>("cmdClose"), Qt::LeftButton);
        QCOMPARE(rig.dlg.DelayList(), QStringLiteral("2160,2160,2160"));
        QCOMPARE(rig.dlg.DisplayList(), QStringLiteral("A,B,C"));
    }

    void emptySelection()
    {
        Rig rig{QString()};
        rig.show();
        QCOMPARE(rig.list()->topLevelItemCount(), 0);
        QVERIFY(!rig.delay()->isVisible());
        Rig::choose(rig.delayAll(), QStringLiteral("in 1 h."));
        QTest::mouseClick(rig.child<QPushButton>("cmdClose"), Qt::LeftButton);
        QCOMPARE(rig.dlg.DelayList(), QString());
        QCOMPARE(rig.dlg.DisplayList(), QString());
        QVERIFY(!rig.dlg.Cancelled());
    }

    void cancel_data()
    {
        QTest::addColumn<bool>("escape");
        QTest::newRow("Cancel button") << false;
        QTest::newRow("Escape") << true;
    }
    void cancel()
    {
        QFETCH(bool, escape);
        Rig rig(QStringLiteral("A"));
        rig.show();
        if (escape)
            QTest::keyClick(&rig.dlg, Qt::Key_Escape);
        else
            QTest::mouseClick(rig.child<QPushButton>("Command1"), Qt::LeftButton);
        QVERIFY(!rig.dlg.isVisible());
        QVERIFY(rig.dlg.Cancelled());
        QCOMPARE(rig.dlg.DelayList(), QString());
    }

    void selectionErrorIsReported()
    {
        TestEnvironment env;
        ScriptedMessageBox boxes;
        dlgUpdateDelay dlg([]() -> QString { throw RuntimeError(RuntimeError::TypeMismatch); });
        QCOMPARE(boxes.texts(), QStringList{"Error Selecting Last Used Variables Type mismatch"});
        QCOMPARE(boxes.shown()[0].icon, msgbox::Critical);
        QCOMPARE(dlg.findChild<QTreeWidget*>(QStringLiteral("lstvDisplayStatus"))->topLevelItemCount(), 0);
    }
};

QTEST_MAIN(TestDlgUpdateDelay)
#include "tst_dlgupdatedelay.moc"
