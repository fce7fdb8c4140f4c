#include "runtimeerror.h"
#include "varrange.h"

#include <QTest>

// The chooser's range text and remembered-selection rules.
class tst_VarRange final : public QObject {
    Q_OBJECT
private slots:
    void parse_data();
    void parse();
    void overflowKeepsEarlierElements();
    void lastUsedRoundTrip_data();
    void lastUsedRoundTrip();
    void selectionKinds();
};

namespace {
QList<int> rows(int from, int to)
{
    QList<int> out;
    for (int i = from; i <= to; ++i)
        out.append(i);
    return out;
}
} // namespace

void tst_VarRange::parse_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("count");
    QTest::addColumn<QList<int>>("expected");

    QTest::newRow("numbers and a range") << "1,3,5-12" << 416 << (QList<int>{1, 3} + rows(5, 12));
    QTest::newRow("open start") << "-5" << 416 << rows(1, 5);
    QTest::newRow("open end") << "400-" << 416 << rows(400, 416);
    QTest::newRow("end beyond the list") << "410-999" << 416 << rows(410, 416);
    QTest::newRow("zero") << "0" << 416 << QList<int>{};
    QTest::newRow("one past the list") << "417" << 416 << QList<int>{};
    QTest::newRow("last row") << "416" << 416 << QList<int>{416};
    QTest::newRow("reversed range") << "12-5" << 416 << QList<int>{};
    QTest::newRow("empty") << "" << 416 << QList<int>{};
    QTest::newRow("dash alone is everything") << "-" << 416 << rows(1, 416);
    QTest::newRow("overlaps tick once, ascending") << "7,3-8,5,1-2" << 416 << rows(1, 8);
    QTest::newRow("cell variables by number") << "257-260" << 416 << rows(257, 260);
    QTest::newRow("leading blanks") << " 5, 7 - 9" << 416 << (QList<int>{5} + rows(7, 9));
    QTest::newRow("not a number") << "abc,x-y" << 416 << QList<int>{};
    QTest::newRow("text start counts 1") << "x-3" << 416 << rows(1, 3);
    QTest::newRow("trailing text ignored") << "12abc,4-6th" << 416 << (rows(4, 6) << 12);
    QTest::newRow("negative start raised to 1") << "0-2" << 416 << rows(1, 2);
    QTest::newRow("second dash makes a negative end") << "3--5" << 416 << QList<int>{};
    QTest::newRow("decimal rounds half to even") << "2.5,3.5" << 416 << QList<int>{2, 4};
    QTest::newRow("start beyond the list") << "500-600" << 416 << QList<int>{};
    QTest::newRow("empty elements") << ",,4,," << 416 << QList<int>{4};
    QTest::newRow("short list clamps") << "2-" << 5 << rows(2, 5);
}

void tst_VarRange::parse()
{
    QFETCH(QString, text);
    QFETCH(int, count);
    QFETCH(QList<int>, expected);
    QCOMPARE(varrange::parse(text, count), expected);
}

void tst_VarRange::overflowKeepsEarlierElements()
{
    QList<int> partial;
    try {
        varrange::parse(QStringLiteral("1,2,40000,5"), 416, &partial);
        QFAIL("a number beyond 16 bits must raise Overflow");
    } catch (const RuntimeError& e) {
        QCOMPARE(e.number(), int(RuntimeError::Overflow));
    }
    QCOMPARE(partial, (QList<int>{1, 2}));
}

void tst_VarRange::lastUsedRoundTrip_data()
{
    QTest::addColumn<QList<int>>("numbers");
    QTest::addColumn<QString>("text");
    QTest::newRow("none") << QList<int>{} << QString();
    QTest::newRow("one") << QList<int>{7} << "7";
    QTest::newRow("both kinds") << QList<int>{1, 2, 257} << "1;2;257";
}

void tst_VarRange::lastUsedRoundTrip()
{
    QFETCH(QList<int>, numbers);
    QFETCH(QString, text);
    QCOMPARE(varrange::joinLastUsed(numbers), text);
    QStringList parts;
    for (int n : numbers)
        parts << QString::number(n);
    QCOMPARE(varrange::splitLastUsed(text), parts);
}

void tst_VarRange::selectionKinds()
{
    const VarSelection s = varrange::selectionOf({1, 256, 257, 416});
    QCOMPARE(s.size(), 4);
    QCOMPARE(s[0], (clsVarSetupInfo{true, 1}));
    QCOMPARE(s[1], (clsVarSetupInfo{true, 256}));
    QCOMPARE(s[2], (clsVarSetupInfo{false, 257}));
    QCOMPARE(s[3], (clsVarSetupInfo{false, 416}));
}

QTEST_GUILESS_MAIN(tst_VarRange)
#include "tst_varrange.moc"
