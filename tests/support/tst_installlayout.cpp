#include "datarow.h"
#include "installlayout.h"
#include "registryroutines.h"
#include "testenvironment.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

class TestInstallLayout final : public QObject {
    Q_OBJECT
private slots:
    void layoutFor_data()
    {
        QTest::addColumn<QString>("made"); // what exists beside the programs' folder "bin"
        QTest::addColumn<QString>("componentsFromPrograms");
        QTest::addColumn<bool>("installed");
        addRow("build tree", "", "../lib/x86_64-linux-gnu/lumarex", false);
        addRow("installed", "lib/x86_64-linux-gnu/lumarex/", "../lib/x86_64-linux-gnu/lumarex", true);
        addRow("a file where the folder would be", "lib/lumarex", "../lib/lumarex", false);
        addRow("no relative path", "", "", false);
    }

    void layoutFor()
    {
        QFETCH(QString, made);
        QFETCH(QString, componentsFromPrograms);
        QFETCH(bool, installed);
        QTemporaryDir root;
        QVERIFY(QDir(root.path()).mkpath(QStringLiteral("bin")));
        if (made.endsWith(u'/'))
            QVERIFY(QDir(root.path()).mkpath(made));
        else if (!made.isEmpty()) {
            QVERIFY(QDir(root.path()).mkpath(made.section(u'/', 0, -2)));
            QFile file(root.filePath(made));
            QVERIFY(file.open(QIODevice::WriteOnly));
        }
        const QString programs = root.filePath(QStringLiteral("bin"));
        const QString shared = QStringLiteral("/var/lib/shared-by-operators");
        const install::Layout layout = install::layoutFor(programs, componentsFromPrograms, shared);
        if (installed) {
            QCOMPARE(layout.componentFolder, QDir::cleanPath(root.filePath(made)));
            QCOMPARE(layout.dataFolder, shared);
        } else {
            QCOMPARE(layout.componentFolder, programs);
            QCOMPARE(layout.dataFolder, programs);
        }
    }

    void machineStoreLocation_data()
    {
        QTest::addColumn<QByteArray>("variable");
        QTest::addColumn<QString>("expected");
        addRow("installed default", QByteArray(), install::sharedFolder() + QStringLiteral("/machine.ini"));
        addRow("the variable wins", QByteArray("/tmp/elsewhere/m.ini"), QStringLiteral("/tmp/elsewhere/m.ini"));
    }

    void machineStoreLocation()
    {
        QFETCH(QByteArray, variable);
        const QByteArray old = qgetenv("ZOL_MACHINE_STORE");
        qputenv("ZOL_MACHINE_STORE", variable);
        const QString location = RegistryRoutines::location(RegistryRoutines::LocalMachine);
        qputenv("ZOL_MACHINE_STORE", old);
        QTEST(location, "expected");
    }

    // Saves replace files by rename; in a folder operators share through its
    // group, a file the first save creates must stay writable by the group.
    void newFilesInSharedFolder_data()
    {
        QTest::addColumn<int>("folderMode");
        QTest::addColumn<int>("umask");
        QTest::addColumn<bool>("groupWritable");
        addRow("setgid, group-writable", 02775, 022, true);
        addRow("setgid, group-writable, private umask", 02775, 077, true);
        addRow("group-writable only", 0775, 022, false);
        addRow("setgid, not group-writable", 02755, 022, false);
    }

    void newFilesInSharedFolder()
    {
        QFETCH(int, folderMode);
        QFETCH(int, umask);
        TestEnvironment env;
        const QString folder = env.path(QStringLiteral("shared"));
        QVERIFY(QDir().mkpath(folder));
        QCOMPARE(::chmod(QFile::encodeName(folder).constData(), mode_t(folderMode)), 0);
        const mode_t oldMask = ::umask(mode_t(umask));
        qputenv("ZOL_MACHINE_STORE", (folder + QStringLiteral("/machine.ini")).toLocal8Bit());

        QVERIFY(RegistryRoutines().writeValue(QStringLiteral("Software\\A"), QStringLiteral("v"), QStringLiteral("1")));
        QSaveFile vls(folder + QStringLiteral("/QMDvarinfo.vls"));
        QVERIFY(vls.open(QIODevice::WriteOnly));
        vls.write("\"QMDVariableFileZOL1.1\"\r\n");
        QVERIFY(vls.commit());
        ::umask(oldMask);

        for (const QString& name : QStringList{QStringLiteral("machine.ini"), QStringLiteral("QMDvarinfo.vls")}) {
            const auto permissions = QFile::permissions(folder + u'/' + name);
            QVERIFY2(permissions & QFileDevice::ReadGroup, qPrintable(name));
            QTEST(bool(permissions & QFileDevice::WriteGroup), "groupWritable");
        }
    }
};

QTEST_GUILESS_MAIN(TestInstallLayout)
#include "tst_installlayout.moc"
