#pragma once

#include "Sandbox.h"
#include "StandInTool.h"
#include "app/MainWindow.h"
#include "app/MoxleyApp.h"
#include "launchd/PmsetService.h"
#include "model/TaskMigration.h"
#include "ui/ContentView.h"
#include "ui/MessageBox.h"

#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QMenuBar>
#include <QtTest>

#include <memory>

using namespace Qt::StringLiterals;

// A sandbox with stand-in launchctl and pmset, and the whole application over it: the real store,
// updater, menus and main window. Web addresses it opens are recorded, not opened.
class AppWorld
{
public:
    AppWorld() : launchctl(sandbox, QStringLiteral("/bin/launchctl")), pmset(sandbox, QStringLiteral("/usr/bin/pmset"))
    {
        MessageBox::clearHistory();
        MessageBox::clearPendingAnswers();
        // A test closes the window and goes on; the process must not start quitting.
        QApplication::setQuitOnLastWindowClosed(false);
    }
    ~AppWorld()
    {
        app.reset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        MessageBox::clearPendingAnswers();
    }

    // The program's own settings for these arguments, pointed at the sandbox (whose HOME the
    // defaults already follow), without the session bus and without the file watcher.
    MoxleyApp::Options options(const QStringList &arguments = {u"moxley-app"_s}) const
    {
        MoxleyApp::Options options = MoxleyApp::defaultOptions(arguments);
        options.store.pmsetService = std::make_shared<PmsetService>(
            [] { return QDateTime(QDate(2025, 3, 5), QTime(14, 30), QTimeZone::utc()); });
        options.store.changeNotice = nullptr;
        options.version = u"0.1.0"_s;
        options.supportUrl = QUrl(u"https://moxley.example/support"_s);
        options.feedUrl = QUrl(u"https://moxley.example/appcast.xml"_s);
        options.cliToolPath = sandbox.root() % u"/app/moxley";
        options.fileWatchDelayMs = -1;
        options.alerts = false;
        options.urlOpener = [opened = opened](const QUrl &url) { opened->append(url); };
        return options;
    }

    MoxleyApp &start(MoxleyApp::Options options)
    {
        app = std::make_unique<MoxleyApp>(std::move(options));
        return *app;
    }
    MoxleyApp &start() { return start(options()); }

    // Starts the app and shows its window, active, as a user would see it.
    MainWindow *open()
    {
        if (!app) {
            start();
        }
        MainWindow *window = app->showMainWindow();
        window->activateWindow();
        if (!QTest::qWaitForWindowActive(window)) {
            qWarning("main window never became active");
        }
        return window;
    }

    void writeTasks(const QList<ScheduledTask> &tasks) const { sandbox.writeTasksFile(TaskMigration::encode(tasks)); }

    static ScheduledTask task(const QString &name, bool enabled = false, const QString &command = u"true"_s)
    {
        ScheduledTask task;
        task.id = QUuid::createUuid();
        task.name = name;
        task.command = command;
        task.schedule = TaskSchedule::daily({{9, 0}});
        task.isEnabled = enabled;
        return task;
    }

    Sandbox sandbox;
    StandInTool launchctl;
    StandInTool pmset;
    std::shared_ptr<QList<QUrl>> opened = std::make_shared<QList<QUrl>>();
    std::unique_ptr<MoxleyApp> app;
};

// The menu of the bar with this title.
inline QMenu *menuTitled(QMenuBar *bar, const QString &title)
{
    for (QAction *action : bar->actions()) {
        if (action->menu() && action->text() == title) {
            return action->menu();
        }
    }
    return nullptr;
}

// The item with this text anywhere in the window's menus.
inline QAction *menuItem(QMainWindow *window, const QString &text)
{
    for (QAction *top : window->menuBar()->actions()) {
        if (!top->menu()) {
            continue;
        }
        for (QAction *action : top->menu()->actions()) {
            if (action->text() == text) {
                return action;
            }
        }
    }
    return nullptr;
}

// A menu's items as texts, a separator as "---".
inline QStringList itemTexts(QMenu *menu)
{
    QStringList texts;
    for (QAction *action : menu->actions()) {
        texts << (action->isSeparator() ? u"---"_s : action->text());
    }
    return texts;
}

inline QStringList alertTitles()
{
    QStringList titles;
    for (const MessageBox::Shown &shown : MessageBox::history()) {
        titles << shown.title;
    }
    return titles;
}
