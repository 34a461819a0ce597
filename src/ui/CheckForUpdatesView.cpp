#include "ui/CheckForUpdatesView.h"

#include "ui/UpdaterController.h"

#include <QMenu>
#include <QTimer>

CheckForUpdatesView::CheckForUpdatesView(UpdaterController &updaterController, QObject *parent)
    : QAction(QStringLiteral("Check for Updates\u2026"), parent), m_updaterController(updaterController)
{
    setObjectName(QStringLiteral("check-for-updates"));
    setMenuRole(QAction::ApplicationSpecificRole);
    connect(this, &QAction::triggered, &m_updaterController, [this] { m_updaterController.checkForUpdates(); });
    connect(&m_updaterController, &UpdaterController::canCheckForUpdatesChanged, this, &QAction::setEnabled);
    // On macOS the item's role moves it to the application menu, whose opening Qt does not
    // report: with an updater that says nothing (Sparkle), the state is read on a timer.
    if (!m_updaterController.announcesChanges()) {
        pollEvery(1000);
    }
    refresh();
}

void CheckForUpdatesView::pollEvery(int milliseconds)
{
    if (!m_poll) {
        m_poll = new QTimer(this);
        connect(m_poll, &QTimer::timeout, this, &CheckForUpdatesView::refresh);
    }
    m_poll->start(milliseconds);
}

void CheckForUpdatesView::followMenu(QMenu *menu)
{
    connect(menu, &QMenu::aboutToShow, this, &CheckForUpdatesView::refresh);
}

void CheckForUpdatesView::refresh()
{
    setEnabled(m_updaterController.canCheckForUpdates());
}
