#include "ui/CheckForUpdatesView.h"

#include "ui/UpdaterController.h"

#include <QMenu>

CheckForUpdatesView::CheckForUpdatesView(UpdaterController &updaterController, QObject *parent)
    : QAction(QStringLiteral("Check for Updates\u2026"), parent), m_updaterController(updaterController)
{
    setObjectName(QStringLiteral("check-for-updates"));
    setMenuRole(QAction::ApplicationSpecificRole);
    connect(this, &QAction::triggered, &m_updaterController, [this] { m_updaterController.checkForUpdates(); });
    connect(&m_updaterController, &UpdaterController::canCheckForUpdatesChanged, this, &QAction::setEnabled);
    refresh();
}

void CheckForUpdatesView::followMenu(QMenu *menu)
{
    connect(menu, &QMenu::aboutToShow, this, &CheckForUpdatesView::refresh);
}

void CheckForUpdatesView::refresh()
{
    setEnabled(m_updaterController.canCheckForUpdates());
}
