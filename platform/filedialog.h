#pragma once

// Open and save file dialogs, replaceable by tests. Filters are written as the
// original did: "Description|*.ext" pairs joined by "|".

#include <QString>

class QWidget;

namespace filedialog {

struct Request {
    enum Kind { Open, Save } kind = Open;
    QString title;
    QString fileName; // proposed name
    QString filter;   // "Log Files (*.doc)|*.doc"
    QString initialDir;
    // An open dialog takes only existing files unless this is false.
    bool mustExist = true;
};

class Service {
public:
    virtual ~Service() = default;
    virtual QString show(QWidget* parent, const Request& request) = 0; // "" when cancelled
};

QString getOpenFileName(const QString& title, const QString& filter, const QString& initialDir = {},
                        const QString& fileName = {}, QWidget* parent = nullptr);
// Does not ask about overwriting: callers that must ask do so themselves.
QString getSaveFileName(const QString& title, const QString& filter, const QString& initialDir = {},
                        const QString& fileName = {}, QWidget* parent = nullptr);

// Any request, as it is.
QString choose(const Request& request, QWidget* parent = nullptr);

// "Logs|*.doc;*.rtf" -> "Logs (*.doc *.rtf)", Qt's form; a description that
// already names its patterns ("Log Files (*.doc)|*.doc") is kept as it is.
QString toQtFilter(const QString& filter);
// Where the dialog starts: the folder asked for, else the user's documents
// folder for a save (not the program's working folder).
QString initialFolder(const Request& request);

void setService(Service* service);

} // namespace filedialog
