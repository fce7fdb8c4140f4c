// The audit dialog against emulated displays: the transmission library reads
// the host's display list and the displays' variables; the report is checked
// paragraph by paragraph with each run's colour and size.

#include "datarow.h"
#include "classregistry.h"
#include "clock.h"
#include "dlgVariableAudit.h"
#include "loopbackrig.h"
#include "richtextdocument.h"

#include <QFile>
#include <QPushButton>
#include <QRegularExpression>
#include <QTest>
#include <QTextBlock>
#include <QTextEdit>
#include <QTimer>

#include <algorithm>
#include <functional>
#include <optional>

namespace {
QString colourName(const QColor& c)
{
    static const QHash<QRgb, QString> names{{qRgb(0, 0, 255), QStringLiteral("blue")},
                                            {qRgb(0, 255, 0), QStringLiteral("green")},
                                            {qRgb(255, 0, 0), QStringLiteral("red")},
                                            {qRgb(255, 0, 255), QStringLiteral("magenta")}};
    return names.value(c.rgb(), c.name());
}

// One line per paragraph: each run as "{colour size}text".
QStringList paragraphs(const QTextDocument& document)
{
    QStringList lines;
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        QString line;
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QTextFragment f = it.fragment();
            line += u'{' + colourName(f.charFormat().foreground().color()) + u' '
                    + QString::number(f.charFormat().fontPointSize()) + u'}' + f.text();
        }
        lines << line;
    }
    return lines;
}

// Writes variables into a unit of an emulated display, the way an update would.
void put(quint16 port, int16_t address,
         const QList<std::tuple<bool, int16_t, int16_t, int16_t, int16_t, QString>>& vars)
{
    const QString failed = withDisplay(
        port,
        [&](disptrans::IDispTrans& d) {
            for (const auto& [text, index, colour, blink, inverse, data] : vars) {
                disptrans::VarAttributeList list;
                list.setEntryCount(1);
                list.setEntryVarIndex(1, index);
                list.setEntryColor(1, colour);
                list.setEntryBlink(1, blink);
                list.setEntryInverse(1, inverse);
                disptrans::TextVarDataItem textItem{index, data};
                disptrans::CellVarDataItem cellItem{index, data};
                if (!(text ? d.SendTextVarAttributes(list) && d.SendTextVarData(textItem)
                           : d.SendCellVarAttributes(list) && d.SendCellVarData(cellItem)))
                    return d.LastErrorText();
            }
            return QString();
        },
        address);
    QVERIFY2(failed.isEmpty(), qPrintable(failed));
}

const QString kRule = QStringLiteral("{green 18}") + QString(41, u'-');
const QString kNever = QStringLiteral("{blue 10}Last Var Download: 0/0/00 00:00:00");
const QString kBothHeader = QStringLiteral("{blue 10}Variable\tBlink\tInverse\tColor\t Data");
const QString kClosing = QStringLiteral("{blue 10}Closing Connection");
} // namespace

class TestVariableAudit final : public QObject {
    Q_OBJECT
private slots:
    void init()
    {
        m_rig.emplace(LoopbackRig::Transmission);
        m_dialogs.emplace();
    }
    void cleanup()
    {
        Clock::reset();
        m_dialogs.reset();
        m_rig.reset();
    }

    // A group of three units, then a display that refuses the connection; the
    // report printed and saved.
    void groupAndRefusedDisplay()
    {
        const EmulatorProcess* group = m_rig->start(words("--units 4 --group 4:2,0"));
        const EmulatorProcess* refusing = m_rig->start({QStringLiteral("--refuse")});
        QVERIFY(group && refusing);
        put(group->tcpPort(), 4, {{true, 0, 3, 1, 2, "HELLO"}, {false, 0, 6, 2, 1, "CELL"}});
        put(group->tcpPort(), 5, {{true, 0, 1, 2, 2, "FIVE"}});
        writeDisplays({{"Sign A", group->tcpPort(), "4"}, {"Sign B", refusing->tcpPort(), "9"}});

        m_dialogs->printer.pdfPath = m_rig->env.path(QStringLiteral("audit.pdf"));
        dlgVariableAudit dlg;
        dlg.setVariablesToAudit({{true, 1}, {false, 257}});
        dlg.setDisplaySelection([] { return QStringLiteral("Sign A,Sign B"); });
        QStringList report;
        QString captionAfter;
        whenFinished(dlg, [&] {
            report = paragraphs(*report_(dlg)->document());
            captionAfter = closeButton(dlg)->text() + (closeButton(dlg)->isEnabled() ? "" : " (disabled)");

            QTest::mouseClick(dlg.findChild<QPushButton*>(QStringLiteral("cmdPrint")), Qt::LeftButton);
            m_dialogs->files.answerNext(m_rig->env.path(QStringLiteral("audit.doc")));
            Clock::setFixed(QDateTime(QDate(2010, 2, 3), QTime(9, 0)));
            QTest::mouseClick(dlg.findChild<QPushButton*>(QStringLiteral("cmdSaveToFile")), Qt::LeftButton);
        });
        QCOMPARE(dlg.windowTitle(), QStringLiteral("Variable Audit"));
        QCOMPARE(closeButton(dlg)->text(), QStringLiteral("Close"));
        dlg.exec();

        const QString today = QStringLiteral("{blue 10}Last Var Download: %1/%2/%3 ")
                                  .arg(QDate::currentDate().month())
                                  .arg(QDate::currentDate().day())
                                  .arg(QDate::currentDate().year());
        // Units 4 and 5 were written to today; unit 6 never was.
        for (int line : {4, 9}) {
            QVERIFY2(report.value(line).startsWith(today), qPrintable(report.value(line)));
            report[line] = QStringLiteral("(today)");
        }
        const QStringList expected{
            kRule,
            "{blue 18}Sign A",
            "{blue 10}Opening connection...{green 10}Passed",
            "{blue 10}ID=4",
            "(today)",
            kBothHeader,
            "{magenta 10}Text Var 1\tYes\tNo\tYellow\t HELLO ",
            "{magenta 10}Cell Var 1\tNo\tYes\tCyan\t CELL ",
            "{blue 10}ID=5",
            "(today)",
            kBothHeader,
            "{magenta 10}Text Var 1\tNo\tNo\tRed\t FIVE ",
            "{magenta 10}Cell Var 1\tNo\tNo\tRed\t  ",
            "{blue 10}ID=6",
            kNever,
            kBothHeader,
            "{magenta 10}Text Var 1\tNo\tNo\tRed\t  ",
            "{magenta 10}Cell Var 1\tNo\tNo\tRed\t  ",
            kClosing,
            kRule,
            "{blue 18}Sign B",
            "{blue 10}Opening connection...{red 10}FAILED",
            "{blue 10}ID=9",
            kNever,
            kBothHeader,
            kClosing,
            "",
        };
        QCOMPARE(report, expected);
        QCOMPARE(captionAfter, QStringLiteral("Close"));
        QVERIFY(m_dialogs->box.texts().isEmpty());

        QCOMPARE(m_dialogs->printer.shownCount, 1);
        QVERIFY(QFileInfo(m_dialogs->printer.pdfPath).size() > 0);
        QCOMPARE(m_dialogs->files.shown().size(), 1);
        QCOMPARE(m_dialogs->files.shown().at(0).fileName, QStringLiteral("Audit Log 2-3-2010.doc"));
        QCOMPARE(m_dialogs->files.shown().at(0).filter, QStringLiteral("Audit Log Files (*.doc)|*.doc"));
        QCOMPARE(m_dialogs->files.shown().at(0).title,
                 QStringLiteral("Choose where to save audit log - This File viewable in WordPad!"));
        const QList<rtf::Run> runs = rtf::read(readFile(m_rig->env.path(QStringLiteral("audit.doc"))));
        // The saved file keeps the colours and sizes: the entries magenta at 10 points, the names blue at 18.
        auto saved_as = [&](const QString& text, quint32 colour, double points) {
            return std::any_of(runs.begin(), runs.end(), [&](const rtf::Run& r) {
                return r.text.contains(text) && r.format.color == colour && r.format.pointSize == points;
            });
        };
        QVERIFY(saved_as(QStringLiteral("Text Var 1\tYes\tNo\tYellow\t HELLO \n"), rtf::rgb(255, 0, 255), 10));
        QVERIFY(saved_as(QStringLiteral("Sign B"), rtf::rgb(0, 0, 255), 18));
        QVERIFY(saved_as(QStringLiteral("FAILED"), rtf::rgb(255, 0, 0), 10));
    }

    // Cancelling during the second display: its connection is closed, the run
    // says it was cancelled, and the dialog cannot be closed until then.
    void cancelDuringSecondDisplay()
    {
        const EmulatorProcess* first = m_rig->start(words("--delay 5"));
        const EmulatorProcess* second = m_rig->start(words("--delay 5"));
        QVERIFY(first && second);
        writeDisplays({{"Sign A", first->tcpPort(), "1"}, {"Sign B", second->tcpPort(), "1"}});
        VarSelection thirty;
        for (int16_t n = 1; n <= 30; ++n)
            thirty.append({true, n});

        dlgVariableAudit dlg;
        dlg.setVariablesToAudit(thirty);
        dlg.setMode(audit::Mode::DataOnly);
        dlg.setDisplaySelection([] { return QStringLiteral("Sign A,Sign B"); });
        QStringList whileCancelling, report;
        QString captionAfter;
        QTimer watch;
        watch.setInterval(2);
        QObject::connect(&watch, &QTimer::timeout, &dlg, [&] {
            const QString text = report_(dlg)->toPlainText();
            if (!whileCancelling.isEmpty()
                || !text.contains(QStringLiteral("Sign B\nOpening connection...Passed\nID=1")))
                return;
            if (text.count(QStringLiteral("Text Var")) < 33)
                return; // a few variables into the second display
            whileCancelling << closeButton(dlg)->text();
            QTest::mouseClick(closeButton(dlg), Qt::LeftButton);
            whileCancelling << closeButton(dlg)->text() + (closeButton(dlg)->isEnabled() ? "" : " (disabled)");
            dlg.close();
            dlg.reject();
            whileCancelling << (dlg.isVisible() ? "still open" : "closed");
        });
        watch.start();
        whenFinished(dlg, [&] {
            report = paragraphs(*report_(dlg)->document());
            captionAfter = closeButton(dlg)->text() + (closeButton(dlg)->isEnabled() ? "" : " (disabled)");
        });
        dlg.exec();

        QCOMPARE(whileCancelling, QStringList({"Cancel", "Cancelling (disabled)", "still open"}));
        QCOMPARE(captionAfter, QStringLiteral("Close"));
        QVERIFY(report.size() > 3);
        QCOMPARE(report.mid(report.size() - 2), QStringList({kClosing, "{red 18}VARIABLE AUDIT CANCELLED....."}));
        const qsizetype secondStart = report.indexOf(QStringLiteral("{blue 18}Sign B"));
        QCOMPARE(report.mid(0, secondStart).filter(QStringLiteral("Text Var")).size(), 30);
        const qsizetype readOnSecond = report.mid(secondStart).filter(QStringLiteral("Text Var")).size();
        QVERIFY2(readOnSecond >= 3 && readOnSecond < 30, qPrintable(QString::number(readOnSecond)));
        QVERIFY(m_dialogs->box.texts().isEmpty());
    }

    // A refused read ends the variables of that unit and of every later unit of
    // the display; an entry that wraps in the box is followed by a blank line.
    void readErrorCarriesOverAndLongEntriesWrap()
    {
        const EmulatorProcess* sign = m_rig->start(words("--units 1,2 --busy S"));
        QVERIFY(sign);
        const QString longText(600, u'W');
        put(sign->tcpPort(), 1, {{true, 0, 2, 2, 2, longText}, {true, 1, 2, 2, 2, "short"}});
        writeDisplays({{"Sign C", sign->tcpPort(), "1,2"}});

        dlgVariableAudit dlg;
        dlg.setVariablesToAudit({{true, 2}, {true, 1}, {false, 257}, {true, 3}});
        dlg.setMode(audit::Mode::DataOnly);
        dlg.setDisplaySelection([] { return QStringLiteral("Sign C"); });
        QStringList report;
        whenFinished(dlg, [&] { report = paragraphs(*report_(dlg)->document()); });
        dlg.exec();

        QVERIFY(report.size() > 4);
        report[4] = QStringLiteral("(download)");
        const QStringList expected{
            kRule,
            "{blue 18}Sign C",
            "{blue 10}Opening connection...{green 10}Passed",
            "{blue 10}ID=1",
            "(download)",
            "{blue 10}Variable\t Data",
            "{magenta 10}Text Var 2\t short ",
            "{magenta 10}Text Var 1\t " + longText + " ",
            "",
            "{red 10}Read Error - FAILED",
            "{blue 10}ID=2",
            kNever,
            "{blue 10}Variable\t Data",
            kClosing,
            "",
        };
        QCOMPARE(report, expected);
    }

    // What ends a run before any variable is read, and how the dialog is left.
    void runsThatDoNotRead_data()
    {
        QTest::addColumn<QString>("selection");
        QTest::addColumn<QStringList>("report");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("caption");
        addRow("no display chosen", "", QStringList{""}, "", "Close");
        addRow("unknown display", "Nowhere", QStringList{kRule, "{blue 18}Nowhere", ""},
               "Error Getting Variables from Display ", "Cancel");
    }
    void runsThatDoNotRead()
    {
        QFETCH(QString, selection);
        writeDisplays({{"Sign A", 1, "1"}});
        dlgVariableAudit dlg;
        dlg.setVariablesToAudit({{true, 1}});
        dlg.setDisplaySelection([selection] { return selection; });
        QStringList report;
        QString caption;
        whenFinished(dlg, [&] {
            report = paragraphs(*report_(dlg)->document());
            caption = closeButton(dlg)->text();
        });
        dlg.exec();
        QTEST(report, "report");
        QTEST(caption, "caption");
        QFETCH(QString, message);
        if (message.isEmpty()) {
            QVERIFY(m_dialogs->box.shown().isEmpty());
        } else {
            QCOMPARE(m_dialogs->box.shown().size(), 1);
            QVERIFY2(m_dialogs->box.shown().at(0).text.startsWith(message),
                     qPrintable(m_dialogs->box.shown().at(0).text));
            QVERIFY(m_dialogs->box.shown().at(0).text.size() > message.size()); // the error's description follows
            QCOMPARE(m_dialogs->box.shown().at(0).icon, msgbox::Critical);
        }
    }

private:
    void writeDisplays(const QList<LoopbackDisplay>& displays) { QVERIFY(m_rig->list(displays)); }
    static QTextEdit* report_(dlgVariableAudit& dlg)
    {
        return dlg.findChild<QTextEdit*>(QStringLiteral("rtxtAuditInfo"));
    }
    static QPushButton* closeButton(dlgVariableAudit& dlg)
    {
        return dlg.findChild<QPushButton*>(QStringLiteral("cmdClose"));
    }
    // Runs `checks` from the dialog's own event loop once the audit has ended, then closes it.
    static void whenFinished(dlgVariableAudit& dlg, const std::function<void()>& checks)
    {
        QObject::connect(&dlg, &dlgVariableAudit::auditFinished, &dlg, [&dlg, checks] {
            QTimer::singleShot(0, &dlg, [&dlg, checks] {
                checks();
                dlg.done(QDialog::Accepted);
            });
        });
    }

    std::optional<LoopbackRig> m_rig;
    std::optional<AnsweredDialogs> m_dialogs;
};

QTEST_MAIN(TestVariableAudit)
#include "tst_dlgvariableaudit.moc"
