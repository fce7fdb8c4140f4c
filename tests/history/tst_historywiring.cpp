// What the sending programs leave in the send history: an update from the
// update dialog and updates and audits by qmdvars, all listed by `qmdvars
// history`; a history that cannot be opened stops no send.

#include "datarow.h"
#include "clsVariableAccess.h"
#include "dlgVariableUpdate.h"
#include "historyview.h"
#include "dialogcontrols.h"
#include "loopbackrig.h"
#include "settingsstore.h"
#include "updaterun.h"

#include <QDir>

#include <optional>

using namespace Qt::StringLiterals;

class tst_HistoryWiring final : public QObject {
    Q_OBJECT
    std::optional<LoopbackRig> m_rig;

    QString tool(const QStringList& args, int* code = nullptr)
    {
        const ProgramRun r = runProgram(QStringLiteral(QMDVARS_PATH),
                                        QStringList{u"--displays-file"_s, m_rig->path(u"Displays.dat"_s)} + args,
                                        m_rig->env.folder());
        if (code)
            *code = r.code;
        return r.out;
    }

    // The update dialog sends variable 3 to `display` and closes after its first pass.
    QString guiUpdate(clsVariableAccess& vars, const QString& display)
    {
        dlgVariableUpdate dlg;
        dlg.setVariableSet(&vars);
        dlg.setSelectedVars({{true, 3}});
        dlg.setDisplayList(display);
        runFirstPass(dlg, &dlgVariableUpdate::SendVarData, [&] { dlg.run().stopRetry(); });
        return dlg.run().rows().value(0).status;
    }

private slots:
    void init()
    {
        m_rig.emplace();
        const EmulatorProcess* display = m_rig->start();
        QVERIFY(display && m_rig->list({{"Lobby", display->tcpPort()}, {"Gone", 1}}));
        settings::write(settings::kVarFileLoc, m_rig->path(u"set.vls"_s));
    }
    void cleanup() { m_rig.reset(); }

    void dialogAndToolSendsAreListed()
    {
        clsVariableAccess vars;
        vars.setVariableData(3, u"from the dialog"_s);
        QCOMPARE(guiUpdate(vars, u"1"_s), UpdateRun::kUpdated);

        int code = -1;
        tool({u"set"_s, u"3"_s, u"--data"_s, u"from the tool"_s}, &code);
        QCOMPARE(code, 0);
        tool({u"update"_s, u"--displays"_s, u"1,2"_s, u"--vars"_s, u"3"_s, u"--data-only"_s}, &code);
        QCOMPARE(code, 1); // display 2 does not answer
        tool({u"audit"_s, u"--displays"_s, u"1"_s, u"--vars"_s, u"3"_s}, &code);
        QCOMPARE(code, 0);

        // Newest first: the audit, the tool's two updates (in either order), the tool's change, the dialog's update.
        const QStringList lines = tool({u"history"_s, u"--format"_s, u"csv"_s}).split(u"\r\n"_s, Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 6);
        QCOMPARE(lines[0],
                 u"when,kind,display,units,mode,result,error,variable,text,display name,account,failed units"_s);
        // Every row by number and name, with who sent it.
        const QString me = u","_s + history::systemAccount() + u","_s;
        QVERIFY2(lines[1].contains(u",audit,1,1,audit,Audited,,3,,Lobby"_s + me), qPrintable(lines[1]));
        const QStringList tools = lines.mid(2, 2);
        QVERIFY2(tools.filter(u",update,1,1,data,Updated,,3,from the tool,Lobby"_s + me).size() == 1,
                 qPrintable(tools.join(u'\n')));
        QVERIFY2(tools.filter(u",update,2,1,data,FAILED,cannot connect"_s).size() == 1, qPrintable(tools.join(u'\n')));
        QVERIFY2(lines[4].contains(u",change,,,data,Changed,,3,from the tool,"_s + me), qPrintable(lines[4]));
        QVERIFY2(lines[5].contains(u",update,1,1,data,Updated,,3,from the dialog,Lobby"_s + me), qPrintable(lines[5]));

        // "When was display 1 last updated, and with what?"
        const QString last = tool({u"history"_s, u"--display"_s, u"1"_s, u"--var"_s, u"3"_s});
        // The audit of display 1 is listed by its number too, first, without the text.
        QVERIFY2(last.section(u'\n', 0, 0).contains(u"display 1 \"Lobby\"  audit (audit) of 3  Audited"_s),
                 qPrintable(last));
        QVERIFY2(last.section(u'\n', 1, 2)
                     .contains(u"Updated  by "_s + history::systemAccount() + u"\n    3: \"from the tool\""_s),
                 qPrintable(last));
        QVERIFY2(last.contains(u"    3: \"from the dialog\""_s), qPrintable(last));
    }

    // A directory where the history file belongs: the history cannot open, the send goes on.
    void unusableHistoryStopsNoSend()
    {
        QVERIFY(QDir().mkpath(history::SendHistory::defaultPath()));
        clsVariableAccess vars;
        vars.setVariableData(3, u"still sent"_s);
        QCOMPARE(guiUpdate(vars, u"1"_s), UpdateRun::kUpdated);
        int code = -1;
        tool({u"update"_s, u"--displays"_s, u"1"_s, u"--vars"_s, u"3"_s}, &code);
        QCOMPARE(code, 0);
        tool({u"history"_s}, &code);
        QCOMPARE(code, 3);
    }

    void sinceArgument_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QDateTime>("expected"); // invalid: refused
        const QDateTime now(QDate(2026, 11, 25), QTime(12, 0));
        addRow("with a space", u"2026-11-20 08:30"_s, QDateTime(QDate(2026, 11, 20), QTime(8, 30)));
        addRow("days", u"3d"_s, now.addDays(-3));
        addRow("no unit", u"30"_s, QDateTime());
        addRow("no such day", u"2026-02-30"_s, QDateTime());
    }
    void sinceArgument()
    {
        QFETCH(QString, text);
        QFETCH(QDateTime, expected);
        const auto since = historyview::parseSince(text, QDateTime(QDate(2026, 11, 25), QTime(12, 0)));
        QCOMPARE(since.has_value(), expected.isValid());
        if (since)
            QCOMPARE(*since, expected);
    }
};

QTEST_MAIN(tst_HistoryWiring)
#include "tst_historywiring.moc"
