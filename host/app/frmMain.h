#pragma once

#include "plugincatalog.h"

#include <QMainWindow>

#include <functional>
#include <memory>
#include <vector>

class FrameEditor;
class QCloseEvent;
class QComboBox;
class QLabel;
class QMenu;
class QPlainTextEdit;
class QPushButton;

// The host's main window: the playfile (frame) editor, the display to send to,
// the plug-ins menu and the transmission log.
class frmMain final : public QMainWindow {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(frmMain)
public:
    explicit frmMain(QWidget* parent = nullptr);
    ~frmMain() override;

    // Registers the component libraries of `folder` and lists the plug-ins.
    void loadPlugins(const QString& folder);
    const QList<plugincatalog::PluginInfo>& plugins() const { return m_plugins; }

    // Fills the display box from the host's "Displays.dat".
    void reloadDisplays();

    // The plug-in object for a ProgID, created on first use and kept.
    QObject* pluginObject(const QString& progId);

    void startPlugin(const QString& progId);
    void startFrameFeature(const QString& progId);
    // Edits the playfile's current line in the variable plug-in's text editor
    // (created by its ProgID); OK puts the edited text back in the line.
    void editCurrentLineText();
    // Sends the playfile to the display chosen in the display box.
    bool transmit();
    void chooseDisplays();
    void showDisplayList();

    // The playfile's file commands. Each that would drop unsaved changes asks first.
    void newPlayfile();
    bool openPlayfile(const QString& path = {}); // asks for the file when none is given
    bool savePlayfile();
    bool savePlayfileAs(const QString& path = {});
    // Asks whether to save unsaved changes; false when the operator cancels.
    bool maySetPlayfileAside();
    QString playfilePath() const { return m_playfilePath; }

    FrameEditor* frameEditor() const { return m_frameEditor; }
    // `modified` false: the text is where the window starts (nothing to save yet).
    void setPlayfileText(const QString& text, bool modified = true);
    void log(const QString& line);

    // Makes the window fit the screen it is on, and centres it there when it
    // is partly off it.
    void fitOnScreen();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void buildMenus();
    void rebuildPluginMenus();
    // Runs `work`; an error shows "prefix description" in a message box and in the log.
    bool guarded(const QString& prefix, const std::function<void()>& work);
    bool writePlayfile(const QString& path);
    void updateTitle();

    QPlainTextEdit* m_playfile;
    QPlainTextEdit* m_log;
    QComboBox* m_display;
    QPushButton* m_transmit;
    QLabel* m_status;
    QMenu* m_pluginMenu = nullptr;
    QMenu* m_frameMenu = nullptr;
    FrameEditor* m_frameEditor;
    QString m_playfilePath;
    QList<plugincatalog::PluginInfo> m_plugins;
    std::vector<std::pair<QString, std::unique_ptr<QObject>>> m_pluginObjects;
    std::unique_ptr<QObject> m_control; // the host's zolDispTrans
};
