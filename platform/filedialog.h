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

// "Log Files (*.doc)|*.doc" -> "Log Files (*.doc) (*.doc)" style Qt filter.
QString toQtFilter(const QString& filter);

void setService(Service* service);

} // namespace filedialog
