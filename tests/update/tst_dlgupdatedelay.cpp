#include "datarow.h"
#include "dialogcontrols.h"
#include "dlgUpdateDelay.h"
#include "runtimeerror.h"
#include "testenvironment.h"

#include <QComboBox>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>

namespace {
struct Rig {
    TestEnvironment env;
    dlgUpdateDelay dlg;
    QTreeWidget* list = dlg.findChild<QTreeWidget*>(QStringLiteral("lstvDisplayStatus"));
    QComboBox* delay = dlg.findChild<QComboBox*>(QStringLiteral("cbDelay"));

    explicit Rig(const QString& displays) : dlg([displays] { return displays; })
    {
        dlg.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dlg));
    }
    // Clicks the button after checking its caption.
    void click(const char* name, const QString& caption) { ::click(&dlg, QLatin1String(name), caption); }
    void clickRow(int row)
    {
        const QRect r = list->visualItemRect(list->topLevelItem(row));
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, QPoint(20, r.center().y()));
        // The delay combo sits over the chosen row, showing its choice.
        QVERIFY(delay->isVisible() && delay->geometry().top() == r.top());
        QCOMPARE(delay->currentText(), list->topLevelItem(row)->text(1));
    }
    static void choose(QComboBox* combo, const QString& text)
    {
        combo->setCurrentIndex(combo->findText(text));
        emit combo->activated(combo->currentIndex());
    }
    // Per row: the Update and Delay columns and the row's mark.
    QStringList rows() const
    {
        QStringList out;
        for (int i = 0; i < list->topLevelItemCount(); ++i) {
            const QTreeWidgetItem* r = list->topLevelItem(i);
            out << r->text(1) + u'|' + r->text(2) + u'|' + r->data(0, Qt::UserRole).toString();
        }
        return out;
    }
};
} // namespace

class TestDlgUpdateDelay final : public QObject {
    Q_OBJECT
private slots:
    // Every control as the dialog opens, by objectName ("" = the dialog's title).
    void defaultState_data()
    {
        addControlRows({
            {"", "Variable Update Delay Setup"},
            {"Label1", "Set for All"},
            {"cmdClose", "Start Update"},
            {"Command1", "Cancel"},
        });
    }
    void defaultState()
    {
        QFETCH(QString, name);
        TestEnvironment env;
        dlgUpdateDelay d([] { return QString(); });
        QTEST(shownState(&d, name), "shown");
    }

    void perRowDelays_data()
    {
        QTest::addColumn<QString>("displays");
        QTest::addColumn<QStringList>("picks"); // per row, "" = untouched
        QTest::addColumn<QStringList>("rows");
        QTest::addColumn<QString>("closeWith");
        QTest::addColumn<QString>("delayList");
        addRow("0,15,90", "A,B,C", QStringList{"Now", "in 15 Min.", "in 1 h. 30 Min."},
               QStringList{"Now|0|Now", "in 15 Min.|15|Scheduled", "in 1 h. 30 Min.|90|Scheduled"}, "Start Update",
               "0,15,90");
        addRow("untouched rows: no Delay, 0 in the list", "A,B,C", QStringList{"", "in 2 h. ", ""},
               QStringList{"Now||Now", "in 2 h. |120|Scheduled", "Now||Now"}, "Start Update", "0,120,0");
        addRow("no displays, no list", "", QStringList{}, QStringList{}, "Start Update", "");
        addRow("Cancel", "A", QStringList{"in 1 h."}, QStringList{"in 1 h.|60|Scheduled"}, "Cancel", "");
        addRow("Escape", "A", QStringList{"in 1 h."}, QStringList{"in 1 h.|60|Scheduled"}, "", "");
    }
    void perRowDelays()
    {
        QFETCH(QString, displays);
        QFETCH(QStringList, picks);
        QFETCH(QStringList, rows);
        QFETCH(QString, closeWith);
        Rig rig(displays);
        for (int row = 0; row < picks.size(); ++row) {
            rig.clickRow(row);
            if (!picks[row].isEmpty())
                Rig::choose(rig.delay, picks[row]);
        }
        for (int row = 0; row < picks.size(); ++row)
            rig.clickRow(row);
        QCOMPARE(rig.delay->isVisible(), !picks.isEmpty());
        QCOMPARE(rig.rows(), rows);
        if (closeWith.isEmpty())
            QTest::keyClick(&rig.dlg, Qt::Key_Escape);
        else
            rig.click(closeWith == u"Cancel" ? "Command1" : "cmdClose", closeWith);
        QVERIFY(!rig.dlg.isVisible());
        QCOMPARE(rig.dlg.Cancelled(), closeWith != u"Start Update");
        QTEST(rig.dlg.DelayList(), "delayList");
        QCOMPARE(rig.dlg.DisplayList(), displays);
    }

    void setForAll()
    {
        Rig rig(QStringLiteral("A,B,C"));
        rig.clickRow(0);
        Rig::choose(rig.delay, QStringLiteral("in 15 Min."));
        Rig::choose(rig.dlg.findChild<QComboBox*>(QStringLiteral("cbDelayAll")), QStringLiteral("in 36 h."));
        QCOMPARE(rig.rows(), QStringList(3, QStringLiteral("in 36 h.|2160|Scheduled")));
        QCOMPARE(rig.delay->currentText(), QStringLiteral("in 36 h."));
        rig.click("cmdClose", QStringLiteral("Start Update"));
        QCOMPARE(rig.dlg.DelayList(), QStringLiteral("2160,2160,2160"));
    }

    void selectionErrorIsReported()
    {
        TestEnvironment env;
        ScriptedMessageBox boxes;
        dlgUpdateDelay dlg([]() -> QString { throw RuntimeError(RuntimeError::TypeMismatch); });
        QCOMPARE(boxes.texts(), QStringList{"Error Selecting Last Used Variables Type mismatch"});
        QCOMPARE(boxes.shown()[0].icon, msgbox::Critical);
    }
};

QTEST_MAIN(TestDlgUpdateDelay)
#include "tst_dlgupdatedelay.moc"
