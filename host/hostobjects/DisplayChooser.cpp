#include "DisplayChooser.h"

#include "DisplayList.h"
#include "displaychoice.h"
#include "dlgDisplayChooser.h"
#include "runtimeerror.h"

#include <QApplication>

DisplayChooser::DisplayChooser(QObject* parent) : QObject(parent) { setObjectName(QStringLiteral("DisplayChooser")); }

std::optional<QString>& DisplayChooser::scriptedAnswer()
{
    static std::optional<QString> answer;
    return answer;
}

void DisplayChooser::setScriptedAnswer(std::optional<QString> answer) { scriptedAnswer() = std::move(answer); }

namespace {
QStringList numbersOf(const QString& text)
{
    QStringList numbers;
    for (const QString& n : text.split(u',', Qt::SkipEmptyParts)) {
        if (!n.trimmed().isEmpty())
            numbers << n.trimmed();
    }
    return numbers;
}
} // namespace

QString DisplayChooser::SelectDisplays()
{
    QStringList chosen;
    if (scriptedAnswer()) {
        chosen = numbersOf(*scriptedAnswer());
    } else if (qEnvironmentVariableIsSet(kAnswerVariable)) {
        chosen = numbersOf(qEnvironmentVariable(kAnswerVariable));
    } else {
        QList<DisplayRecord> records;
        QString problem;
        DisplayList list;
        try {
            list.setListFile(DisplayList::kDefaultListFile);
            records = list.records();
            problem = list.ParseErrors().join(u'\n');
        } catch (const RuntimeError& e) {
            problem = e.description();
        }
        dlgDisplayChooser dialog(QApplication::activeWindow());
        dialog.setDisplays(records, displaychoice::recent(), problem);
        if (dialog.exec() != QDialog::Accepted)
            return {};
        chosen = dialog.checkedNumbers();
    }
    displaychoice::remember(chosen);
    return displaychoice::joined(chosen);
}
