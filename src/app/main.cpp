#include "app/MainWindow.h"
#include "app/MoxleyApp.h"
#include "ui/Icons.h"

#include <QApplication>
#include <QTimer>

// --screenshot FILE (for developers): saves the main window as a picture once it has been
// shown and painted, then quits.
int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Moxley"));
    QApplication::setApplicationVersion(QStringLiteral(MOXLEY_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("com.moxley.Moxley"));
    QApplication::setWindowIcon(Icons::appIcon());

    const QStringList arguments = QApplication::arguments();
    MoxleyApp::Options options = MoxleyApp::defaultOptions(arguments);
    options.supportUrl = QUrl(QStringLiteral(MOXLEY_SUPPORT_URL));
    options.feedUrl = QUrl(QStringLiteral(MOXLEY_APPCAST_URL));
    MoxleyApp moxley(std::move(options));
    MainWindow *window = moxley.showMainWindow();

    const qsizetype screenshotAt = arguments.indexOf(u"--screenshot"_qs);
    if (screenshotAt > 0 && screenshotAt + 1 < arguments.size()) {
        const QString file = arguments.at(screenshotAt + 1);
        QTimer::singleShot(1500, window, [window, file] {
            const bool saved = window->grab().save(file);
            QCoreApplication::exit(saved ? 0 : 1);
        });
    }
    return app.exec();
}
