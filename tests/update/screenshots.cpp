// Grabs the update and delay dialogs in typical states into PNG files, for
// looking at what users see:  update_screenshots <folder>

#include "dlgUpdateDelay.h"
#include "dlgVariableUpdate.h"
#include "runrig.h"
#include "updaterun.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QPushButton>
#include <QTimer>
#include <QTreeWidget>

namespace {
void save(QWidget& w, const QString& folder, const QString& name)
{
    w.grab().save(QDir(folder).filePath(name));
}

void clickDetails(dlgVariableUpdate& dlg)
{
    dlg.findChild<QPushButton*>(QStringLiteral("cmdDetails"))->click();
    QCoreApplication::processEvents();
}
} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    const QString folder = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QDir::currentPath();
    QDir().mkpath(folder);

    {
        FakeWorld world;
        addDisplays(4);
        FakeDisplays::records[0].name = QStringLiteral("Lobby");
        FakeDisplays::refusedTargets << QStringLiteral("host3");
        FakeDisplays::refusalText = QStringLiteral("no answer from host3:7000 within 2 s");
        dlgVariableUpdate dlg;
        dlg.setVariableSet(world.vars.get());
        dlg.setSelectedVars(textVars(8));
        dlg.setDisplayList(QStringLiteral("1,2,3,4"));
        dlg.setDelayList(QStringLiteral("0,0,0,90"));
        int dataSends = 0;
        bool grabbed = false;
        FakeDisplays::onCall = [&](const QString& call) {
            if (call.startsWith(QStringLiteral("data")) && ++dataSends == 12 && !grabbed) {
                grabbed = true;
                clickDetails(dlg);
                save(dlg, folder, QStringLiteral("update-running.png"));
                clickDetails(dlg);
            }
        };
        QTimer::singleShot(300, &dlg, [&] {
            save(dlg, folder, QStringLiteral("update-hidden.png"));
            clickDetails(dlg);
            save(dlg, folder, QStringLiteral("update-details.png"));
            dlg.done(0);
        });
        dlg.SendAllVarInfo();
    }
    {
        TestEnvironment env;
        dlgUpdateDelay dlg([] { return QStringLiteral("Lobby,Gate 4,Parking North"); });
        dlg.show();
        QCoreApplication::processEvents();
        auto* list = dlg.findChild<QTreeWidget*>(QStringLiteral("lstvDisplayStatus"));
        auto* combo = dlg.findChild<QComboBox*>(QStringLiteral("cbDelay"));
        list->setCurrentItem(list->topLevelItem(1));
        combo->setCurrentIndex(1);
        emit combo->activated(1);
        list->setCurrentItem(list->topLevelItem(2));
        combo->setCurrentIndex(5);
        emit combo->activated(5);
        QCoreApplication::processEvents();
        save(dlg, folder, QStringLiteral("delay-dialog.png"));
    }
    return 0;
}
