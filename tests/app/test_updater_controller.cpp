#include "AppWorld.h"
#include "FeedServer.h"

#include "platform/UpdateFetchModule.h"
#include "ui/CheckForUpdatesView.h"
#include "ui/UpdaterController.h"

#include <QFile>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

// Our own updater (no Sparkle here) from "Check for Updates…", against a real HTTP server on the
// loopback address; its answer comes in a dialog.
class UpdaterControllerTest : public QObject
{
    Q_OBJECT

    FeedServer server;
    std::unique_ptr<AppWorld> world;

    QAction *checkItem(MainWindow *window) const
    {
        return menuItem(window, QString::fromUtf8("Check for Updates\xE2\x80\xA6"));
    }
    // The update module is looked for as the app in the build's bin/ looks for it (a test program
    // lives elsewhere).
    MainWindow *openWithFeed(const QUrl &feedUrl)
    {
        MoxleyApp::Options options = world->options();
        options.feedUrl = feedUrl;
        world->start(std::move(options));
        world->app->updaterController().checker()->setModuleFolders(
            UpdateFetchModule::defaultFolders(QStringLiteral(MOXLEY_BIN_DIR)));
        return world->open();
    }
    MainWindow *openWithFeed(const char *path) { return openWithFeed(server.url(path)); }
    // Whether the update module is mapped into this process (Linux).
    static bool updateModuleIsLoaded()
    {
        QFile maps(QStringLiteral("/proc/self/maps"));
        return maps.open(QIODevice::ReadOnly) && maps.readAll().contains(UpdateFetchModule::fileName().toUtf8());
    }
    // Checks from the menu and waits for the dialog to be answered.
    void check(MainWindow *window)
    {
        QSignalSpy ended(&world->app->updaterController(), &UpdaterController::checkEnded);
        checkItem(window)->trigger();
        QVERIFY(ended.wait(20000));
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(server.listen(QHostAddress::LocalHost));
        server.feeds.insert("/newer.xml", FeedServer::feed("0.2.0"));
        server.feeds.insert("/equal.xml", FeedServer::feed("0.1.0"));
        server.feeds.insert("/no-notes.xml", FeedServer::feed("1.0", nullptr));
        server.feeds.insert("/malformed.xml", "<rss><channel><item><title>half");
    }
    void init()
    {
        world = std::make_unique<AppWorld>();
        server.requests = 0;
    }
    void cleanup() { world.reset(); }

    // First, before any check of this process has loaded the module.
    void updateModule_isLoadedByTheFirstCheckOnly()
    {
#ifndef Q_OS_LINUX
        QSKIP("reads /proc/self/maps");
#endif
        MainWindow *window = openWithFeed("/equal.xml");
        QVERIFY(!updateModuleIsLoaded());
        MessageBox::setNextAnswer(u"OK"_s);
        check(window);
        QCOMPARE(alertTitles(), QStringList{u"You're up to date!"_s});
        QVERIFY(updateModuleIsLoaded());
    }

    void ourOwnUpdater_whereThereIsNoSparkle()
    {
        MainWindow *window = openWithFeed("/equal.xml");
        QVERIFY(world->app->updaterController().checker());
        QVERIFY(!world->app->updaterController().usesSparkle());
        QVERIFY(world->app->updaterController().announcesChanges());
        QVERIFY(qobject_cast<CheckForUpdatesView *>(checkItem(window)));
    }

    void newerVersion_isOffered_withItsReleaseNotes()
    {
        MainWindow *window = openWithFeed("/newer.xml");
        MessageBox::setNextAnswer(u"Release Notes"_s);
        check(window);
        QCOMPARE(alertTitles(), QStringList{u"A new version of Moxley is available!"_s});
        const MessageBox::Shown shown = MessageBox::history().last();
        QCOMPARE(shown.style, MessageBox::Style::information);
        QCOMPARE(shown.text, u"Moxley 0.2.0 is now available. You have 0.1.0.\n\n"
                             u"Release notes: https://moxley.example/notes/0.2.0"_s);
        QCOMPARE(shown.buttons, (QStringList{u"Release Notes"_s, u"Later"_s}));
        QCOMPARE(*world->opened, QList<QUrl>{QUrl(u"https://moxley.example/notes/0.2.0"_s)});
        QCOMPARE(server.requests, 1);
    }

    void newerVersion_later_opensNothing()
    {
        MainWindow *window = openWithFeed("/newer.xml");
        MessageBox::setNextAnswer(u"Later"_s);
        check(window);
        QCOMPARE(alertTitles(), QStringList{u"A new version of Moxley is available!"_s});
        QVERIFY(world->opened->isEmpty());
    }

    void newerVersion_withoutNotes_linksTheDownload()
    {
        MainWindow *window = openWithFeed("/no-notes.xml");
        MessageBox::setNextAnswer(u"Release Notes"_s);
        check(window);
        QCOMPARE(MessageBox::history().last().text,
                 u"Moxley 1.0 is now available. You have 0.1.0.\n\nRelease notes: https://moxley.example/Moxley.zip"_s);
        QCOMPARE(*world->opened, QList<QUrl>{QUrl(u"https://moxley.example/Moxley.zip"_s)});
    }

    void sameVersion_isUpToDate()
    {
        MainWindow *window = openWithFeed("/equal.xml");
        MessageBox::setNextAnswer(u"OK"_s);
        check(window);
        QCOMPARE(alertTitles(), QStringList{u"You're up to date!"_s});
        QCOMPARE(MessageBox::history().last().text, u"Moxley 0.1.0 is currently the newest version available."_s);
        QCOMPARE(MessageBox::history().last().buttons, QStringList{u"OK"_s});
        QVERIFY(world->opened->isEmpty());
    }

    void malformedFeed_isAnError()
    {
        MainWindow *window = openWithFeed("/malformed.xml");
        MessageBox::setNextAnswer(u"OK"_s);
        check(window);
        QCOMPARE(alertTitles(), QStringList{u"Update Error"_s});
        const MessageBox::Shown shown = MessageBox::history().last();
        QCOMPARE(shown.style, MessageBox::Style::warning);
        const QString prefix = u"An error occurred in retrieving update information. Please try again later.\n\n"_s;
        QVERIFY2(shown.text.startsWith(prefix + u"The update feed is not valid XML: "_s), qPrintable(shown.text));
    }

    void missingFeed_isAnError()
    {
        MainWindow *window = openWithFeed("/gone.xml");
        MessageBox::setNextAnswer(u"OK"_s);
        check(window);
        QCOMPARE(alertTitles(), QStringList{u"Update Error"_s});
        // QtNetwork's own words for the 404, from the module.
        QVERIFY2(MessageBox::history().last().text.contains(u"server replied"_s),
                 qPrintable(MessageBox::history().last().text));
        QCOMPARE(server.requests, 1);
    }

    void plainHttpFeedElsewhere_isRefused()
    {
        MainWindow *window = openWithFeed(QUrl(u"http://moxley.example/appcast.xml"_s));
        MessageBox::setNextAnswer(u"OK"_s);
        check(window);
        QCOMPARE(alertTitles(), QStringList{u"Update Error"_s});
        QVERIFY(MessageBox::history().last().text.contains(u"https"_s));
        QCOMPARE(server.requests, 0);
    }

    void missingUpdateModule_isAnError_andTheItemStaysEnabled()
    {
        MainWindow *window = openWithFeed("/newer.xml");
        QTemporaryDir empty;
        world->app->updaterController().checker()->setModuleFolders({empty.path()});
        MessageBox::setNextAnswer(u"OK"_s);
        check(window);
        QCOMPARE(alertTitles(), QStringList{u"Update Error"_s});
        const MessageBox::Shown shown = MessageBox::history().last();
        QCOMPARE(shown.style, MessageBox::Style::warning);
        QCOMPARE(shown.text, u"An error occurred in retrieving update information. Please try again later.\n\n"
                             u"The update module could not be loaded: "_s +
                                 UpdateFetchModule::fileName() + u" is in none of these folders: "_s + empty.path() +
                                 u"."_s);
        QCOMPARE(server.requests, 0);
        QVERIFY(checkItem(window)->isEnabled());
        QVERIFY(world->app->updaterController().canCheckForUpdates());
    }

    void serverThatNeverAnswers_disablesTheItemUntilTheTimeOut()
    {
        MainWindow *window = openWithFeed("/silent");
        world->app->updaterController().checker()->setTimeout(1500);
        QAction *item = checkItem(window);
        QVERIFY(item->isEnabled());
        QSignalSpy ended(&world->app->updaterController(), &UpdaterController::checkEnded);
        MessageBox::setNextAnswer(u"OK"_s);
        item->trigger();
        QVERIFY(!item->isEnabled());
        QVERIFY(!world->app->updaterController().canCheckForUpdates());
        // A second request while one runs starts nothing.
        world->app->updaterController().checkForUpdates();
        QTRY_COMPARE(server.requests, 1);
        QVERIFY(ended.wait(20000));
        QCOMPARE(ended.size(), 1);
        QVERIFY(item->isEnabled());
        QCOMPARE(alertTitles(), QStringList{u"Update Error"_s});
        QVERIFY(MessageBox::history().last().text.endsWith(u"The update server did not answer in time."_s));
        QTest::qWait(200);
        QCOMPARE(server.requests, 1);
        QCOMPARE(ended.size(), 1);
    }

    void menuOpening_rereadsWhetherACheckCanStart()
    {
        MainWindow *window = openWithFeed("/equal.xml");
        auto *item = qobject_cast<CheckForUpdatesView *>(checkItem(window));
        item->setEnabled(false);
        QMenu *menu = menuTitled(window->menuBar(), u"Moxley"_s);
        Q_EMIT menu->aboutToShow();
        QVERIFY(item->isEnabled());
    }

    // What the item does on macOS with Sparkle, whose state changes are never announced.
    void silentUpdater_stateIsPolled()
    {
        MainWindow *window = openWithFeed("/silent");
        world->app->updaterController().checker()->setTimeout(1500);
        auto *item = qobject_cast<CheckForUpdatesView *>(checkItem(window));
        item->pollEvery(20);
        MessageBox::setNextAnswer(u"OK"_s);
        {
            const QSignalBlocker quiet(&world->app->updaterController());
            world->app->updaterController().checkForUpdates();
            QVERIFY(item->isEnabled());
            QTRY_VERIFY_WITH_TIMEOUT(!item->isEnabled(), 1000);
        }
        QTRY_VERIFY_WITH_TIMEOUT(world->app->updaterController().canCheckForUpdates(), 20000);
        QTRY_VERIFY(item->isEnabled());
    }

    void appBundleExecutable_isRecognised()
    {
        QVERIFY(UpdaterController::isBundledExecutable(u"/Applications/Moxley.app/Contents/MacOS/moxley-app"_s));
        QVERIFY(UpdaterController::isBundledExecutable(u"/b/bin/Moxley.app/Contents/MacOS/x"_s));
        QVERIFY(!UpdaterController::isBundledExecutable(u"/b/bin/moxley-app"_s));
        QVERIFY(!UpdaterController::isBundledExecutable(u"/b/tests/app/test_updater_controller"_s));
        QVERIFY(!UpdaterController::isBundledExecutable(u"/b/Moxley.app/Contents/Resources/x"_s));
        QVERIFY(!UpdaterController::isBundledExecutable(u"/b/.app/Contents/MacOS/x"_s));
        QVERIFY(!UpdaterController::isBundledExecutable(u"Contents/MacOS/x"_s));
        // Test programs run as plain executables and so never start Sparkle.
        QVERIFY(!UpdaterController::isBundledExecutable(QCoreApplication::applicationFilePath()));
    }
};

QTEST_MAIN(UpdaterControllerTest)
#include "test_updater_controller.moc"
