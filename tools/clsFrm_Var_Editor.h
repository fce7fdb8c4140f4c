#pragma once

#include "progids.h"

#include <QObject>
#include <QPointer>
#include <QString>

#include <cstdint>

class dlgVarEdit;

// The variable text editor as the host's frame editor and the variable manager
// use it: rich text in, the editor shown modally or not, the text back out. The
// form is created by the first call of any operation and lives as long as the
// object.
class clsFrm_Var_Editor final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(clsFrm_Var_Editor)
public:
    static inline const char* kProgId = progid::kVarEditor;

    explicit clsFrm_Var_Editor(QObject* parent = nullptr);
    ~clsFrm_Var_Editor() override;

    // In the order of the public interface.
    Q_INVOKABLE void SetText(const QString& sRTF);
    Q_INVOKABLE QString GetText();
    // 1: modal, 0: modeless.
    Q_INVOKABLE void Show(int16_t iMode);
    Q_INVOKABLE void SetMaxLength(int16_t iLength);
    Q_INVOKABLE void EnableEdit(bool iEnable);

    // The form, created on first use.
    dlgVarEdit& form();

private:
    QPointer<dlgVarEdit> m_form;
};
