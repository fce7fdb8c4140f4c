// Several writers on one variable file: changes under the lock, a lock held too
// long named, and a set that loaded earlier keeping what another writer saved.

#include "clsVariableAccess.h"
#include "settingsstore.h"
#include "testenvironment.h"
#include "variablestore.h"

#include <QCoreApplication>
#include <QDir>
#include <QLockFile>
#include <QRegularExpression>
#include <QSysInfo>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {
QString dataIn(const QString& path, int16_t n)
{
    vls::RecordSet records;
    return VariableFile::read(path, records).complete() ? records[n - 1][clsVariableAccess::Data] : u"<unreadable>"_s;
}

QStringList conflictCopies(const QString& folder) { return QDir(folder).entryList({u"*.conflict-*"_s}, QDir::Files); }
} // namespace

class tst_VariableStore final : public QObject {
    Q_OBJECT
private slots:
    void changesAccumulateAndStartFromDefaults()
    {
        TestEnvironment env;
        const QString path = env.path(u"new.vls"_s);
        VariableStore store(path);
        QString error;
        QVERIFY(!store.load(&error));
        QCOMPARE(error, u"no such file: "_s + path);
        QVERIFY(store.modify([](clsVariableAccess& set) { set.setVariableData(3, u"GATE 12 OPEN"_s); }, &error));
        QVERIFY(store.createdFile());
        QVERIFY(store.modify([](clsVariableAccess& set) { set.setVariableData(4, u"second"_s); }, &error));
        QVERIFY(!store.createdFile());
        const std::unique_ptr<clsVariableAccess> set = store.load(&error);
        QVERIFY(set && set->isDetached());
        QCOMPARE(set->VariableData(3), u"GATE 12 OPEN"_s);
        QCOMPARE(set->VariableData(4), u"second"_s);
        QCOMPARE(set->VariableName(5), u"Text Var 5"_s);
        QCOMPARE(QDir(env.folder()).entryList({u"*.lock"_s}, QDir::Files | QDir::Hidden), QStringList()); // none left
    }

    void heldLockTimesOutNamingItsHolder()
    {
        TestEnvironment env;
        const QString path = env.path(u"held.vls"_s);
        QLockFile other(path + u".lock"_s);
        QVERIFY(other.tryLock(0));
        VariableStore store(path);
        store.setLockTimeoutMs(300);
        QString error;
        QVERIFY(!store.modify([](clsVariableAccess& set) { set.setVariableData(1, u"x"_s); }, &error));
        QVERIFY2(error.contains(QString::number(QCoreApplication::applicationPid()))
                     && error.contains(QSysInfo::machineHostName()) && error.contains(u"in use by"_s),
                 qPrintable(error));
        QVERIFY(!QFileInfo::exists(path));
    }

    // The manager's set loaded the file; another writer changed it; the set's
    // own change then keeps the other version beside the file, once. A set
    // that changed nothing leaves the newer file alone.
    void laterWriterKeepsEarlierVersion()
    {
        TestEnvironment env;
        const QString path = env.path(u"shared.vls"_s);
        settings::write(settings::kVarFileLoc, path);
        VariableStore tool(path);
        QVERIFY(tool.modify([](clsVariableAccess& set) { set.setVariableData(1, u"start"_s); }));
        {
            clsVariableAccess idle;
            QVERIFY(tool.modify([](clsVariableAccess& set) { set.setVariableData(3, u"from the tool"_s); }));
        }
        QCOMPARE(dataIn(path, 3), u"from the tool"_s);
        QCOMPARE(conflictCopies(env.folder()), QStringList());

        clsVariableAccess manager;
        QVERIFY(tool.modify([](clsVariableAccess& set) { set.setVariableData(3, u"GATE 12 OPEN"_s); }));
        manager.setVariableData(1, u"TERMINAL B"_s);
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(u"changed by another program .* kept as .*shared\\.vls\\.conflict-"_s));
        manager.SaveVariables();
        manager.SaveVariables(); // nothing new on disk: no second copy
        const QStringList copies = conflictCopies(env.folder());
        QCOMPARE(copies.size(), 1);
        QVERIFY(copies.first().contains(QRegularExpression(u"^shared\\.vls\\.conflict-\\d{8}-\\d{6}$"_s)));
        QCOMPARE(dataIn(path, 1), u"TERMINAL B"_s);
        QCOMPARE(dataIn(env.path(copies.first()), 3), u"GATE 12 OPEN"_s);
        QCOMPARE(settings::read(settings::Key{"Lumarex3", "Variables", "VBL001", nullptr}), u"TERMINAL B"_s);
    }
};

QTEST_GUILESS_MAIN(tst_VariableStore)
#include "tst_variablestore.moc"
