#include "clsFrm_Var_Editor.h"

#include "dlgVarEdit.h"

clsFrm_Var_Editor::clsFrm_Var_Editor(QObject* parent) : QObject(parent) {}

clsFrm_Var_Editor::~clsFrm_Var_Editor() { delete m_form.data(); }

dlgVarEdit& clsFrm_Var_Editor::form()
{
    if (!m_form)
        m_form = new dlgVarEdit;
    return *m_form;
}

void clsFrm_Var_Editor::SetText(const QString& sRTF) { form().SetText(sRTF); }
QString clsFrm_Var_Editor::GetText() { return form().GetText(); }
void clsFrm_Var_Editor::Show(int16_t iMode) { form().Show(iMode); }
void clsFrm_Var_Editor::SetMaxLength(int16_t iLength) { form().SetMaxLength(iLength); }
void clsFrm_Var_Editor::EnableEdit(bool iEnable) { form().EnableEdit(iEnable); }
