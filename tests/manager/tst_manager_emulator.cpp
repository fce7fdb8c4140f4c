// An update started from the variable manager, through the real chooser, the
// host's display chooser and display list, the delay and update dialogs and the
// transmission control, reaching two emulated displays over loopback.

#include "classregistry.h"
#include "disptrans.h"
#include "dlgVariables.h"
#include "emulatorprocess.h"
#include "settingsstore.h"
#include "testenvironment.h"

#include <QApplication>
#include <QComboBox>
#include <QDeadlineTimer>
#include <QFile>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpression>
#include <QTabWidget>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>

#include <memory>

namespace {
void click(QWidget* w, const char* button) { QTest::mouseClick(w->findChild<QPushButton*>(button), Qt::LeftButton); }

// Text or cell variable 1 as a display holds it.
disptrans::VarReadReply readBack(quint16 port, bool text)
{
    auto control = createComponent<disptrans::IDispTrans>(disptrans::kDispTransProgId);
    disptrans::ConnectionSettings s{.ConnKind = disptrans::Network,
                                    .ConnTarget = "127.0.0.1",
                                    .ConnParam1 = {},
                                    .ConnParam2 = {},
                                    .ConnParam3 = QString::number(port),
                                    .ConnAddress = 1};
    if (!control->OpenConnection(s))
        return {};
    disptrans::VarReadRequest request{0};
    const disptrans::VarReadReply reply = text ? control->ReadTextVariable(request)
                                               : control->ReadCellVariable(request);
    control->CloseConnection();
    return reply;
}
} // namespace

class tst_ManagerEmulator final : public QObject {
    Q_OBJECT
    // Destroyed in reverse order: the manager before the displays and the environment.
    TestEnvironment m_env;
    ScriptedMessageBox m_box;
    std::unique_ptr<EmulatorProcess> m_displays[2];
    std::unique_ptr<dlgVariables> m_manager;

private slots:
    void initTestCase()
    {
        for (auto& display : m_displays) {
            display = std::make_unique<EmulatorProcess>(LUMAREX_EMULATOR);
            QVERIFY2(display->start({"--tcp", "127.0.0.1:0"}, 1, 10000), qPrintable(display->error()));
        }
        for (const char* library : {LIB_TRANSMISSION, LIB_PLUGINCONTROL, LIB_BADWORDCHECKER, LIB_HOSTOBJECTS})
            QCOMPARE(ComponentLoader::registerLibrary(QString::fromLocal8Bit(library)), 0);
        // The host's display list lives in the host's folder; the host's chooser answers "1,2".
        settings::write(settings::kAppPath, m_env.folder());
        QFile list(m_env.path("Displays.dat"));
        QVERIFY(list.open(QIODevice::WriteOnly));
        list.write(QStringLiteral("1|Lobby|3|127.0.0.1||%1||1\n2|Dock|3|127.0.0.1||%2||1\n")
                       .arg(m_displays[0]->tcpPort())
                       .arg(m_displays[1]->tcpPort())
                       .toLatin1());
        qputenv("LUMAREX_CHOOSE_DISPLAYS", "1,2");
        m_manager = std::make_unique<dlgVariables>();
    }

    void updateReachesDisplays_data()
    {
        // The steps run in order on the same displays.
        QTest::addColumn<QStringList>("prompts"); // PromptForVariable, PromptForDisplay, PromptForDelay
        QTest::addColumn<int>("option");
        QTest::addColumn<QStringList>("typed"); // text variable 1's data and color; cell variable 1 gets data + "!"
        QTest::addColumn<QStringList>("dialogs");
        QTest::addColumn<QString>("shown"); // text variable 1's data and color code on the displays
        QTest::newRow("chooser and host's display choice, data and attributes")
            << QStringList{"TRUE", "2", "FALSE"} << 0 << QStringList{"HELLO", "Green"}
            << QStringList{"dlgChooseVars", "dlgVariableUpdate"} << "HELLO 2";
        QTest::newRow("last choices, data only")
            << QStringList{"FALSE", "1", "FALSE"} << 1 << QStringList{"AGAIN", "Blue"}
            << QStringList{"dlgVariableUpdate"} << "AGAIN 2";
        QTest::newRow("current display, delay dialog, attributes only")
            << QStringList{"FALSE", "0", "TRUE"} << 2 << QStringList{"LATER", "Cyan"}
            << QStringList{"dlgUpdateDelay", "dlgVariableUpdate"} << "AGAIN 6";
    }
    void updateReachesDisplays()
    {
        QFETCH(QStringList, prompts);
        QFETCH(int, option);
        QFETCH(QStringList, typed);
        QFETCH(QStringList, dialogs);
        QFETCH(QString, shown);
        settings::write(settings::kPromptForVariable, prompts[0]);
        settings::write(settings::kPromptForDisplay, prompts[1]);
        settings::write(settings::kPromptForDelay, prompts[2]);
        dlgVariables* d = m_manager.get();
        d->show();
        d->findChild<QLineEdit*>("txtTextVarData")->setText(typed[0]);
        d->findChild<QComboBox*>("cmbTextVarColor")->setCurrentText(typed[1]);
        d->findChild<QTabWidget*>("tabVariables")->setCurrentIndex(1);
        d->findChild<QLineEdit*>("txtCellVarData")->setText(typed[0] + u'!');
        QTest::mouseClick(d->findChild<QRadioButton*>(QStringLiteral("optVariable_%1").arg(option)), Qt::LeftButton);

        // Answers each modal dialog the update shows, as a user would; gives up after a minute.
        QStringList seen, status;
        QWidget* last = nullptr;
        const QDeadlineTimer deadline(60000);
        QTimer user;
        connect(&user, &QTimer::timeout, [&] {
            auto* modal = qobject_cast<QDialog*>(QApplication::activeModalWidget());
            if (modal && deadline.hasExpired()) {
                seen << "gave up on " + modal->objectName();
                modal->reject();
            }
            if (!modal || modal == last || deadline.hasExpired())
                return;
            const QString name = modal->objectName();
            if (name == u"dlgVariableUpdate") {
                auto* rows = modal->findChild<QTreeWidget*>("lstvDisplayStatus");
                status.clear();
                for (int i = 0; i < rows->topLevelItemCount(); ++i)
                    status << rows->topLevelItem(i)->text(1) + u' ' + rows->topLevelItem(i)->text(2);
                if (status.isEmpty() || !status.filter(QRegularExpression("^(?!Updated|FAILED)")).isEmpty())
                    return; // still running
                modal->reject();
            } else if (name == u"dlgChooseVars") {
                click(modal, "cmdUnSelectAll");
                auto* list = modal->findChild<QTreeWidget*>("lstvVarsToChoose");
                list->topLevelItem(0)->setCheckState(0, Qt::Checked);   // text variable 1
                list->topLevelItem(256)->setCheckState(0, Qt::Checked); // cell variable 1
                click(modal, "cmdOK");
            } else if (name == u"dlgUpdateDelay") {
                click(modal, "cmdClose");
            }
            seen << name;
            last = modal;
        });
        user.start(20);
        click(d, "cmdUpdateVariable");
        QCOMPARE(seen, dialogs);
        QVERIFY2(status.size() == 2 && status.filter(QRegularExpression("^Updated")).size() == 2,
                 qPrintable(status.join(u'\n')));
        QVERIFY2(m_box.shown().isEmpty(), qPrintable(m_box.texts().join(u'\n')));
        for (const auto& display : m_displays) {
            const disptrans::VarReadReply text = readBack(display->tcpPort(), true);
            QCOMPARE(text.Data + u' ' + QString::number(text.Color), shown);
            QCOMPARE(readBack(display->tcpPort(), false).Data, shown.section(u' ', 0, 0) + u'!');
        }
        click(d, "OKButton");
    }
};

QTEST_MAIN(tst_ManagerEmulator)
#include "tst_manager_emulator.moc"
