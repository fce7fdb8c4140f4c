#include "testenvironment.h"

#include "settingsstore.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPrinter>
#include <QStandardPaths>
#include <QTest>

TestEnvironment::TestEnvironment() : m_oldMachine(qgetenv("ZOL_MACHINE_STORE")), m_oldUser(qgetenv("ZOL_USER_STORE"))
{
    QStandardPaths::setTestModeEnabled(true);
    qputenv("ZOL_MACHINE_STORE", machineStore().toLocal8Bit());
    qputenv("ZOL_USER_STORE", userStore().toLocal8Bit());
    settings::setModuleFolderForTesting(m_dir.path());
}

TestEnvironment::~TestEnvironment()
{
    settings::setModuleFolderForTesting({});
    qputenv("ZOL_MACHINE_STORE", m_oldMachine);
    qputenv("ZOL_USER_STORE", m_oldUser);
}

QString TestEnvironment::machineStore() const { return m_dir.filePath(QStringLiteral("machine.ini")); }
QString TestEnvironment::userStore() const { return m_dir.filePath(QStringLiteral("user.ini")); }

ScriptedMessageBox::ScriptedMessageBox() { msgbox::setService(this); }
ScriptedMessageBox::~ScriptedMessageBox() { msgbox::setService(nullptr); }

msgbox::Answer ScriptedMessageBox::show(QWidget*, const msgbox::Request& request)
{
    m_shown.append(request);
    if (!m_answers.isEmpty())
        return m_answers.dequeue();
    switch (request.buttons) {
    case msgbox::OKOnly:
    case msgbox::OKCancel: return msgbox::OK;
    case msgbox::AbortRetryIgnore: return msgbox::Abort;
    case msgbox::YesNoCancel:
    case msgbox::YesNo: return msgbox::Yes;
    case msgbox::RetryCancel: return msgbox::Retry;
    }
    return msgbox::OK;
}

QStringList ScriptedMessageBox::texts() const
{
    QStringList out;
    for (const auto& r : m_shown)
        out << r.text;
    return out;
}

ScriptedFileDialog::ScriptedFileDialog() { filedialog::setService(this); }
ScriptedFileDialog::~ScriptedFileDialog() { filedialog::setService(nullptr); }

QString ScriptedFileDialog::show(QWidget*, const filedialog::Request& request)
{
    m_shown.append(request);
    return m_answers.isEmpty() ? QString() : m_answers.dequeue();
}

ScriptedPrintDialog::ScriptedPrintDialog() { printdialog::setService(this); }
ScriptedPrintDialog::~ScriptedPrintDialog() { printdialog::setService(nullptr); }

bool ScriptedPrintDialog::exec(QWidget*, QPrinter& printer)
{
    ++shownCount;
    if (accept && !pdfPath.isEmpty()) {
        printer.setOutputFormat(QPrinter::PdfFormat);
        printer.setOutputFileName(pdfPath);
    }
    return accept;
}

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

void writeFile(const QString& path, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(file.write(bytes), bytes.size());
}
