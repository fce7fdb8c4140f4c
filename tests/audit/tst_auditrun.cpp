// The audit report's texts: download times, entry lines by mode, colour names,
// and the size of display groups.

#include "datarow.h"
#include "auditrun.h"

#include <QTest>

using audit::Mode;

class TestAuditRun final : public QObject {
    Q_OBJECT
private slots:
    void downloadText_data()
    {
        QTest::addColumn<QList<int>>("time"); // hour, minute, second, month, day, year
        QTest::addColumn<QString>("text");
        addRow("four-digit year", QList<int>{14, 7, 9, 3, 5, 2026}, "Last Var Download: 3/5/2026 14:07:09");
        addRow("one-digit year", QList<int>{0, 0, 0, 12, 31, 9}, "Last Var Download: 12/31/09 00:00:00");
        addRow("never downloaded", QList<int>{0, 0, 0, 0, 0, 0}, "Last Var Download: 0/0/00 00:00:00");
        addRow("two-digit year", QList<int>{23, 59, 58, 10, 1, 99}, "Last Var Download: 10/1/99 23:59:58");
    }
    void downloadText()
    {
        QFETCH(QList<int>, time);
        const disptrans::DownloadTime t{int16_t(time[0]), int16_t(time[1]), int16_t(time[2]),
                                        int16_t(time[3]), int16_t(time[4]), int16_t(time[5])};
        QTEST(audit::downloadText(t), "text");
    }

    void entries_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<bool>("text");
        QTest::addColumn<int>("n");
        QTest::addColumn<int>("colour");
        QTest::addColumn<int>("blink");
        QTest::addColumn<int>("inverse");
        QTest::addColumn<QString>("entry");
        const int both = int(Mode::DataAndAttributes), data = int(Mode::DataOnly), atts = int(Mode::AttributesOnly);
        addRow("both", both, true, 7, 3, 1, 2, "Text Var 7\tYes\tNo\tYellow\t abc ");
        addRow("data only", data, true, 7, 3, 1, 2, "Text Var 7\t abc ");
        addRow("attributes only", atts, false, 1, 7, 2, 1, "Cell Var 1\tNo\tYes\tWhite");
        addRow("colour 0", atts, true, 1, 0, 1, 1, "Text Var 1\tYes\tYes\t");
        addRow("colour 8", both, false, 160, 8, 0, 0, "Cell Var 160\tNo\tNo\t\t abc ");
        addRow("red", atts, true, 1, 1, 2, 2, "Text Var 1\tNo\tNo\tRed");
        addRow("green", atts, true, 1, 2, 2, 2, "Text Var 1\tNo\tNo\tGreen");
        addRow("blue", atts, true, 1, 4, 2, 2, "Text Var 1\tNo\tNo\tBlue");
        addRow("magenta", atts, true, 1, 5, 2, 2, "Text Var 1\tNo\tNo\tMagenta");
        addRow("cyan", atts, true, 1, 6, 2, 2, "Text Var 1\tNo\tNo\tCyan");
    }
    void entries()
    {
        QFETCH(int, mode);
        QFETCH(bool, text);
        QFETCH(int, n);
        QFETCH(int, colour);
        QFETCH(int, blink);
        QFETCH(int, inverse);
        const disptrans::VarReadReply reply{int16_t(colour), int16_t(blink), int16_t(inverse), QStringLiteral("abc")};
        QTEST(audit::entryText(Mode(mode), text, int16_t(n), reply), "entry");
    }

    void modesAndHeaders_data()
    {
        QTest::addColumn<bool>("dataOnly");
        QTest::addColumn<bool>("attributesOnly");
        QTest::addColumn<QString>("header");
        addRow("neither", false, false, "Variable\tBlink\tInverse\tColor\t Data");
        addRow("data only", true, false, "Variable\t Data");
        addRow("attributes only", false, true, "Variable\tBlink\tInverse\tColor");
        addRow("both set: data only wins", true, true, "Variable\t Data");
    }
    void modesAndHeaders()
    {
        QFETCH(bool, dataOnly);
        QFETCH(bool, attributesOnly);
        QTEST(audit::columnHeader(audit::modeOf(dataOnly, attributesOnly)), "header");
    }

    void groups_data()
    {
        QTest::addColumn<bool>("group");
        QTest::addColumn<int>("spanA");
        QTest::addColumn<int>("spanB");
        QTest::addColumn<int>("extra"); // -1: Overflow
        addRow("single unit", false, 3, 3, 0);
        addRow("2 x 2", true, 1, 1, 3);
        addRow("3 x 1", true, 2, 0, 2);
        addRow("group of one", true, 0, 0, 0);
        addRow("large", true, 127, 254, 32639);
        addRow("product just too big", true, 127, 255, -1);
        addRow("too many units", true, 255, 255, -1);
        addRow("span overflows", true, 32767, 0, -1);
    }
    void groups()
    {
        QFETCH(bool, group);
        QFETCH(int, spanA);
        QFETCH(int, spanB);
        QFETCH(int, extra);
        const disptrans::DisplayConfiguration c{group, false, int16_t(spanA), int16_t(spanB)};
        try {
            QCOMPARE(int(audit::groupExtraCount(c)), extra);
        } catch (const RuntimeError& e) {
            QCOMPARE(-1, extra);
            QCOMPARE(e.number(), int(RuntimeError::Overflow));
        }
    }
};

QTEST_GUILESS_MAIN(TestAuditRun)
#include "tst_auditrun.moc"
