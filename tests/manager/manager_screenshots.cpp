// Writes pictures of the variable manager's two pages, the update settings and
// the variable chooser into the folder given as the first argument, for the
// documentation and for looking at the layout:
//   manager_screenshots docs/screenshots

#include "clsVariableAccess.h"
#include "dlgChooseVars.h"
#include "dlgVariables.h"
#include "frmVariableSettings.h"
#include "settingsstore.h"
#include "testenvironment.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QLineEdit>
#include <QPixmap>
#include <QTabWidget>
#include <QTreeWidget>

namespace {
bool save(QWidget& w, const QString& folder, const QString& name)
{
    w.show();
    QApplication::processEvents();
    const QString path = QDir(folder).filePath(name);
    const bool ok = w.grab().save(path);
    qInfo("%s %s", ok ? "wrote" : "FAILED to write", qPrintable(path));
    return ok;
}
} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    if (argc < 2) {
        qWarning("usage: manager_screenshots <folder>");
        return 2;
    }
    const QString folder = QString::fromLocal8Bit(argv[1]);
    QDir().mkpath(folder);
    TestEnvironment env;
    settings::write(settings::kLastUsed, QStringLiteral("1;2;257"));
    bool ok = true;
    {
        dlgVariables manager;
        clsVariableAccess& set = manager.variableSet();
        set.setVariableName(1, QStringLiteral("Lobby Temperature"));
        set.setVariableData(1, QStringLiteral("Outside: 21\u00b0C, light wind"));
        set.setVariableColor(1, QStringLiteral("2"));
        set.setVariableName(257, QStringLiteral("Gas Price"));
        set.setVariableData(257, QStringLiteral("$3.49"));
        set.setVariableColor(257, QStringLiteral("3"));
        set.setVariableBlink(257, QStringLiteral("1"));
        set.setVariableOLELink(257, QStringLiteral("C:\\Prices\\today.xls!Prices!R2C2"));
        set.SaveVariables();
        set.LoadVariables({});
        manager.resize(manager.sizeHint());
        ok &= save(manager, folder, QStringLiteral("manager-text.png"));
        manager.findChild<QTabWidget*>(QStringLiteral("tabVariables"))->setCurrentIndex(1);
        ok &= save(manager, folder, QStringLiteral("manager-cell.png"));

        frmVariableSettings settingsDialog;
        ok &= save(settingsDialog, folder, QStringLiteral("settings.png"));

        dlgChooseVars chooser;
        chooser.setVariableSet(&set);
        ok &= save(chooser, folder, QStringLiteral("chooser.png"));
        manager.reject();
    }
    return ok ? 0 : 1;
}
