#pragma once

#include "model/ScheduledTask.h"
#include "store/RunsFileReader.h"

#include <QFileSystemWatcher>
#include <QHash>
#include <QObject>
#include <QTimer>
#include <QUuid>

#include <optional>

// Tells of the runs that finish while it watches: a new last line in a task's runs file. The files
// and their folders are watched; a slow poll besides catches what a watch can miss (a file
// replaced, a folder that did not exist yet).
class RunsWatcher : public QObject
{
    Q_OBJECT

public:
    // `quietMs`: how long after a change the files are looked at; `pollMs`: the poll's period.
    explicit RunsWatcher(int quietMs = 200, int pollMs = 30000, QObject *parent = nullptr);

    // The runs files to follow, by task. The last run a file holds when it is first given counts
    // as seen; a file given again keeps what was seen of it.
    void setFiles(const QHash<QUuid, QString> &runsPaths);

public Q_SLOTS:
    // Looks at every file now.
    void check();

Q_SIGNALS:
    void runFinished(const QUuid &taskId, const TaskRunRecord &run);

private:
    struct Seen {
        QString path;
        RunHistoryDetail::BlockFile::Identity identity;
        std::optional<TaskRunRecord> last;
    };
    void watch();

    QHash<QUuid, Seen> m_seen;
    QFileSystemWatcher m_watcher;
    QTimer m_quiet;
    QTimer m_poll;
};
