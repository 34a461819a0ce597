#pragma once

class MoxleyApp;
class QMenuBar;

// The menu bar, in this order: the application's items (About, "Check for Updates…", the alerts
// setting "Notify When a Run Fails", "Install CLI Command..."), "New Task", "Export Tasks…" and "Import Tasks…", and
// Help with "Moxley Support". On macOS the application's items move into the application menu by their menu roles;
// elsewhere they form a "Moxley" menu. There is no View menu, so no toolbar customisation items either.
namespace AppMenus {

void build(QMenuBar *bar, MoxleyApp &app);

} // namespace AppMenus
