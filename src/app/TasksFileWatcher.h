#pragma once

#include <QFileSystemWatcher>
#include <QObject>
#include <QTimer>

class TaskStore;

// Reloads the store when its tasks file is changed behind its back (an editor, a sync tool, a
// moxley tool that could not post its notice). The store's own saves, and changes it has already
// loaded, are recognised by content and cause no reload.
class TasksFileWatcher : public QObject
{
    Q_OBJECT

public:
    // `delayMs`: how long the file must be quiet before it is looked at, so that a burst of
    // writes (or a save's temporary file and rename) makes one reload.
    explicit TasksFileWatcher(TaskStore &store, int delayMs = 250, QObject *parent = nullptr);

Q_SIGNALS:
    // The store was told to load the file again.
    void reloaded();

private:
    void watch();
    void check();

    TaskStore &m_store;
    QFileSystemWatcher m_watcher;
    QTimer m_quiet;
};
