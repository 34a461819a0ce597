#pragma once

#include <QString>

class QMainWindow;

// For developers and the README's pictures: saves the window as a PNG once it has been shown and
// painted, optionally with one of its menus open, then quits (exit status 1 if it could not save).
namespace Screenshot {

void takeAndQuit(QMainWindow *window, const QString &file, const QString &menuTitle = {});

} // namespace Screenshot
