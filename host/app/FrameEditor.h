#pragma once

#include <QObject>
#include <QString>

class QPlainTextEdit;

// The host's frame (playfile) editor as plug-ins see it: the object handed to
// StartFrameFeature, called late-bound by name.
class FrameEditor final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(FrameEditor)
    Q_PROPERTY(QString Text READ text WRITE setText)
public:
    explicit FrameEditor(QPlainTextEdit* editor, QObject* parent = nullptr);

    // Appends `text` at the end of the line that holds the cursor and leaves the
    // cursor after it.
    Q_INVOKABLE void addtexttocurrentline(const QString& text);

    QString text() const;
    void setText(const QString& text);

private:
    QPlainTextEdit* m_editor;
};

// The playfile about to be transmitted, as handed to StartPreTransmit.
class Playfile final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Playfile)
    Q_PROPERTY(QString Text READ text)
public:
    explicit Playfile(const QString& text, QObject* parent = nullptr);
    QString text() const { return m_text; }

private:
    QString m_text;
};
