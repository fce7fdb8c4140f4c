// The variable set in memory: defaults, the properties by number, the text sent
// to a display, the current file's name.

#include "clsVariableAccess.h"
#include "fakelinkcontainer.h"
#include "runtimeerror.h"
#include "testenvironment.h"

#include <QDir>
#include <QFile>
#include <QTest>

namespace {
using Getter = QString (clsVariableAccess::*)(int16_t) const;
using Setter = void (clsVariableAccess::*)(int16_t, const QString&);
struct Property {
    const char* name;
    Getter get;
    Setter set;
};
const Property kProperties[] = {
    {"VariableName", &clsVariableAccess::VariableName, &clsVariableAccess::setVariableName},
    {"VariableColor", &clsVariableAccess::VariableColor, &clsVariableAccess::setVariableColor},
    {"VariableBlink", &clsVariableAccess::VariableBlink, &clsVariableAccess::setVariableBlink},
    {"VariableInverse", &clsVariableAccess::VariableInverse, &clsVariableAccess::setVariableInverse},
    {"VariableData", &clsVariableAccess::VariableData, &clsVariableAccess::setVariableData},
    {"VariableOLELink", &clsVariableAccess::VariableOLELink, &clsVariableAccess::setVariableOLELink},
    {"VariableMaxLength", &clsVariableAccess::VariableMaxLength, &clsVariableAccess::setVariableMaxLength},
};

int subscriptError(const std::function<void()>& call)
{
    try {
        call();
    } catch (const RuntimeError& e) {
        return e.number();
    }
    return 0;
}
} // namespace

class TestVariableAccess final : public QObject {
    Q_OBJECT
private slots:
    void freshSetHoldsDefaults();
    void propertyKeepsItsOwnField_data();
    void propertyKeepsItsOwnField();
    void numberOutsideRangeRaises_data();
    void numberOutsideRangeRaises();
    void emptyMaxLengthReadsKindDefault();
    void displayableData_data();
    void displayableData();
    void currFileName_data();
    void currFileName();
};

void TestVariableAccess::freshSetHoldsDefaults()
{
    TestEnvironment env;
    clsVariableAccess set;
    QCOMPARE(set.FieldSeparator(), QString(QChar(1)));
    for (int16_t n = 1; n <= 416; ++n) {
        const bool text = n <= 256;
        QCOMPARE(set.VariableName(n), text ? QStringLiteral("Text Var %1").arg(n) : QStringLiteral("Cell Var %1").arg(n - 256));
        QCOMPARE(set.VariableColor(n), QStringLiteral("1"));
        QCOMPARE(set.VariableBlink(n), QStringLiteral("2"));
        QCOMPARE(set.VariableInverse(n), QStringLiteral("2"));
        QCOMPARE(set.VariableData(n), QString());
        QCOMPARE(set.VariableOLELink(n), QString());
        QCOMPARE(set.record(n)[clsVariableAccess::MaxLength], text ? QStringLiteral("250") : QStringLiteral("58"));
    }
}

void TestVariableAccess::propertyKeepsItsOwnField_data()
{
    QTest::addColumn<int>("property");
    QTest::addColumn<int>("n");
    for (int p = 0; p < 7; ++p) {
        for (int n : {1, 256, 257, 416})
            QTest::addRow("%s(%d)", kProperties[p].name, n) << p << n;
    }
}

void TestVariableAccess::propertyKeepsItsOwnField()
{
    QFETCH(int, property);
    QFETCH(int, n);
    TestEnvironment env;
    clsVariableAccess set;
    const Property& p = kProperties[property];
    const int16_t neighbour = n == 416 ? 415 : int16_t(n + 1);
    const auto before = set.record(int16_t(n));
    const auto neighbourBefore = set.record(neighbour);
    const QString value = QStringLiteral("v, \"%1\" é€").arg(n);
    (set.*p.set)(int16_t(n), value);
    QCOMPARE((set.*p.get)(int16_t(n)), value);
    // Only the field behind this property changed, only for this variable.
    const auto after = set.record(int16_t(n));
    for (int f = 0; f < 7; ++f)
        QCOMPARE(after[f], f == property ? value : before[f]);
    QVERIFY(set.record(neighbour) == neighbourBefore);
}

void TestVariableAccess::numberOutsideRangeRaises_data()
{
    QTest::addColumn<int>("property");
    QTest::addColumn<int>("n");
    for (int p = 0; p < 7; ++p) {
        for (int n : {0, 417, -1, -32768, 32767})
            QTest::addRow("%s(%d)", kProperties[p].name, n) << p << n;
    }
}

void TestVariableAccess::numberOutsideRangeRaises()
{
    QFETCH(int, property);
    QFETCH(int, n);
    TestEnvironment env;
    clsVariableAccess set;
    const Property& p = kProperties[property];
    QCOMPARE(subscriptError([&] { (set.*p.get)(int16_t(n)); }), int(RuntimeError::SubscriptOutOfRange));
    QCOMPARE(subscriptError([&] { (set.*p.set)(int16_t(n), QStringLiteral("x")); }),
             int(RuntimeError::SubscriptOutOfRange));
    QCOMPARE(subscriptError([&] { set.record(int16_t(n)); }), int(RuntimeError::SubscriptOutOfRange));
}

void TestVariableAccess::emptyMaxLengthReadsKindDefault()
{
    TestEnvironment env;
    clsVariableAccess set;
    for (int16_t n : {1, 256, 257, 416}) {
        set.setVariableMaxLength(n, QString());
        QCOMPARE(set.record(n)[clsVariableAccess::MaxLength], QString());
        QCOMPARE(set.VariableMaxLength(n), n <= 256 ? QStringLiteral("250") : QStringLiteral("58"));
        set.setVariableMaxLength(n, QStringLiteral(" "));  // not empty: read as stored
        QCOMPARE(set.VariableMaxLength(n), QStringLiteral(" "));
    }
}

void TestVariableAccess::displayableData_data()
{
    QTest::addColumn<int>("n");
    QTest::addColumn<QString>("data");
    QTest::addColumn<QString>("link");
    QTest::addColumn<QString>("maxLength");
    QTest::addColumn<QString>("containerLinkedTo");  // "-" = no container at all
    QTest::addColumn<QString>("linkedValue");
    QTest::addColumn<bool>("failReading");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<QStringList>("linksCreated");

    const QString src = QStringLiteral("C:\\Data\\vars.xls!Variables!R2C2");
    const QString other = QStringLiteral("C:\\Data\\vars.xls!Variables!R3C2");
    const QString longText(300, u'x');
    QTest::newRow("unlinked, cut to 5") << 1 << "Hello World" << "" << "5" << "-" << "" << false << "Hello" << QStringList();
    QTest::newRow("unlinked, shorter than max") << 1 << "Hi" << "" << "5" << "-" << "" << false << "Hi" << QStringList();
    QTest::newRow("text default 250") << 1 << longText << "" << "" << "-" << "" << false << longText.left(250) << QStringList();
    QTest::newRow("cell default 58") << 300 << longText << "" << "" << "-" << "" << false << longText.left(58) << QStringList();
    QTest::newRow("linked cell, CR LF removed") << 257 << "stale" << src << "58" << other << "42\r\n" << false << "42" << QStringList{src};
    QTest::newRow("already linked: no new link") << 257 << "" << src << "58" << src << "42\r\n" << false << "42" << QStringList();
    QTest::newRow("unlinked container") << 257 << "" << src << "58" << "" << "7" << false << "7" << QStringList{src};
    QTest::newRow("every CR LF pair, lone CR and LF kept")
        << 2 << "" << src << "250" << src << "a\r\nb\r\n\r\nc\rd\ne\n\r" << false << "abc\rd\ne\n\r" << QStringList();
    QTest::newRow("linked value cut after CR LF removal") << 2 << "" << src << "3" << src << "1\r\n2\r\n345" << false << "123" << QStringList();
    QTest::newRow("reading the link fails") << 2 << "data" << src << "250" << src << "v" << true << "" << QStringList();
    QTest::newRow("linked, no container") << 2 << "data" << src << "250" << "-" << "" << false << "" << QStringList();
    QTest::newRow("max length not a number") << 3 << "Hello" << "" << "abc" << "-" << "" << false << "" << QStringList();
    QTest::newRow("max length with a number first") << 3 << "Hello" << "" << "2x" << "-" << "" << false << "" << QStringList();
    QTest::newRow("max length negative") << 3 << "Hello" << "" << "-1" << "-" << "" << false << "" << QStringList();
    QTest::newRow("max length zero") << 3 << "Hello" << "" << "0" << "-" << "" << false << "" << QStringList();
    QTest::newRow("max length with blanks") << 3 << "Hello" << "" << " 3 " << "-" << "" << false << "Hel" << QStringList();
    QTest::newRow("max length rounds half to even") << 3 << "Hello" << "" << "2.5" << "-" << "" << false << "He" << QStringList();
    QTest::newRow("max length overflows") << 3 << "Hello" << "" << "99999999999" << "-" << "" << false << "" << QStringList();
    QTest::newRow("number 0") << 0 << "" << "" << "" << "-" << "" << false << "" << QStringList();
    QTest::newRow("number 417") << 417 << "" << "" << "" << "-" << "" << false << "" << QStringList();
}

void TestVariableAccess::displayableData()
{
    QFETCH(int, n);
    QFETCH(QString, data);
    QFETCH(QString, link);
    QFETCH(QString, maxLength);
    QFETCH(QString, containerLinkedTo);
    QFETCH(QString, linkedValue);
    QFETCH(bool, failReading);
    QFETCH(QString, expected);
    QFETCH(QStringList, linksCreated);
    TestEnvironment env;
    clsVariableAccess set;
    if (n >= 1 && n <= 416) {
        set.setVariableData(int16_t(n), data);
        set.setVariableOLELink(int16_t(n), link);
        set.setVariableMaxLength(int16_t(n), maxLength);
    }
    FakeLinkContainer container;
    container.linkedTo = containerLinkedTo;
    container.value = linkedValue;
    container.failReading = failReading;
    const bool noContainer = containerLinkedTo == u"-";
    QCOMPARE(set.GetDisplayableData(int16_t(n), noContainer ? nullptr : &container), expected);
    QCOMPARE(container.linksCreated, linksCreated);
    if (!link.isEmpty() && !noContainer)
        QCOMPARE(container.dataFormat, QStringLiteral("CF_TEXT"));
}

void TestVariableAccess::currFileName_data()
{
    QTest::addColumn<QString>("relative");  // under the test folder; "\" and "/" as written
    QTest::addColumn<QString>("expected");
    QTest::newRow("native folders") << "sub/vars.vls" << "vars.vls";
    QTest::newRow("backslash folders") << "sub\\vars.vls" << "vars.vls";
    QTest::newRow("mixed") << "sub\\deeper/vars 2.vls" << "vars 2.vls";
    QTest::newRow("bare name") << "bare.vls" << "bare.vls";
}

void TestVariableAccess::currFileName()
{
    QFETCH(QString, relative);
    QFETCH(QString, expected);
    TestEnvironment env;
    QDir(env.folder()).mkpath(QStringLiteral("sub/deeper"));
    QFile file(env.path(QString(relative).replace(u'\\', u'/')));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("\"QMDVariableFileZOL1.1\"\r\n");
    file.close();
    const QString previous = QDir::currentPath();
    QDir::setCurrent(env.folder());
    {
        clsVariableAccess set;
        // Bare names are taken relative to the working folder, as given.
        set.LoadVariables(relative.contains(u'/') || relative.contains(u'\\')
                              ? env.folder() + u'/' + relative : relative);
        QCOMPARE(set.CurrFileName(), expected);
    }
    QDir::setCurrent(previous);
}

QTEST_GUILESS_MAIN(TestVariableAccess)
#include "tst_variableaccess.moc"
