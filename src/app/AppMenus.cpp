#include "app/AppMenus.h"

#include "app/ExportImportCommands.h"
#include "app/MoxleyApp.h"
#include "platform/AppSettings.h"
#include "ui/CheckForUpdatesView.h"

#include <QAction>
#include <QMenu>
#include <QMenuBar>

namespace {

QAction *addItem(QMenu *menu, const QString &text, const QString &name, QAction::MenuRole role = QAction::NoRole)
{
    QAction *action = menu->addAction(text);
    action->setObjectName(name);
    action->setMenuRole(role);
    return action;
}

// The setting that turns alerts of failed runs on and off, read afresh each time the menu opens
// (the file is shared with the moxley tool).
void addAlertsSetting(QMenu *menu)
{
    QAction *alerts = addItem(menu, QStringLiteral("Notify When a Run Fails"), QStringLiteral("alerts-setting"),
                              QAction::ApplicationSpecificRole);
    alerts->setCheckable(true);
    alerts->setChecked(AppSettings::alertsEnabled());
    QObject::connect(menu, &QMenu::aboutToShow, alerts, [alerts] { alerts->setChecked(AppSettings::alertsEnabled()); });
    QObject::connect(alerts, &QAction::toggled, alerts, [](bool on) {
        if (on != AppSettings::alertsEnabled()) {
            AppSettings::setAlertsEnabled(on);
        }
    });
}

// About, "Check for Updates…", "Notify When a Run Fails", a separator, "Install CLI Command...",
// then Quit.
void addApplicationItems(QMenu *menu, MoxleyApp &app, bool separators)
{
    QObject::connect(addItem(menu, QStringLiteral("About Moxley"), QStringLiteral("about"), QAction::AboutRole),
                     &QAction::triggered, &app, &MoxleyApp::showAbout);
    auto *checkForUpdates = new CheckForUpdatesView(app.updaterController(), menu);
    checkForUpdates->followMenu(menu);
    menu->addAction(checkForUpdates);
    addAlertsSetting(menu);
    if (separators) {
        menu->addSeparator();
    }
    QObject::connect(addItem(menu, QStringLiteral("Install CLI Command..."), QStringLiteral("install-cli"),
                             QAction::ApplicationSpecificRole),
                     &QAction::triggered, &app, &MoxleyApp::installCliCommand);
    if (separators) {
        menu->addSeparator();
    }
    QAction *quit = addItem(menu, QStringLiteral("Quit Moxley"), QStringLiteral("quit"), QAction::QuitRole);
    quit->setShortcut(QKeySequence::Quit);
    QObject::connect(quit, &QAction::triggered, &app, &MoxleyApp::quit);
}

} // namespace

void AppMenus::build(QMenuBar *bar, MoxleyApp &app)
{
#ifndef Q_OS_MACOS
    QMenu *appMenu = bar->addMenu(QStringLiteral("Moxley"));
    appMenu->setObjectName(QStringLiteral("menu-moxley"));
    addApplicationItems(appMenu, app, true);
#endif

    QMenu *fileMenu = bar->addMenu(QStringLiteral("File"));
    fileMenu->setObjectName(QStringLiteral("menu-file"));
    QAction *newTask = addItem(fileMenu, QStringLiteral("New Task"), QStringLiteral("new-task"));
    // Ctrl+N; Qt shows and handles it as Command-N on macOS.
    newTask->setShortcut(QKeySequence::New);
    QObject::connect(newTask, &QAction::triggered, &app, &MoxleyApp::newTask);
    fileMenu->addSeparator();
    app.exportImportCommands().addTo(fileMenu);
#ifdef Q_OS_MACOS
    // Qt moves these into the application menu by their roles, in this order, after About.
    addApplicationItems(fileMenu, app, false);
#endif

    QMenu *helpMenu = bar->addMenu(QStringLiteral("Help"));
    helpMenu->setObjectName(QStringLiteral("menu-help"));
    QObject::connect(addItem(helpMenu, QStringLiteral("Moxley Support"), QStringLiteral("support")),
                     &QAction::triggered, &app, &MoxleyApp::openSupportPage);
}
