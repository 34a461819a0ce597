#pragma once

#include <QAction>

class QMenu;
class QTimer;
class UpdaterController;

// The "Check for Updates…" menu item. It is disabled whenever the updater cannot start a check
// (one is already under way); the state is read again each time its menu opens and, with Sparkle
// (which does not tell us when it changes), on a timer too.
class CheckForUpdatesView : public QAction
{
    Q_OBJECT

public:
    CheckForUpdatesView(UpdaterController &updaterController, QObject *parent = nullptr);

    // Re-reads the updater's state whenever `menu` is about to show.
    void followMenu(QMenu *menu);
    void refresh();
    // Re-reads the updater's state every `milliseconds`.
    void pollEvery(int milliseconds);

private:
    UpdaterController &m_updaterController;
    QTimer *m_poll = nullptr;
};
