#include "datarow.h"
#include "datetimetext.h"
#include "legacy.h"
#include "runtimeerror.h"

#include <QTest>

class TestLegacy final : public QObject {
    Q_OBJECT
private slots:
    void val_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("expected");
        addRow("plain", "42", 42.0);
        addRow("leading blanks", "   7", 7.0);
        addRow("trailing text", "12abc", 12.0);
        addRow("decimal", "1.5", 1.5);
        addRow("leading point", ".25", 0.25);
        addRow("negative", "-3", -3.0);
        addRow("exponent", "2e3x", 2000.0);
        addRow("dangling exponent", "2e", 2.0);
        addRow("not a number", "abc", 0.0);
        addRow("empty", "", 0.0);
        addRow("sign only", "-", 0.0);
        addRow("comma stops", "1,500", 1.0);
        addRow("second point stops", "1.2.3", 1.2);
    }
    void val()
    {
        QFETCH(QString, text);
        QTEST(legacy::val(text), "expected");
    }

    void roundHalfEven_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<double>("expected");
        addRow("0.5", 0.5, 0.0);
        addRow("1.5", 1.5, 2.0);
        addRow("2.5", 2.5, 2.0);
        addRow("2.51", 2.51, 3.0);
        addRow("-0.5", -0.5, 0.0);
        addRow("-1.5", -1.5, -2.0);
        addRow("-2.5", -2.5, -2.0);
        addRow("5399.5", 5399.5, 5400.0);
    }
    void roundHalfEven()
    {
        QFETCH(double, value);
        QTEST(legacy::roundHalfEven(value), "expected");
    }

    void int16Conversions_data()
    {
        QTest::addColumn<QString>("expression");
        QTest::addColumn<int>("expected"); // -1 = Overflow, -2 = Type mismatch
        addRow("max", "toInt16 32767", 32767);
        addRow("min", "toInt16 -32768", -32768);
        addRow("rounds even", "toInt16 32766.5", 32766);
        addRow("rounds up past max", "toInt16 32767.5", -1);
        addRow("too big", "toInt16 32768", -1);
        addRow("text", "text 12", 12);
        addRow("text blanks", "text  5 ", 5);
        addRow("text group separator", "text 1,5", 15);
        addRow("text empty", "text ", -2);
        addRow("text letters", "text 5a", -2);
        addRow("text overflow", "text 40000", -1);
        addRow("add", "add 32000 767", 32767);
        addRow("add overflow", "add 32000 768", -1);
        addRow("sub overflow", "sub -32768 1", -1);
        addRow("mul", "mul 127 256", 32512);
        addRow("mul overflow", "mul 128 256", -1);
    }
    void int16Conversions()
    {
        QFETCH(QString, expression);
        QFETCH(int, expected);
        const QStringList p = expression.split(u' ');
        auto eval = [&]() -> int {
            if (p[0] == u"toInt16")
                return legacy::toInt16(p[1].toDouble());
            if (p[0] == u"text")
                return legacy::textToInt16(expression.mid(5));
            if (p[0] == u"add")
                return legacy::add16(p[1].toInt(), p[2].toInt());
            if (p[0] == u"sub")
                return legacy::sub16(p[1].toInt(), p[2].toInt());
            return legacy::mul16(p[1].toInt(), p[2].toInt());
        };
        try {
            QCOMPARE(eval(), expected);
        } catch (const RuntimeError& e) {
            QCOMPARE(e.number(), expected == -1 ? int(RuntimeError::Overflow) : int(RuntimeError::TypeMismatch));
            QCOMPARE(e.description(), expected == -1 ? QStringLiteral("Overflow") : QStringLiteral("Type mismatch"));
        }
    }

    void formatZeros_data()
    {
        QTest::addColumn<qlonglong>("value");
        QTest::addColumn<int>("digits");
        QTest::addColumn<QString>("expected");
        addRow("001", 1LL, 3, "001");
        addRow("416", 416LL, 3, "416");
        addRow("wider", 1234LL, 3, "1234");
        addRow("00000", 90LL, 5, "00090");
        addRow("negative", -5LL, 3, "-005");
    }
    void formatZeros()
    {
        QFETCH(qlonglong, value);
        QFETCH(int, digits);
        QTEST(legacy::formatZeros(value, digits), "expected");
    }

    void booleanText()
    {
        QCOMPARE(legacy::boolText(true), QStringLiteral("True"));
        QCOMPARE(legacy::boolText(false), QStringLiteral("False"));
        QVERIFY(legacy::textToBool(QStringLiteral("TRUE")));
        QVERIFY(!legacy::textToBool(QStringLiteral("false")));
        QVERIFY(legacy::textToBool(QStringLiteral("-1")));
        QVERIFY(!legacy::textToBool(QStringLiteral("0")));
        QVERIFY_THROWS_EXCEPTION(RuntimeError, legacy::textToBool(QStringLiteral("yes")));
    }

    void dateTexts_data()
    {
        QTest::addColumn<QDateTime>("when");
        QTest::addColumn<QString>("stamp");
        QTest::addColumn<QString>("fileDate");
        addRow("afternoon", QDateTime(QDate(2010, 3, 5), QTime(14, 7, 9)), "03/05/2010 02:07:09 PM", "3-5-2010");
        addRow("midnight", QDateTime(QDate(2026, 11, 22), QTime(0, 0, 0)), "11/22/2026 12:00:00 AM", "11-22-2026");
        addRow("noon", QDateTime(QDate(2010, 2, 3), QTime(12, 30, 0)), "02/03/2010 12:30:00 PM", "2-3-2010");
    }
    void dateTexts()
    {
        QFETCH(QDateTime, when);
        QFETCH(QString, fileDate);
        QTEST(datetimetext::reportStamp(when), "stamp");
        QCOMPARE(datetimetext::fileDate(when.date()), fileDate);
    }
};

QTEST_GUILESS_MAIN(TestLegacy)
#include "tst_legacy.moc"
