#include "app/Screenshot.h"

#include <QCoreApplication>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QPainter>
#include <QTimer>

namespace {

QMenu *menuTitled(QMenuBar *bar, const QString &title)
{
    for (QAction *action : bar->actions()) {
        if (action->menu() && action->text() == title) {
            return action->menu();
        }
    }
    return nullptr;
}

void saveAndQuit(QMainWindow *window, const QString &file, QMenu *menu)
{
    QPixmap picture = window->grab();
    if (menu && menu->isVisible()) {
        // The open menu is a window of its own: painted onto the picture where it stands.
        QPainter painter(&picture);
        painter.drawPixmap(window->mapFromGlobal(menu->pos()), menu->grab());
    }
    QCoreApplication::exit(picture.save(file) ? 0 : 1);
}

} // namespace

void Screenshot::takeAndQuit(QMainWindow *window, const QString &file, const QString &menuTitle)
{
    // Long enough for the first paint and the system-job scan on a slow machine.
    QTimer::singleShot(1500, window, [window, file, menuTitle] {
        QMenu *menu = menuTitle.isEmpty() ? nullptr : menuTitled(window->menuBar(), menuTitle);
        if (!menu) {
            saveAndQuit(window, file, nullptr);
            return;
        }
        QMenuBar *bar = window->menuBar();
        menu->popup(bar->mapToGlobal(bar->actionGeometry(menu->menuAction()).bottomLeft()));
        QTimer::singleShot(500, window, [window, file, menu] { saveAndQuit(window, file, menu); });
    });
}
