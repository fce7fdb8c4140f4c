#include "frmVariableSettings.h"

#include "namedwidgets.h"
#include "variablesettings.h"

#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

using manager::UpdateSettings;
using manager::VariableSettings;

namespace {
QGroupBox* frame(QWidget* parent, const QString& name, const QString& caption)
{
    return widgets::named(new QGroupBox(caption, parent), name);
}
} // namespace

frmVariableSettings::frmVariableSettings(QWidget* parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("frmVariableSettings"));
    setWindowTitle(QStringLiteral("Variable Update Settings"));

    // Option arrays are named "<control>_<index>".
    QGroupBox* display = frame(this, QStringLiteral("fraDisplay"), QStringLiteral("Choose Display"));
    auto* displayLayout = new QVBoxLayout(display);
    const QStringList displayCaptions{QStringLiteral("Never ask for displays, use the current one"),
                                      QStringLiteral("Never ask for displays, use the last selection"),
                                      QStringLiteral("Prompt for displays every time")};
    for (int i = 0; i < 3; ++i) {
        m_display[i] = widgets::named(new QRadioButton(displayCaptions[i], display),
                                      QStringLiteral("optChooseDisplay_") + QString::number(i));
        displayLayout->addWidget(m_display[i]);
    }

    QGroupBox* variables = frame(this, QStringLiteral("fraVariables"), QStringLiteral("Choose Variables"));
    auto* variablesLayout = new QVBoxLayout(variables);
    m_chooseVar = widgets::named(new QRadioButton(QStringLiteral("Prompt for variables every time"), variables),
                                 QStringLiteral("optChooseVar"));
    m_neverChooseVar = widgets::named(
        new QRadioButton(QStringLiteral("Never ask for variables, use the last selected"), variables),
        QStringLiteral("optNeverChooseVar"));
    variablesLayout->addWidget(m_chooseVar);
    variablesLayout->addWidget(m_neverChooseVar);

    QGroupBox* delay = frame(this, QStringLiteral("fraUpdateDelay"), QStringLiteral("Update Delay"));
    auto* delayLayout = new QVBoxLayout(delay);
    m_delay = widgets::named(new QRadioButton(QStringLiteral("Prompt for Delay Setup every time"), delay),
                             QStringLiteral("optDelay"));
    m_noDelay = widgets::named(new QRadioButton(QStringLiteral("Never ask for Delay Setup"), delay),
                               QStringLiteral("optNoDelay"));
    delayLayout->addWidget(m_delay);
    delayLayout->addWidget(m_noDelay);

    QGroupBox* retry = frame(this, QStringLiteral("fraDelay"), QStringLiteral("Retry Interval"));
    auto* retryLayout = new QHBoxLayout(retry);
    auto timeBox = [&](const QString& name, const QString& labelName, const QString& caption) {
        auto* box = widgets::named(new QLineEdit(retry), name);
        box->setMaximumWidth(60);
        auto* label = widgets::named(new QLabel(caption, retry), labelName);
        label->setBuddy(box);
        retryLayout->addWidget(box);
        retryLayout->addWidget(label);
        return box;
    };
    m_hour = timeBox(QStringLiteral("txtHour"), QStringLiteral("lblHour"), QStringLiteral("Hours"));
    m_min = timeBox(QStringLiteral("txtMin"), QStringLiteral("lblMin"), QStringLiteral("Min."));
    m_sec = timeBox(QStringLiteral("txtSec"), QStringLiteral("lblSec"), QStringLiteral("Sec."));
    retryLayout->addStretch(1);

    auto* ok = widgets::namedButton(this, "cmdOK", QStringLiteral("OK"));
    ok->setDefault(true);
    auto* cancel = widgets::namedButton(this, "cmdCancel", QStringLiteral("Cancel"));
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(ok);
    buttons->addWidget(cancel);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(display);
    layout->addWidget(variables);
    layout->addWidget(delay);
    layout->addWidget(retry);
    layout->addLayout(buttons);

    connect(ok, &QPushButton::clicked, this, [this] {
        store();
        accept();
    });
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);

    load();
}

void frmVariableSettings::load()
{
    const UpdateSettings v = VariableSettings::load();
    m_display[v.displayChoice]->setChecked(true);
    (v.promptForVariable ? m_chooseVar : m_neverChooseVar)->setChecked(true);
    (v.promptForDelay ? m_delay : m_noDelay)->setChecked(true);
    m_hour->setText(v.hours);
    m_min->setText(v.minutes);
    m_sec->setText(v.seconds);
}

void frmVariableSettings::store()
{
    UpdateSettings v;
    v.hours = m_hour->text();
    v.minutes = m_min->text();
    v.seconds = m_sec->text();
    v.displayChoice = VariableSettings::displayChoiceOf(m_display[0]->isChecked(), m_display[1]->isChecked(),
                                                        m_display[2]->isChecked());
    v.promptForDelay = m_delay->isChecked();
    v.promptForVariable = m_chooseVar->isChecked();
    VariableSettings::store(v);
}
