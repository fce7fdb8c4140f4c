#pragma once

#include <QDialog>
#include <QString>
#include <QTextEdit>

class QPushButton;

namespace tools {

// The rich-text box of the variable text editor: a single line of text of at
// most maxLength() characters (0: no limit). Keys that end a line insert
// nothing, and pasted text loses its line breaks and what goes over the limit.
class VarTextBox final : public QTextEdit {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VarTextBox)
public:
    explicit VarTextBox(QWidget* parent = nullptr);

    void setMaxLength(int length) { m_maxLength = length; }
    int maxLength() const { return m_maxLength; }

protected:
    void keyPressEvent(QKeyEvent* event) override;
    bool canInsertFromMimeData(const QMimeData* source) const override;
    void insertFromMimeData(const QMimeData* source) override;

private:
    // How many characters may still be inserted in place of the selection.
    int room() const;

    int m_maxLength = 0;
};

} // namespace tools

// The variable text editor, "Variable Viewer": variable text shown as an LED
// display shows it (a fixed-pitch font, red where the text gives no colour),
// on one line. OK gives back the plain text, Cancel the rich text exactly as it
// was given; before either, the result is empty.
class dlgVarEdit final : public QDialog {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(dlgVarEdit)
public:
    static constexpr quint32 kRed = 0xFF0000; // the LED's own colour, RGB value 255 on the platform
    static constexpr double kPointSize = 14;

    explicit dlgVarEdit(QWidget* parent = nullptr);

    // Shows `sRTF` (rich text, or plain text), black turned red character by
    // character, in the editor's font; remembers it as the given text.
    void SetText(const QString& sRTF);
    QString GetText() const { return m_result; }
    void SetMaxLength(int length);
    // False: the text cannot be changed (the box is read-only).
    void EnableEdit(bool enable);
    // 1: modal, comes back when the form closes; 0: modeless.
    void Show(int mode);

    tools::VarTextBox* textBox() const { return m_box; }

    // "Terminal" where it is installed; elsewhere the platform's general
    // fixed-pitch font (QFontDatabase::FixedFont, "DejaVu Sans Mono" or
    // "Monospace" on most Linux systems).
    static QString fontFamily();

protected:
    void showEvent(QShowEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void centreOnScreen();

    tools::VarTextBox* m_box;
    QString m_given;
    QString m_result;
    bool m_centred = false;
};
