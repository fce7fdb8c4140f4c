// The manager's audit button: the chooser is always asked, an empty choice ends
// silently, and a choice audits the host's chosen display in the manager's mode.

#include "classregistry.h"
#include "clsVariableAccess.h"
#include "datarow.h"
#include "dlgVariableAudit.h"
#include "dlgVariables.h"
#include "loopbackrig.h"
#include "settingsstore.h"
#include "updateflow.h"

#include <QApplication>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpression>
#include <QTextEdit>

namespace {
// Only the chooser is used by the audit button.
struct Chooser final : manager::UpdateDialogs, manager::VariableChooser {
    VarSelection answer;
    int asked = 0;
    std::unique_ptr<manager::VariableChooser> createChooser(QWidget*) override
    {
        struct Lent final : manager::VariableChooser {
            Chooser& c;
            explicit Lent(Chooser& c) : c(c) {}
            void setVariableSet(clsVariableAccess*) override {}
            VarSelection GetChosenVars() override { return ++c.asked, c.answer; }
            VarSelection GetLastVars() override { return {}; }
        };
        return std::make_unique<Lent>(*this);
    }
    std::unique_ptr<manager::DelayPrompt> createDelayPrompt(std::function<QString()>, QWidget*) override
    {
        return nullptr;
    }
    std::unique_ptr<manager::UpdateSender> createUpdateSender(QWidget*) override { return nullptr; }
    void setVariableSet(clsVariableAccess*) override {}
    VarSelection GetChosenVars() override { return {}; }
    VarSelection GetLastVars() override { return {}; }
};
} // namespace

class TestManagerAudit final : public QObject {
    Q_OBJECT
private slots:
    void auditButton_data()
    {
        QTest::addColumn<VarSelection>("chosen");
        QTest::addColumn<QString>("option");
        QTest::addColumn<QStringList>("expected"); // what follows the display's download line; empty: no audit
        addRow("nothing chosen", VarSelection{}, "optVariable_0", QStringList{});
        addRow("data only", VarSelection{{true, 1}, {false, 257}}, "optVariable_1",
               QStringList{"Variable\t Data", "Text Var 1\t  ", "Cell Var 1\t  ", "Closing Connection", ""});
        addRow("attributes only", VarSelection{{true, 2}}, "optVariable_2",
               QStringList{"Variable\tBlink\tInverse\tColor", "Text Var 2\tNo\tNo\tRed", "Closing Connection", ""});
    }
    void auditButton()
    {
        QFETCH(VarSelection, chosen);
        QFETCH(QString, option);
        LoopbackRig rig(LoopbackRig::Transmission);
        ScriptedMessageBox box;
        const EmulatorProcess* sign = rig.start();
        QVERIFY(sign && rig.list({{"Sign A", sign->tcpPort()}}));
        settings::write(settings::kPromptForDisplay, QStringLiteral("0"));
        settings::write(settings::kLastOpenedDisplay, QStringLiteral("Sign A"));
        settings::write(settings::kPromptForVariable, QStringLiteral("FALSE")); // asked all the same

        Chooser chooser;
        chooser.answer = chosen;
        manager::setUpdateDialogs(&chooser);
        QStringList report;
        int audits = 0;
        QTimer watch; // closes an audit once it has finished
        watch.setInterval(5);
        QObject::connect(&watch, &QTimer::timeout, [&] {
            auto* audit = qobject_cast<dlgVariableAudit*>(QApplication::activeModalWidget());
            if (!audit)
                return;
            const QString text = audit->findChild<QTextEdit*>(QStringLiteral("rtxtAuditInfo"))->toPlainText();
            if (!text.contains(QStringLiteral("Closing Connection")))
                return;
            ++audits;
            report = text.split(u'\n');
            audit->done(QDialog::Accepted);
        });
        watch.start();
        {
            dlgVariables manager;
            manager.show();
            manager.findChild<QRadioButton*>(option)->setChecked(true);
            QTest::mouseClick(manager.findChild<QPushButton*>(QStringLiteral("cmdVariableAudit")), Qt::LeftButton);
            manager.done(QDialog::Accepted);
        }
        manager::setUpdateDialogs(nullptr);
        ComponentLoader::clearFactories();

        QCOMPARE(chooser.asked, 1);
        QFETCH(QStringList, expected);
        QCOMPARE(audits, expected.isEmpty() ? 0 : 1);
        if (audits)
            QCOMPARE(afterDownloadLine(report), expected);
        QVERIFY(box.texts().isEmpty());
    }

private:
    // The lines after "Last Var Download: ...".
    static QStringList afterDownloadLine(const QStringList& lines)
    {
        const qsizetype download = lines.indexOf(QRegularExpression(QStringLiteral("Last Var Download: .*")));
        return download < 0 ? lines : lines.mid(download + 1);
    }
};

QTEST_MAIN(TestManagerAudit)
#include "tst_manager_audit.moc"
