#pragma once

#include "filedialog.h"
#include "messagebox.h"
#include "printdialog.h"
#include "runtimeerror.h"

#include <QByteArray>
#include <QList>
#include <QQueue>
#include <QString>
#include <QTemporaryDir>

// A file's bytes, "<missing>" when it cannot be read.
QByteArray readFile(const QString& path);
// Writes the bytes, making the folder first; a failure fails the test.
void writeFile(const QString& path, const QByteArray& bytes);

// The error `f` raises; number 0 when it raises none.
template <class F> RuntimeError errorOf(F&& f)
{
    try {
        f();
    } catch (const RuntimeError& e) {
        return e;
    }
    return RuntimeError(0, QStringLiteral("no error raised"));
}

// A test's own world: both settings hives and the plug-in's folder live in a
// temporary folder that disappears with the object. Create one per test
// function (or per test case) before touching any setting.
class TestEnvironment final {
public:
    TestEnvironment();
    ~TestEnvironment();
    TestEnvironment(const TestEnvironment&) = delete;
    TestEnvironment& operator=(const TestEnvironment&) = delete;

    QString folder() const { return m_dir.path(); } // also the plug-in's folder
    QString path(const QString& name) const { return m_dir.filePath(name); }
    QString machineStore() const;
    QString userStore() const;

private:
    QTemporaryDir m_dir;
    QByteArray m_oldMachine, m_oldUser;
};

// Message boxes answered by the test: every request is recorded; answers are
// taken from the queue, or the first button's answer when the queue is empty.
class ScriptedMessageBox final : public msgbox::Service {
public:
    ScriptedMessageBox();
    ~ScriptedMessageBox() override;
    msgbox::Answer show(QWidget* parent, const msgbox::Request& request) override;

    void answerNext(msgbox::Answer answer) { m_answers.enqueue(answer); }
    const QList<msgbox::Request>& shown() const { return m_shown; }
    QStringList texts() const;
    void clear() { m_shown.clear(); }

private:
    QQueue<msgbox::Answer> m_answers;
    QList<msgbox::Request> m_shown;
};

// File dialogs answered by the test with queued names ("" = cancelled).
class ScriptedFileDialog final : public filedialog::Service {
public:
    ScriptedFileDialog();
    ~ScriptedFileDialog() override;
    QString show(QWidget* parent, const filedialog::Request& request) override;

    void answerNext(const QString& fileName) { m_answers.enqueue(fileName); }
    const QList<filedialog::Request>& shown() const { return m_shown; }

private:
    QQueue<QString> m_answers;
    QList<filedialog::Request> m_shown;
};

// The printer dialog answered by the test; a chosen printer prints to a PDF file.
class ScriptedPrintDialog final : public printdialog::Service {
public:
    ScriptedPrintDialog();
    ~ScriptedPrintDialog() override;
    bool exec(QWidget* parent, QPrinter& printer) override;

    bool accept = true;
    QString pdfPath; // where an accepted print goes
    int shownCount = 0;
};

// Every dialog answered by the test, installed in one place: message boxes
// (box), file dialogs (files) and the printer dialog (printer).
struct AnsweredDialogs {
    ScriptedMessageBox box;
    ScriptedFileDialog files;
    ScriptedPrintDialog printer;
};
// A test's own settings (env) with every dialog answered.
struct DialogWorld : AnsweredDialogs {
    TestEnvironment env;
};
