#pragma once

#include "app/MainWindow.h"
#include "store/TaskStore.h"

#include <QObject>
#include <QPointer>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>

class AppPresence;
class ExportImportCommands;
class FailureAlerts;
class StartUpJobs;
class QMenuBar;
class TasksFileWatcher;
class UpdaterController;

// The desktop program: one task store and one updater for the whole run, the single main window,
// the menus and the application's own commands.
class MoxleyApp : public QObject
{
    Q_OBJECT

public:
    struct Options {
        TaskStore::Options store;
        QUrl feedUrl;        // the appcast
        QString version;     // this program's version, compared with the feed's
        QUrl supportUrl;     // "Moxley Support"
        QString cliToolPath; // the moxley tool "Install CLI Command..." links to
        // How web addresses open; the default browser when empty.
        std::function<void(const QUrl &)> urlOpener;
        // Quiet time before a changed tasks file is looked at; negative: no file watching.
        int fileWatchDelayMs = 250;
        // An unknown MOXLEY_SCHEDULER, shown in the Error alert once the window is up (the
        // platform's default scheduler is used meanwhile).
        std::optional<QString> schedulerError;
        // Alerts of failed runs (FailureAlerts), and the app's name on the session bus
        // (AppPresence) that tells the alert command an app posts them.
        bool alerts = true;
    };
    // The program's settings for these process arguments ("--reset-tasks" among them).
    static Options defaultOptions(const QStringList &arguments);

    explicit MoxleyApp(Options options, QObject *parent = nullptr);
    ~MoxleyApp() override;

    TaskStore &taskStore() const { return *m_store; }
    UpdaterController &updaterController() const { return *m_updater; }
    ExportImportCommands &exportImportCommands() const { return *m_exportImport; }
    TasksFileWatcher *fileWatcher() const { return m_watcher.get(); }
    // With alerts on: from the start, or with the store's deferStartUpJobs from the main window's
    // first paint on (null until then).
    FailureAlerts *failureAlerts() const { return m_alerts.get(); }
    const Options &options() const { return m_options; }

    // The main window while one is open.
    MainWindow *mainWindow() const { return m_window; }
    // Opens the main window, or raises the one that is open.
    MainWindow *showMainWindow();
    // With the store's deferStartUpJobs: the work left for after the first window's first paint.
    StartUpJobs *startUpJobs() const { return m_startUpJobs.get(); }
    // The main window with the task's detail (what a click on an alert, or --show-task, asks for).
    void showTask(const QUuid &id);
    // Whether this app holds its name on the session bus.
    bool isPresentOnBus() const;

public Q_SLOTS:
    // "New Task": asks the main window for its add sheet; with no window nothing happens.
    void newTask();
    void installCliCommand();
    void openSupportPage();
    void showAbout();
    void quit();

Q_SIGNALS:
    // The in-process "addNewTask" notice. The main window is its only observer.
    void addNewTask();

private:
    void openUrl(const QUrl &url) const;
    void startAlerts();

    Options m_options;
    std::unique_ptr<TaskStore> m_store;
    std::unique_ptr<UpdaterController> m_updater;
    std::unique_ptr<TasksFileWatcher> m_watcher;
    std::unique_ptr<ExportImportCommands> m_exportImport;
    std::unique_ptr<AppPresence> m_presence;
    std::unique_ptr<FailureAlerts> m_alerts;
    // macOS: one menu bar for the whole program, there even with no window open.
    std::unique_ptr<QMenuBar> m_globalMenuBar;
    QPointer<MainWindow> m_window;
    // Declared last: it goes before the store it works on.
    std::unique_ptr<StartUpJobs> m_startUpJobs;
};
