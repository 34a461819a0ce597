#include "app/TasksFileWatcher.h"

#include "store/TaskStore.h"

#include <QFile>
#include <QFileInfo>

TasksFileWatcher::TasksFileWatcher(TaskStore &store, int delayMs, QObject *parent) : QObject(parent), m_store(store)
{
    m_quiet.setSingleShot(true);
    m_quiet.setInterval(delayMs);
    connect(&m_quiet, &QTimer::timeout, this, &TasksFileWatcher::check);
    // The folder too: an atomic save replaces the file, and a watch on the old file ends with it.
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, &m_quiet, qOverload<>(&QTimer::start));
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, &m_quiet, qOverload<>(&QTimer::start));
    watch();
}

void TasksFileWatcher::watch()
{
    const QString file = m_store.saveURL();
    const QString folder = QFileInfo(file).absolutePath();
    if (!m_watcher.directories().contains(folder)) {
        m_watcher.addPath(folder);
    }
    if (QFileInfo::exists(file) && !m_watcher.files().contains(file)) {
        m_watcher.addPath(file);
    }
}

void TasksFileWatcher::check()
{
    watch();
    QFile file(m_store.saveURL());
    // A vanished file is not a change to load: loading reads nothing then.
    if (!file.open(QIODevice::ReadOnly)) {
        return;
    }
    if (file.readAll() == m_store.fileContents()) {
        return;
    }
    m_store.load();
    Q_EMIT reloaded();
}
