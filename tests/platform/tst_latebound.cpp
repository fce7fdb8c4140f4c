#include "latebound.h"
#include "datarow.h"
#include "runtimeerror.h"

#include <QTest>

namespace {
// An automation object with the kinds of operations hosts call late-bound.
class Target final : public QObject {
    Q_OBJECT
    Q_PROPERTY(short Count READ count WRITE setCount)
public:
    short count() const { return m_count; }
    void setCount(short c) { m_count = c; }

    Q_INVOKABLE QString Name(short index) const
    {
        if (index != 0)
            RuntimeError::raise(RuntimeError::SubscriptOutOfRange);
        return QStringLiteral("zero");
    }
    Q_INVOKABLE void Clean(QString& text, QString other, bool& status)
    {
        text = text.toUpper() + other;
        status = true;
    }
    Q_INVOKABLE int Add(int a, int b) const { return a + b; }
    Q_INVOKABLE void Touch(QObject* object) { touched = object; }
    QObject* touched = nullptr;

private:
    short m_count = 0;
};
} // namespace

class TestLateBound final : public QObject {
    Q_OBJECT
private slots:
    void callsByNameAndConvertsArguments()
    {
        Target t;
        QCOMPARE(latebound::callMethod(&t, "Add", {2, QStringLiteral("40")}).toInt(), 42);
        QCOMPARE(latebound::callMethod(&t, "Name", {0}).toString(), QStringLiteral("zero"));
        latebound::callMethod(&t, "Touch", {QVariant::fromValue<QObject*>(this)});
        QCOMPARE(t.touched, this);
    }

    void referenceArgumentsComeBack()
    {
        Target t;
        QVariantList args{QStringLiteral("abc"), QStringLiteral("!"), false};
        latebound::callMethod(&t, "Clean", args);
        QCOMPARE(args[0].toString(), QStringLiteral("ABC!"));
        QCOMPARE(args[1].toString(), QStringLiteral("!")); // by value: unchanged
        QCOMPARE(args[2].toBool(), true);
    }

    void errors_data()
    {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QVariantList>("args");
        QTest::addColumn<int>("number");
        QTest::addColumn<QString>("description");
        addRow("callee's own error", QByteArray("Name"), QVariantList{1}, 9, "Subscript out of range");
        addRow("no such method", QByteArray("Nope"), QVariantList{}, 438,
               "Object doesn't support this property or method");
        addRow("wrong argument count", QByteArray("Add"), QVariantList{1}, 438,
               "Object doesn't support this property or method");
        addRow("argument not convertible", QByteArray("Add"), QVariantList{QVariant::fromValue(QPoint()), 1}, 13,
               "Type mismatch");
    }
    void errors()
    {
        QFETCH(QByteArray, method);
        QFETCH(QVariantList, args);
        QFETCH(int, number);
        QFETCH(QString, description);
        Target t;
        try {
            latebound::callMethod(&t, method.constData(), args);
            QFAIL("no error raised");
        } catch (const RuntimeError& e) {
            QCOMPARE(e.number(), number);
            QCOMPARE(e.description(), description);
        }
    }

    void properties()
    {
        Target t;
        latebound::setProperty(&t, "Count", 5);
        QCOMPARE(latebound::getProperty(&t, "Count").toInt(), 5);
        QVERIFY_THROWS_EXCEPTION(RuntimeError, latebound::getProperty(&t, "Missing"));
        QVERIFY_THROWS_EXCEPTION(RuntimeError, latebound::getProperty(nullptr, "Count"));
    }
};

QTEST_GUILESS_MAIN(TestLateBound)
#include "tst_latebound.moc"
