#include "app/MainWindow.h"
#include "app/MoxleyApp.h"
#include "app/Screenshot.h"
#include "platform/AppPresence.h"
#include "platform/UpdateChecker.h"
#include "ui/AppStyle.h"
#include "ui/Icons.h"

#include <QApplication>

#include <cstdio>
#include <cstring>

using namespace Qt::StringLiterals;

namespace {

// --check-updates-from FEED_URL: one update check, its answer printed, no window (so it needs no
// display). It goes through the same module lookup as "Check for Updates…", which is what makes
// it the way to see that an installed or bundled app finds its update module.
int checkUpdatesFrom(int argc, char *argv[], const char *feedUrl)
{
    QCoreApplication app(argc, argv);
    UpdateChecker checker(QUrl(QString::fromLocal8Bit(feedUrl)), QStringLiteral(MOXLEY_VERSION));
    int status = 1;
    QObject::connect(&checker, &UpdateChecker::checkFinished, &app, [&status](const UpdateChecker::Result &result) {
        switch (result.status) {
        case UpdateChecker::Result::Status::newerAvailable:
            std::printf("Moxley %s is available; this is %s.\n", qPrintable(result.release->displayVersion()),
                        qPrintable(result.currentVersion));
            status = 0;
            break;
        case UpdateChecker::Result::Status::upToDate:
            std::printf("Moxley %s is up to date.\n", qPrintable(result.currentVersion));
            status = 0;
            break;
        case UpdateChecker::Result::Status::failed:
            std::fprintf(stderr, "moxley-app: the update check failed: %s\n", qPrintable(result.error));
            break;
        }
        QCoreApplication::quit();
    });
    checker.checkForUpdates();
    app.exec();
    return status;
}

} // namespace

// --show-task ID opens the task's detail (a click on a failed run's alert starts the app so); when
// the app already runs, that one shows it and this one ends.
// Developer options: --screenshot FILE saves the main window as a PNG once it has been painted,
// then quits; --screenshot-menu TITLE opens that menu first; --check-updates-from FEED_URL (above).
int main(int argc, char *argv[])
{
    for (int i = 1; i + 1 < argc; ++i) {
        if (std::strcmp(argv[i], "--check-updates-from") == 0) {
            return checkUpdatesFrom(argc, argv, argv[i + 1]);
        }
    }
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
