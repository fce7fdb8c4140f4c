#include "dlgVariableAudit.h"

#include "messagebox.h"
#include "namedwidgets.h"
#include "printdialog.h"
#include "reportfile.h"

#include <QAbstractTextDocumentLayout>
#include <QCoreApplication>
#include <QHBoxLayout>
#include <QPrinter>
#include <QPushButton>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextEdit>
#include <QTextLayout>
#include <QTimer>
#include <QVBoxLayout>

namespace {
const QString kCancel = QStringLiteral("Cancel");
const QString kCancelling = QStringLiteral("Cancelling");
const QString kClose = QStringLiteral("Close");

// A blue-green-red colour word as a colour.
QColor colourOf(quint32 bgr) { return QColor(int(bgr & 0xFF), int(bgr >> 8 & 0xFF), int(bgr >> 16 & 0xFF)); }
} // namespace

// The report box as the run's sink: text goes at the end, line ends become paragraphs.
class dlgVariableAudit::ReportView final : public audit::ReportSink {
public:
    explicit ReportView(QTextEdit* box) : m_box(box) {}

    void append(const QString& text, quint32 colour, bool heading) override
    {
        QTextCursor cursor(m_box->document());
        cursor.movePosition(QTextCursor::End);
        QTextCharFormat format;
        format.setForeground(colourOf(colour));
        format.setFontPointSize(heading ? audit::kHeadingPoints : audit::kNormalPoints);
        cursor.insertText(QString(text).replace(QStringLiteral("\r\n"), QStringLiteral("\n")), format);
    }

    int endLine() override
    {
        QTextDocument* document = m_box->document();
        document->documentLayout()->documentSize(); // lays the text out
        const QTextBlock last = document->lastBlock();
        const QTextLayout* layout = last.layout();
        if (!layout || layout->lineCount() == 0)
            return last.firstLineNumber();
        const QTextLine line = layout->lineForTextPosition(last.length() - 1);
        return last.firstLineNumber() + (line.isValid() ? line.lineNumber() : layout->lineCount() - 1);
    }

private:
    QTextEdit* m_box;
};

dlgVariableAudit::dlgVariableAudit(QWidget* parent)
    : QDialog(parent), m_rtxtAuditInfo(new QTextEdit(this)),
      m_cmdPrint(widgets::namedButton(this, "cmdPrint", QStringLiteral("Print"))),
      m_cmdSaveToFile(widgets::namedButton(this, "cmdSaveToFile", QStringLiteral("Save To File"))),
      m_cmdClose(widgets::namedButton(this, "cmdClose", kClose))
{
    setObjectName(QStringLiteral("dlgVariableAudit"));
    setWindowTitle(QStringLiteral("Variable Audit"));
    m_rtxtAuditInfo->setObjectName(QStringLiteral("rtxtAuditInfo"));
    m_rtxtAuditInfo->setReadOnly(true);
    m_rtxtAuditInfo->setTabStopDistance(72);

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_cmdPrint);
    buttons->addWidget(m_cmdSaveToFile);
    buttons->addStretch();
    buttons->addWidget(m_cmdClose);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_rtxtAuditInfo);
    layout->addLayout(buttons);
    resize(640, 480);

    m_view = std::make_unique<ReportView>(m_rtxtAuditInfo);
    m_run.setSink(m_view.get());
    m_run.setPump([] { QCoreApplication::processEvents(); });
    m_run.setStarted([this] { m_cmdClose->setText(kCancel); });

    connect(m_cmdClose, &QPushButton::clicked, this, &dlgVariableAudit::onClose);
    connect(m_cmdPrint, &QPushButton::clicked, this, &dlgVariableAudit::onPrint);
    connect(m_cmdSaveToFile, &QPushButton::clicked, this, &dlgVariableAudit::onSaveToFile);
}

dlgVariableAudit::~dlgVariableAudit() = default;

void dlgVariableAudit::showEvent(QShowEvent* event)
{
    QDialog::showEvent(event);
    if (m_activated)
        return;
    m_activated = true;
    QTimer::singleShot(0, this, [this] {
        QCoreApplication::processEvents();
        repaint();
        RunAudit();
    });
}

void dlgVariableAudit::RunAudit()
{
    switch (m_run.run()) {
    case audit::AuditRun::Outcome::NothingToDo: break; // the button keeps its caption
    case audit::AuditRun::Outcome::Failed:
        // The run stopped where it was; the button stays as it was too.
        msgbox::show(QStringLiteral("Error Getting Variables from Display ") + m_run.errorText(), msgbox::OKOnly,
                     msgbox::Critical, {}, this);
        break;
    case audit::AuditRun::Outcome::Finished:
    case audit::AuditRun::Outcome::Cancelled:
        m_cmdClose->setText(kClose);
        m_cmdClose->setEnabled(true);
        break;
    }
    emit auditFinished();
}

void dlgVariableAudit::onClose()
{
    if (m_cmdClose->text() == kCancel) {
        m_cmdClose->setEnabled(false);
        m_run.requestCancel();
        m_cmdClose->setText(kCancelling);
        return;
    }
    accept();
}

void dlgVariableAudit::done(int result)
{
    if (!m_cmdClose->isEnabled())
        return; // a cancel request is still being carried out
    QDialog::done(result);
}

void dlgVariableAudit::onPrint()
{
    QPrinter printer;
    if (printdialog::exec(printer, this))
        m_rtxtAuditInfo->document()->print(&printer);
}

// No question before an existing file is replaced, and a file that cannot be
// written is simply not written.
void dlgVariableAudit::onSaveToFile()
{
    reportfile::SaveRequest request;
    request.namePrefix = QStringLiteral("Audit Log ");
    request.title = QStringLiteral("Choose where to save audit log - This File viewable in WordPad!");
    request.filter = QStringLiteral("Audit Log Files (*.doc)|*.doc");
    reportfile::save(*m_rtxtAuditInfo->document(), request, this);
}
