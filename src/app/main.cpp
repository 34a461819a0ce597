#include "app/MainWindow.h"
#include "app/MoxleyApp.h"
#include "app/Screenshot.h"
#include "platform/AppPresence.h"
#include "ui/AppStyle.h"
#include "ui/Icons.h"

#include <QApplication>

using namespace Qt::StringLiterals;

// --show-task ID opens the task's detail (a click on a failed run's alert starts the app so); when
// the app already runs, that one shows it and this one ends.
// Developer options: --screenshot FILE saves the main window as a PNG once it has been painted,
// then quits; --screenshot-menu TITLE opens that menu first.
int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
#ifndef Q_OS_MACOS
    // Not on macOS: widgets there treat the native style specially, which a proxy hides.
    QApplication::setStyle(new AppStyle);
#endif
    QApplication::setApplicationName(QStringLiteral("Moxley"));
    QApplication::setApplicationVersion(QStringLiteral(MOXLEY_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("com.moxley.Moxley"));
    QApplication::setWindowIcon(Icons::appIcon());

    const QStringList arguments = QApplication::arguments();
    const qsizetype showTaskAt = arguments.indexOf(u"--show-task"_s);
    const QUuid shownTask = showTaskAt > 0 ? QUuid::fromString(arguments.value(showTaskAt + 1)) : QUuid();
    if (!shownTask.isNull() && AppPresence::askToShow(shownTask)) {
        return 0;
    }
    MoxleyApp::Options options = MoxleyApp::defaultOptions(arguments);
    // The window paints before the stray-job sweep and the script refresh.
    options.store.deferStartUpJobs = true;
    options.supportUrl = QUrl(QStringLiteral(MOXLEY_SUPPORT_URL));
    options.feedUrl = QUrl(QStringLiteral(MOXLEY_APPCAST_URL));
    MoxleyApp moxley(std::move(options));
    MainWindow *window = moxley.showMainWindow();
    if (!shownTask.isNull()) {
        moxley.showTask(shownTask);
    }

    const qsizetype screenshotAt = arguments.indexOf(u"--screenshot"_s);
    if (screenshotAt > 0 && screenshotAt + 1 < arguments.size()) {
        const qsizetype menuAt = arguments.indexOf(u"--screenshot-menu"_s);
        const QString menu = menuAt > 0 ? arguments.value(menuAt + 1) : QString();
        Screenshot::takeAndQuit(window, arguments.at(screenshotAt + 1), menu);
    }
    return app.exec();
}
