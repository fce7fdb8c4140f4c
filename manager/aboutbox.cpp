#include "aboutbox.h"

#include "namedwidgets.h"
#include "privatelabel.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

frmAbout::frmAbout(QWidget* parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("frmAbout"));
    setWindowTitle(QStringLiteral("About ") + privatelabel::kProductName);
    auto* layout = new QVBoxLayout(this);
    // The box is as large as its text: nothing is cut, not even the title bar's text.
    layout->setSizeConstraint(QLayout::SetMinimumSize);
    auto addLabel = [&](const QString& name, const QString& text) {
        auto* label = widgets::named(new QLabel(text, this), name);
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
        layout->addWidget(label);
        return label;
    };
    QFont titleFont = font();
    titleFont.setPointSize(titleFont.pointSize() + 4);
    titleFont.setBold(true);
    addLabel(QStringLiteral("lblTitle"), privatelabel::kProductName)->setFont(titleFont);
    addLabel(QStringLiteral("lblVersion"), QStringLiteral("Version 1.0"));
    addLabel(QStringLiteral("lblCompany"), privatelabel::kCompanyName);
    addLabel(QStringLiteral("lblWebSite"), privatelabel::kWebSite);
    addLabel(QStringLiteral("lblPhone"), QStringLiteral("Phone: ") + privatelabel::kPhoneNumber);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok, this);
    buttons->button(QDialogButtonBox::Ok)->setObjectName(QStringLiteral("cmdOK"));
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    layout->addWidget(buttons);
    // Wide enough for the title bar's text too, which the window system may draw larger.
    buttons->setMinimumWidth(fontMetrics().horizontalAdvance(windowTitle()) * 3 / 2 + 120);
}
