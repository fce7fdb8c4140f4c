#pragma once

// The printer dialog, replaceable by tests.

class QPrinter;
class QWidget;

namespace printdialog {

class Service {
public:
    virtual ~Service() = default;
    // Lets the user choose and set up `printer`; false when cancelled.
    virtual bool exec(QWidget* parent, QPrinter& printer) = 0;
};

bool exec(QPrinter& printer, QWidget* parent = nullptr);
void setService(Service* service);

} // namespace printdialog
