// qmdvars watch on a broker of the test's own (with the users and the ACL of
// docs/mqtt.md), against emulated displays: linked topics reach a sign (a
// retained value at start, a publish, a JSON pointer), a broker that restarts
// blanks nothing and the link comes back, commands are ignored without
// --accept-commands, over mqtt:// and over mqtts://; and a fleet of three site agents on one broker: a
// fleet-wide command reaches every site, a site's command only that site, an
// agent cut off gets what it missed once it is back, and the retained state
// topics hold each display's last result. qmdvars serve --publish: an update
// started over its API is published as each display's state and a send.

#include "brokerrig.h"
#include "loopbackrig.h"
#include "mqttclient.h"
#include "settingsstore.h"

#include <QDir>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProcess>
#include <QRegularExpression>

#include <csignal>

using namespace Qt::StringLiterals;

namespace {
// Variable n as the display at `port` holds it.
QString onSign(quint16 port, int n) { return readVariables(port, {n}, false).value(0); }

const QString kAcl = uR"(user dashboard
topic read signs/#
topic write signs/all/variables/+/set
topic write signs/sites/+/variables/+/set
user feeder
topic write feeds/#
pattern write signs/sites/%u/displays/+/state
pattern write signs/sites/%u/sends
pattern write signs/sites/%u/agents/+
pattern read signs/sites/%u/variables/+/set
pattern read signs/all/variables/+/set
pattern read feeds/#
)"_s;
const QStringList kSites{u"north"_s, u"south"_s, u"east"_s};
} // namespace

class tst_MqttWatch final : public QObject {
    Q_OBJECT
    std::unique_ptr<LoopbackRig> m_rig;
    std::unique_ptr<BrokerRig> m_broker;
    struct Site {
        EmulatorProcess* sign = nullptr;
        QProcess agent;
        QString file, displays;
    };
    std::map<QString, Site> m_sites;
    bool m_tls = false;

    QString log(const QString& site) { return QString::fromUtf8(m_sites[site].agent.peek(1 << 20)); }
    int qmdvars(const QString& site, const QStringList& args, QString* out = nullptr)
    {
        const ProgramRun run = runProgram(QStringLiteral(QMDVARS_PATH),
                                          QStringList{u"--file"_s, m_sites[site].file} + args);
        if (out)
            *out = run.out;
        return run.code;
    }
    void addSite(const QString& name)
    {
        Site& s = m_sites[name];
        QVERIFY((s.sign = m_rig->start()));
        s.file = m_rig->path(name + u".vls"_s);
        s.displays = m_rig->path(name) + u"/Displays.dat"_s;
        QVERIFY(QFile::copy(m_rig->path(u"set.vls"_s), s.file));
        QVERIFY(QDir().mkpath(m_rig->path(name)) && writeDisplayList(m_rig->path(name), {{name, s.sign->tcpPort()}}));
    }
    // `command` is watch (with its options) or serve.
    void startAgent(const QString& name, const QStringList& extra,
                    const QStringList& command = words(u"watch --displays 1 --vars 1-10 --debounce 100"_s))
    {
        Site& s = m_sites[name];
        s.agent.setProcessChannelMode(QProcess::MergedChannels);
        s.agent.start(QStringLiteral(QMDVARS_PATH),
                      QStringList{u"--file"_s, s.file, u"--displays-file"_s, s.displays} + command
                          + QStringList{u"--keepalive"_s, u"5"_s, u"--publish"_s,
                                        m_broker->url(name, m_tls) + u"/signs"_s, u"--site"_s, name}
                          + extra);
        QVERIFY(s.agent.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(
            m_broker->retained(u"dashboard"_s, u"signs/sites/%1/agents/%1"_s.arg(name)).contains("online"), 15000);
    }
    bool dashboard(const QString& topic, const QByteArray& payload)
    {
        return m_broker->publish(u"dashboard"_s, topic, payload);
    }

private slots:
    void init()
    {
        m_rig = std::make_unique<LoopbackRig>(LoopbackRig::Transmission);
        settings::write(settings::kVarFileLoc, m_rig->path(u"set.vls"_s));
        QCOMPARE(QProcess::execute(QStringLiteral(QMDVARS_PATH), {u"set"_s, u"1"_s, u"--name"_s, u"One"_s}), 0);
        m_broker = std::make_unique<BrokerRig>();
        QStringList creds;
        for (const QString& user : kSites + QStringList{u"dashboard"_s, u"feeder"_s}) {
            m_broker->addUser(user, user + u"-pw"_s);
            creds << u"127.0.0.1 %1 %1-pw"_s.arg(user);
        }
        creds << u"127.0.0.1 intruder wrong"_s;
        m_broker->setAcl(kAcl);
        m_tls = QTest::currentDataTag() == "mqtts"_L1;
        QVERIFY2(m_broker->makeCertificates() && m_broker->start(), qPrintable(m_broker->error()));
        writeFile(m_rig->path(u"credentials"_s), creds.join(u'\n').toUtf8());
        qputenv("QMDVARS_MQTT_CREDENTIALS", m_rig->path(u"credentials"_s).toUtf8());
        qputenv("QMDVARS_MQTT_CAFILE", m_broker->caFile().toUtf8());
    }
    void cleanup()
    {
        if (QTest::currentTestFailed())
            for (const auto& [name, site] : m_sites)
                qDebug().noquote() << name << QString::fromUtf8(m_sites[name].agent.peek(1 << 16));
        for (auto& [name, site] : m_sites) {
            if (site.agent.state() == QProcess::Running) {
                ::kill(pid_t(site.agent.processId()), SIGCONT);
                site.agent.terminate();
                QVERIFY(site.agent.waitForFinished(10000));
                QCOMPARE(site.agent.exitCode(), 0);
            }
        }
        m_sites.clear();
        m_broker.reset();
        m_rig.reset();
    }

    void linkedTopics_data()
    {
        QTest::addColumn<bool>("tls"); // read by init()
        QTest::newRow("mqtt") << false;
        QTest::newRow("mqtts") << true;
    }
    void linkedTopics()
    {
        addSite(u"north"_s);
        const QString feeds = m_broker->url(u"north"_s, m_tls) + u"/feeds/"_s;
        QVERIFY(m_broker->publish(u"feeder"_s, u"feeds/temp"_s, "10", true));
        QVERIFY(m_broker->publish(u"feeder"_s, u"feeds/now"_s, R"({"w":{"t":1.50}})", true));
        QCOMPARE(qmdvars(u"north"_s, {u"set"_s, u"5"_s, u"--link"_s, feeds + u"temp"_s}), 0);
        QCOMPARE(qmdvars(u"north"_s, {u"set"_s, u"6"_s, u"--link"_s, feeds + u"now!/w/t"_s}), 0);
        QCOMPARE(qmdvars(u"north"_s,
                         {u"set"_s, u"8"_s, u"--link"_s, m_broker->url(u"intruder"_s, m_tls) + u"/feeds/temp"_s}),
                 0);
        QCOMPARE(qmdvars(u"north"_s, {u"set"_s, u"9"_s, u"--link"_s, feeds.chopped(6) + u"signs/secret"_s}), 0);
        QString shown;
        qmdvars(u"north"_s, {u"show"_s, u"5-9"_s}, &shown);
        QVERIFY2(shown.contains(u"\t10\n"_s) && shown.contains(u"\t1.5\n"_s), qPrintable(shown));
        QVERIFY2(shown.contains(u"error: broker 127.0.0.1:%1 unreachable: the broker refused the connection"_s.arg(
                     m_broker->port(m_tls))),
                 qPrintable(shown));
        QVERIFY2(shown.contains(u"error: no message on signs/secret yet (or the broker's access control"_s),
                 qPrintable(shown));

        startAgent(u"north"_s, {});
        const quint16 sign = m_sites[u"north"_s].sign->tcpPort();
        QTRY_COMPARE_WITH_TIMEOUT(onSign(sign, 5), u"10"_s, 10000); // retained: there at start
        QCOMPARE(onSign(sign, 6), u"1.5"_s);
        QVERIFY(m_broker->publish(u"feeder"_s, u"feeds/temp"_s, "11"));
        QTRY_COMPARE_WITH_TIMEOUT(onSign(sign, 5), u"11"_s, 10000);
        QVERIFY(dashboard(u"signs/sites/north/variables/7/set"_s, "IGNORED"));
        QTRY_VERIFY(m_broker->retained(u"dashboard"_s, u"signs/sites/north/displays/1/state"_s)
                        .contains(R"("result":"Updated")"));

        m_broker->stop();
        QTRY_VERIFY_WITH_TIMEOUT(log(u"north"_s).contains(u"lost"_s), 15000);
        QTest::qWait(1500);
        QCOMPARE(onSign(sign, 5), u"11"_s); // nothing blanked while the broker is away
        QVERIFY2(m_broker->start(), qPrintable(m_broker->error()));
        QTRY_VERIFY_WITH_TIMEOUT(log(u"north"_s).contains(u"back"_s), 20000);
        QVERIFY(m_broker->publish(u"feeder"_s, u"feeds/temp"_s, "12"));
        QTRY_COMPARE_WITH_TIMEOUT(onSign(sign, 5), u"12"_s, 10000);
        QCOMPARE(onSign(sign, 7), QString()); // the command was not taken
        qmdvars(u"north"_s, {u"show"_s, u"7"_s}, &shown);
        QVERIFY2(!shown.contains(u"IGNORED"_s), qPrintable(shown));
    }

    void fleet()
    {
        for (const QString& site : kSites)
            addSite(site);
        for (const QString& site : kSites)
            startAgent(site, {u"--accept-commands"_s});
        QVERIFY(dashboard(u"signs/all/variables/3/set"_s, "ALL"));
        for (const QString& site : kSites)
            QTRY_COMPARE_WITH_TIMEOUT(onSign(m_sites[site].sign->tcpPort(), 3), u"ALL"_s, 10000);
        QVERIFY(dashboard(u"signs/sites/south/variables/3/set"_s, R"({"data":"SOUTH","color":"green"})"));
        QTRY_COMPARE_WITH_TIMEOUT(onSign(m_sites[u"south"_s].sign->tcpPort(), 3), u"SOUTH"_s, 10000);
        QCOMPARE(onSign(m_sites[u"north"_s].sign->tcpPort(), 3), u"ALL"_s);

        // East is cut off until the broker gives it up; what comes meanwhile waits in its session.
        ::kill(pid_t(m_sites[u"east"_s].agent.processId()), SIGSTOP);
        QVERIFY(m_broker->waitForLog(u"qmdvars-east-east has exceeded timeout"_s, 20000));
        QVERIFY(dashboard(u"signs/all/variables/4/set"_s, "MISSED"));
        QTRY_COMPARE_WITH_TIMEOUT(onSign(m_sites[u"north"_s].sign->tcpPort(), 4), u"MISSED"_s, 10000);
        ::kill(pid_t(m_sites[u"east"_s].agent.processId()), SIGCONT);
        QTRY_COMPARE_WITH_TIMEOUT(onSign(m_sites[u"east"_s].sign->tcpPort(), 4), u"MISSED"_s, 20000);

        for (const QString& site : kSites) {
            const QByteArray state = m_broker->retained(u"dashboard"_s, u"signs/sites/%1/displays/1/state"_s.arg(site));
            QVERIFY2(state.contains(R"("result":"Updated")") && state.contains(R"("4":"MISSED")"), state.constData());
        }
        QString shown;
        qmdvars(u"south"_s, {u"show"_s, u"3-4"_s}, &shown);
        QVERIFY2(shown.contains(u"\tGreen\tno\tno\t250\tSOUTH"_s), qPrintable(shown)); // stored in the site's file
    }

    void servePublishes()
    {
        addSite(u"north"_s);
        QString token;
        QCOMPARE(qmdvars(u"north"_s, words(u"token create bus --role operator"_s), &token), 0);
        startAgent(u"north"_s, {}, words(u"serve --listen 127.0.0.1:0"_s));
        QTRY_VERIFY(log(u"north"_s).contains(u"LISTENING"_s));
        const QString url = QRegularExpression(u"LISTENING (\\S+)"_s).match(log(u"north"_s)).captured(1);

        // The dashboard hears the send event, which is not retained.
        mqtt::ClientOptions options;
        options.broker = {u"127.0.0.1"_s, m_broker->port(), u"dashboard"_s};
        options.credentials = mqtt::credentialsFor(options.broker);
        mqtt::Client dashboard(options);
        QByteArray sent;
        bool listening = false;
        connect(&dashboard, &mqtt::Client::subscribed, this, [&] { listening = true; });
        connect(&dashboard, &mqtt::Client::messageReceived, this,
                [&](const QString&, const QByteArray& sends) { sent = sends; });
        dashboard.subscribe(u"signs/sites/north/sends"_s);
        dashboard.start();
        QTRY_VERIFY(listening);

        QNetworkRequest post(QUrl(url + u"api/v1/updates"_s));
        post.setRawHeader("Authorization", "Bearer " + token.trimmed().toUtf8());
        post.setHeader(QNetworkRequest::ContentTypeHeader, u"application/json"_s);
        QNetworkAccessManager http;
        std::unique_ptr<QNetworkReply> reply(http.post(post, R"({"displays":"1","variables":"1-2"})"));
        QTRY_VERIFY(reply->isFinished());
        QCOMPARE(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), 202);
        QTRY_VERIFY_WITH_TIMEOUT(!sent.isEmpty(), 15000);
        QVERIFY2(sent.contains(R"("cause":"update u)") && sent.contains(R"("result":"Updated")"), sent.constData());
        const QByteArray state = m_broker->retained(u"dashboard"_s, u"signs/sites/north/displays/1/state"_s);
        QVERIFY2(state.contains(R"("cause":"update u)") && state.contains(R"("name":"north")"), state.constData());
    }
};

QTEST_GUILESS_MAIN(tst_MqttWatch)
#include "tst_mqttwatch.moc"
