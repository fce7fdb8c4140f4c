#include "datarow.h"
#include "filedialog.h"

#include <QStandardPaths>
#include <QTest>

class TestFileDialog final : public QObject {
    Q_OBJECT
private slots:
    void qtFilter_data()
    {
        QTest::addColumn<QString>("filter");
        QTest::addColumn<QString>("shown");
        addRow("names its pattern", "Log Files (*.doc)|*.doc", "Log Files (*.doc)");
        addRow("names it without a blank", "Variable Configuration File(*.vls)|*.vls",
               "Variable Configuration File(*.vls)");
        addRow("plain description, two patterns", "Workbooks|*.xls;*.xlsx", "Workbooks (*.xls *.xlsx)");
        addRow("names one of two patterns", "Logs (*.doc)|*.doc;*.rtf", "Logs (*.doc) (*.doc *.rtf)");
        addRow("two filters", "A (*.a)|*.a|All|*.*", "A (*.a);;All (*.*)");
    }
    void qtFilter()
    {
        QFETCH(QString, filter);
        QTEST(filedialog::toQtFilter(filter), "shown");
    }

    void initialFolder()
    {
        using R = filedialog::Request;
        const QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
        QCOMPARE(filedialog::initialFolder(R{R::Save, {}, {}, {}, {}}), documents);
        QCOMPARE(filedialog::initialFolder(R{R::Save, {}, {}, {}, QStringLiteral("/srv/x")}), u"/srv/x");
        QCOMPARE(filedialog::initialFolder(R{R::Open, {}, {}, {}, {}}), QString());
    }
};

QTEST_MAIN(TestFileDialog)
#include "tst_filedialog.moc"
