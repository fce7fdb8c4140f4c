// The variable manager and qmdvars on one variable file, in both orders:
// whatever either of them wrote is still on disk afterwards.

#include "clsVariableAccess.h"
#include "dlgVariables.h"
#include "sendhistory.h"
#include "settingsstore.h"
#include "testenvironment.h"
#include "variablefile.h"

#include <QAbstractButton>
#include <QDir>
#include <QLineEdit>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {
// Variable n's data in each variable file of the folder, by file name.
QMap<QString, QString> dataOnDisk(const QString& folder, int n)
{
    QMap<QString, QString> out;
    for (const QString& name : QDir(folder).entryList({u"*.vls"_s, u"*.vls.conflict-*"_s}, QDir::Files)) {
        vls::RecordSet records;
        VariableFile::read(folder + u'/' + name, records);
        out.insert(name.contains(u".conflict-"_s) ? u"conflict copy"_s : name, records[n - 1][clsVariableAccess::Data]);
    }
    return out;
}
} // namespace

class tst_SharedFile final : public QObject {
    Q_OBJECT
private slots:
    void bothOrders_data()
    {
        QTest::addColumn<bool>("toolWhileUnsaved");
        QTest::newRow("qmdvars set while the manager holds an unsaved change") << true;
        QTest::newRow("the manager saves, then qmdvars set, then Done") << false;
    }
    void bothOrders()
    {
        QFETCH(bool, toolWhileUnsaved);
        TestEnvironment env;
        ScriptedMessageBox box;
        const QString file = env.path(u"QMDvarinfo.vls"_s);
        settings::write(settings::kVarFileLoc, file);
        {
            clsVariableAccess first;
        } // the file exists, as where the plug-in ran before

        dlgVariables manager;
        manager.show();
        auto* data = manager.findChild<QLineEdit*>(u"txtTextVarData"_s);
        QVERIFY(data);
        QTest::keyClicks(data, u"TERMINAL B"_s);
        if (!toolWhileUnsaved)
            manager.findChild<QAction*>(u"mnuToolsSave"_s)->trigger();
        QProcess tool;
        tool.start(QStringLiteral(QMDVARS_PATH), {u"set"_s, u"3"_s, u"--data"_s, u"GATE 12 OPEN"_s});
        QVERIFY(tool.waitForFinished(30000));
        QCOMPARE(tool.exitCode(), 0);
        if (toolWhileUnsaved)
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"changed by another program.*kept as"_s));
        for (QAbstractButton* b : manager.findChildren<QAbstractButton*>())
            if (b->text() == u"Done"_s)
                b->click();

        const QMap<QString, QString> one = dataOnDisk(env.folder(), 1), three = dataOnDisk(env.folder(), 3);
        QCOMPARE(one.value(u"QMDvarinfo.vls"_s), u"TERMINAL B"_s);
        // Unsaved in the manager: its version is the file, the tool's is kept beside it.
        QCOMPARE(three.value(toolWhileUnsaved ? u"conflict copy"_s : u"QMDvarinfo.vls"_s), u"GATE 12 OPEN"_s);
        QCOMPARE(three.contains(u"conflict copy"_s), toolWhileUnsaved);
        // Both changes are in the send history, each once, by the system user.
        tool.start(QStringLiteral(QMDVARS_PATH), {u"history"_s, u"--format"_s, u"csv"_s});
        QVERIFY(tool.waitForFinished(30000));
        const QString history = QString::fromUtf8(tool.readAllStandardOutput());
        for (const QString& row :
             {u",change,,,data,Changed,,1,TERMINAL B,,"_s, u",change,,,data,Changed,,3,GATE 12 OPEN,,"_s})
            QVERIFY2(history.count(row + history::systemAccount() + u',') == 1, qPrintable(history));
    }
};

QTEST_MAIN(tst_SharedFile)
#include "tst_sharedfile.moc"
