#pragma once

#include <QDialog>

// The about box: product, maker, web site and phone number from privatelabel.h.
class frmAbout final : public QDialog {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(frmAbout)
public:
    explicit frmAbout(QWidget* parent = nullptr);
};
