// An update started from the variable manager, through the real chooser, the
// host's display chooser and display list, the delay and update dialogs and the
// transmission control, reaching two emulated displays over loopback.

#include "classregistry.h"
#include "disptrans.h"
#include "dlgVariables.h"
#include "settingsstore.h"
#include "testenvironment.h"

#include <QApplication>
#include <QComboBox>
#include <QDeadlineTimer>
#include <QFile>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpression>
#include <QTabWidget>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>

#include <memory>

namespace {

// One headless emulator on a free loopback port.
class Emulator final {
public:
    Emulator()
    {
        m_process.setProgram(QStringLiteral(LUMAREX_EMULATOR));
        m_process.setArguments({QStringLiteral("--headless"), QStringLiteral("--tcp"), QStringLiteral("127.0.0.1:0")});
        m_process.start();
        static const QRegularExpression listening(QStringLiteral("LISTENING tcp 127\\.0\\.0\\.1:(\\d+)"));
        QDeadlineTimer deadline(10000);
        while (m_port == 0 && !deadline.hasExpired() && m_process.state() != QProcess::NotRunning) {
            if (!m_process.canReadLine()) {
                m_process.waitForReadyRead(100);
                continue;
            }
            const auto match = listening.match(QString::fromLocal8Bit(m_process.readLine()));
            if (match.hasMatch())
                m_port = match.captured(1).toUShort();
        }
    }
    ~Emulator()
    {
        m_process.kill();
        m_process.waitForFinished(3000);
    }
    Emulator(const Emulator&) = delete;
    Emulator& operator=(const Emulator&) = delete;
    quint16 port() const { return m_port; }

private:
    QProcess m_process;
    quint16 m_port = 0;
};

template <class W>
W* child(QWidget* parent, const char* name)
{
    return parent->findChild<W*>(QString::fromLatin1(name));
}

// Answers whatever modal dialog the update shows, as a user would.
class Operator final {
public:
    QStringList seen;          // objectNames of the dialogs met, in order
    QStringList finalStatus;   // the update dialog's row statuses when it was closed
    QStringList details;       // ... and what the rows said about them

    Operator()
    {
        m_timer.setInterval(20);
        QObject::connect(&m_timer, &QTimer::timeout, [this] { step(); });
        m_timer.start();
    }

private:
    void step()
    {
        QWidget* modal = QApplication::activeModalWidget();
        if (modal && m_deadline.hasExpired()) {
            // Whatever is still open after a minute is given up, so the test fails instead of hanging.
            seen << QStringLiteral("gave up on ") + modal->objectName();
            qobject_cast<QDialog*>(modal)->done(QDialog::Rejected);
            return;
        }
        if (!modal || modal == m_last)
            return;
        const QString name = modal->objectName();
        if (name == QStringLiteral("dlgChooseVars")) {
            meet(modal);
            auto* list = child<QTreeWidget>(modal, "lstvVarsToChoose");
            QTest::mouseClick(child<QPushButton>(modal, "cmdUnSelectAll"), Qt::LeftButton);
            list->topLevelItem(0)->setCheckState(0, Qt::Checked);    // text variable 1
            list->topLevelItem(256)->setCheckState(0, Qt::Checked);  // cell variable 1
            QTest::mouseClick(child<QPushButton>(modal, "cmdOK"), Qt::LeftButton);
        } else if (name == QStringLiteral("dlgUpdateDelay")) {
            meet(modal);
            QTest::mouseClick(child<QPushButton>(modal, "cmdClose"), Qt::LeftButton);
        } else if (name == QStringLiteral("dlgVariableUpdate")) {
            auto* rows = child<QTreeWidget>(modal, "lstvDisplayStatus");
            QStringList status;
            for (int i = 0; rows && i < rows->topLevelItemCount(); ++i)
                status << rows->topLevelItem(i)->text(1);
            const bool finished = !status.isEmpty() && std::all_of(status.begin(), status.end(), [](const QString& s) {
                return s == QStringLiteral("Updated") || s == QStringLiteral("FAILED");
            });
            if (!finished)
                return;
            meet(modal);
            finalStatus = status;
            for (int i = 0; i < rows->topLevelItemCount(); ++i)
                details << rows->topLevelItem(i)->text(2);
            qobject_cast<QDialog*>(modal)->reject();
        }
    }
    void meet(QWidget* modal)
    {
        m_last = modal;
        seen << modal->objectName();
    }

    QTimer m_timer;
    QDeadlineTimer m_deadline{60000};
    QWidget* m_last = nullptr;
};

disptrans::VarReadReply readBack(quint16 port, bool text)
{
    auto control = createComponent<disptrans::IDispTrans>(disptrans::kDispTransProgId);
    disptrans::ConnectionSettings s;
    s.ConnKind = disptrans::Network;
    s.ConnTarget = QStringLiteral("127.0.0.1");
    s.ConnParam3 = QString::number(port);
    s.ConnAddress = 1;
    if (!control->OpenConnection(s))
        return {};
    disptrans::VarReadRequest request{0};
    const disptrans::VarReadReply reply = text ? control->ReadTextVariable(request) : control->ReadCellVariable(request);
    control->CloseConnection();
    return reply;
}

} // namespace

class tst_ManagerEmulator final : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void updateReachesDisplays_data();
    void updateReachesDisplays();

private:
    std::unique_ptr<TestEnvironment> m_env;
    std::unique_ptr<ScriptedMessageBox> m_box;
    std::unique_ptr<Emulator> m_first, m_second;
    std::unique_ptr<dlgVariables> m_manager;
};

void tst_ManagerEmulator::initTestCase()
{
    m_env = std::make_unique<TestEnvironment>();
    m_box = std::make_unique<ScriptedMessageBox>();
    m_first = std::make_unique<Emulator>();
    m_second = std::make_unique<Emulator>();
    QVERIFY(m_first->port() != 0);
    QVERIFY(m_second->port() != 0);
    for (const char* library : {LIB_TRANSMISSION, LIB_PLUGINCONTROL, LIB_BADWORDCHECKER, LIB_HOSTOBJECTS})
        QCOMPARE(ComponentLoader::registerLibrary(QString::fromLocal8Bit(library)), 0);
    // The host's display list lives in the host's folder.
    settings::write(settings::kAppPath, m_env->folder());
    QFile list(m_env->path(QStringLiteral("Displays.dat")));
    QVERIFY(list.open(QIODevice::WriteOnly));
    list.write(QStringLiteral("1|Lobby|3|127.0.0.1||%1||1\n2|Dock|3|127.0.0.1||%2||1\n")
                   .arg(m_first->port())
                   .arg(m_second->port())
                   .toLatin1());
    list.close();
    qputenv("LUMAREX_CHOOSE_DISPLAYS", "1,2");
    m_manager = std::make_unique<dlgVariables>();
}

void tst_ManagerEmulator::cleanupTestCase()
{
    m_manager.reset();
    qunsetenv("LUMAREX_CHOOSE_DISPLAYS");
    m_second.reset();
    m_first.reset();
    m_box.reset();
    m_env.reset();
}

void tst_ManagerEmulator::updateReachesDisplays_data()
{
    // The steps run in order on the same displays.
    QTest::addColumn<QString>("promptVariable");
    QTest::addColumn<QString>("promptDisplay");
    QTest::addColumn<QString>("promptDelay");
    QTest::addColumn<int>("option");
    QTest::addColumn<QString>("data");    // typed into text variable 1; cell variable 1 gets data + "!"
    QTest::addColumn<QString>("color");   // chosen for text variable 1
    QTest::addColumn<QStringList>("dialogs");
    QTest::addColumn<QString>("shownData");
    QTest::addColumn<int>("shownColor");
    QTest::newRow("chooser and host's display choice, data and attributes")
        << "TRUE" << "2" << "FALSE" << 0 << "HELLO" << "Green"
        << QStringList{"dlgChooseVars", "dlgVariableUpdate"} << "HELLO" << 2;
    QTest::newRow("last choices, data only")
        << "FALSE" << "1" << "FALSE" << 1 << "AGAIN" << "Blue" << QStringList{"dlgVariableUpdate"} << "AGAIN" << 2;
    QTest::newRow("current display, delay dialog, attributes only")
        << "FALSE" << "0" << "TRUE" << 2 << "LATER" << "Cyan"
        << QStringList{"dlgUpdateDelay", "dlgVariableUpdate"} << "AGAIN" << 6;
}

void tst_ManagerEmulator::updateReachesDisplays()
{
    QFETCH(QString, promptVariable);
    QFETCH(QString, promptDisplay);
    QFETCH(QString, promptDelay);
    QFETCH(int, option);
    QFETCH(QString, data);
    QFETCH(QString, color);
    QFETCH(QStringList, dialogs);
    QFETCH(QString, shownData);
    QFETCH(int, shownColor);
    settings::write(settings::kPromptForVariable, promptVariable);
    settings::write(settings::kPromptForDisplay, promptDisplay);
    settings::write(settings::kPromptForDelay, promptDelay);

    dlgVariables* d = m_manager.get();
    d->show();
    child<QLineEdit>(d, "txtTextVarData")->setText(data);
    child<QComboBox>(d, "cmbTextVarColor")->setCurrentText(color);
    child<QTabWidget>(d, "tabVariables")->setCurrentIndex(1);
    child<QLineEdit>(d, "txtCellVarData")->setText(data + u'!');
    QTest::mouseClick(d->findChild<QRadioButton*>(QStringLiteral("optVariable_%1").arg(option)), Qt::LeftButton);

    Operator user;
    QTest::mouseClick(child<QPushButton>(d, "cmdUpdateVariable"), Qt::LeftButton);
    QCOMPARE(user.seen, dialogs);
    QVERIFY2(user.finalStatus == (QStringList{"Updated", "Updated"}), qPrintable(user.details.join(u'\n')));
    QVERIFY2(m_box->shown().isEmpty(), qPrintable(m_box->texts().join(u'\n')));

    for (const Emulator* display : {m_first.get(), m_second.get()}) {
        const disptrans::VarReadReply text = readBack(display->port(), true);
        QCOMPARE(text.Data, shownData);
        QCOMPARE(int(text.Color), shownColor);
        QCOMPARE(readBack(display->port(), false).Data, shownData + u'!');
    }
    QTest::mouseClick(child<QPushButton>(d, "OKButton"), Qt::LeftButton);
}

QTEST_MAIN(tst_ManagerEmulator)
#include "tst_manager_emulator.moc"
