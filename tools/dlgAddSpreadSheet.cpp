#include "dlgAddSpreadSheet.h"

#include "clsVariableAccess.h"
#include "filedialog.h"
#include "messagebox.h"
#include "namedwidgets.h"
#include "runtimeerror.h"
#include "settingsstore.h"

#include <QFile>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

// Resources of a static library are registered by hand, outside any namespace.
static void initSpreadsheetResource() { Q_INIT_RESOURCE(spreadsheet); }

namespace {
QLineEdit* pathBox(const char* name, QWidget* parent)
{
    auto* box = widgets::named(new QLineEdit(parent), name);
    box->setMinimumWidth(320);
    return box;
}
} // namespace

dlgAddSpreadSheet::dlgAddSpreadSheet(QWidget* parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("dlgAddSpreadSheet"));
    setWindowTitle(QStringLiteral("Auto Configure Spreadsheet"));

    auto* sheetFrame = new QGroupBox(QStringLiteral("Excel Spread Sheet"), this);
    sheetFrame->setObjectName(QStringLiteral("fraSpreadSheet"));
    m_spreadsheet = pathBox("txtSpreadSheetlocation", sheetFrame);
    auto* browseSheet = widgets::namedButton(sheetFrame, "cmdBrowseSpreadsheet", QStringLiteral("Browse..."));
    auto* sheetInfo = new QLabel(QStringLiteral("Choose where to have your spreadsheet placed. The spreadsheet MUST "
                                                "NOT be moved after its creation!"),
                                 sheetFrame);
    sheetInfo->setObjectName(QStringLiteral("lblSpreadSheetInfo"));
    sheetInfo->setWordWrap(true);
    auto* sheetLayout = new QGridLayout(sheetFrame);
    sheetLayout->addWidget(sheetInfo, 0, 0, 1, 2);
    sheetLayout->addWidget(m_spreadsheet, 1, 0);
    sheetLayout->addWidget(browseSheet, 1, 1);

    auto* fileFrame = new QGroupBox(QStringLiteral("Variable File"), this);
    fileFrame->setObjectName(QStringLiteral("fraVariableFile"));
    m_playfile = pathBox("txtPlayfileLocation", fileFrame);
    auto* browseFile = widgets::namedButton(fileFrame, "cmdBrowsePlayfile", QStringLiteral("Browse..."));
    auto* fileInfo = new QLabel(QStringLiteral("Please choose where you would like to have the variable file created."),
                                fileFrame);
    fileInfo->setObjectName(QStringLiteral("lblVarInfo"));
    fileInfo->setWordWrap(true);
    auto* fileLayout = new QGridLayout(fileFrame);
    fileLayout->addWidget(fileInfo, 0, 0, 1, 2);
    fileLayout->addWidget(m_playfile, 1, 0);
    fileLayout->addWidget(browseFile, 1, 1);

    auto* create = widgets::namedButton(this, "cmdCreate", QStringLiteral("Create"));
    auto* cancel = widgets::namedButton(this, "cmdCancel", QStringLiteral("Cancel"));
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(create);
    buttons->addWidget(cancel);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(sheetFrame);
    layout->addWidget(fileFrame);
    layout->addLayout(buttons);

    connect(browseSheet, &QPushButton::clicked, this, [this] {
        browse(m_spreadsheet, QStringLiteral("Excel Spreadsheet Auto Configuration(*.xls)|*.xls"),
               QStringLiteral("Choose where to store file!"));
    });
    connect(browseFile, &QPushButton::clicked, this, [this] {
        browse(m_playfile, QStringLiteral("Variable Configuration File(*.vls)|*.vls"),
               QStringLiteral("Choose name for new configuration!"));
    });
    connect(create, &QPushButton::clicked, this, &dlgAddSpreadSheet::onCreate);
    connect(cancel, &QPushButton::clicked, this, &dlgAddSpreadSheet::reject);
}

void dlgAddSpreadSheet::browse(QLineEdit* target, const QString& filter, const QString& title)
{
    filedialog::Request request;
    request.kind = filedialog::Request::Save;
    request.fileName.clear();
    request.filter = filter;
    request.initialDir = settings::pluginFolder();
    request.title = title;
    const QString name = filedialog::choose(request, this);
    if (!name.isEmpty())
        target->setText(name);
}

void dlgAddSpreadSheet::onCreate()
{
    if (m_playfile->text().isEmpty()) {
        msgbox::show(QStringLiteral("You must choose a filename for your Variable File!"), msgbox::OKOnly,
                     msgbox::Information, QStringLiteral("Choose Filename"), this);
    } else if (m_spreadsheet->text().isEmpty()) {
        msgbox::show(QStringLiteral("You must choose a filename for your Excel spreadsheet!"), msgbox::OKOnly,
                     msgbox::Information, QStringLiteral("ChooseSpreadSheet"), this);
    } else {
        m_cancelled = false;
        accept();
    }
}

void dlgAddSpreadSheet::reject()
{
    m_cancelled = true;
    QDialog::reject();
}

QByteArray dlgAddSpreadSheet::workbookTemplate()
{
    initSpreadsheetResource();
    QFile resource(QStringLiteral(":/Spreadsheet/101"));
    if (!resource.open(QIODevice::ReadOnly))
        RuntimeError::raise(RuntimeError::FileNotFound);
    return resource.readAll();
}

QString dlgAddSpreadSheet::linkText(const QString& workbookPath, int n)
{
    return workbookPath + QStringLiteral("!Variables!R") + QString::number(n + 1) + QStringLiteral("C2");
}

void dlgAddSpreadSheet::AutoConfigureSpreadSheet(clsVariableAccess& set)
{
    if (m_cancelled)
        return;
    const QString workbook = m_spreadsheet->text();
    set.NewConfiguration(m_playfile->text());
    const QByteArray bytes = workbookTemplate();
    QFile file(workbook);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        RuntimeError::raise(file.exists() ? RuntimeError::PermissionDenied : RuntimeError::PathNotFound);
    if (file.write(bytes) != bytes.size())
        RuntimeError::raise(RuntimeError::PathFileAccessError);
    file.close();
    for (int n = 1; n <= clsVariableAccess::kVariableCount; ++n)
        set.setVariableOLELink(static_cast<int16_t>(n), linkText(workbook, n));
    set.SaveVariables();
}
