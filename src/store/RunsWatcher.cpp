#include "store/RunsWatcher.h"

#include "store/RunHistory.h"

#include <QFileInfo>

namespace {

bool isLater(const TaskRunRecord &run, const std::optional<TaskRunRecord> &seen)
{
    if (!seen) {
        return true;
    }
    return run.endedAt > seen->endedAt || (run.endedAt == seen->endedAt && run.startedAt > seen->startedAt);
}

} // namespace

RunsWatcher::RunsWatcher(int quietMs, int pollMs, QObject *parent) : QObject(parent)
{
    m_quiet.setSingleShot(true);
    m_quiet.setInterval(quietMs);
    connect(&m_quiet, &QTimer::timeout, this, &RunsWatcher::check);
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, &m_quiet, qOverload<>(&QTimer::start));
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, &m_quiet, qOverload<>(&QTimer::start));
    m_poll.setInterval(pollMs);
    connect(&m_poll, &QTimer::timeout, this, &RunsWatcher::check);
    m_poll.start();
}

void RunsWatcher::setFiles(const QHash<QUuid, QString> &runsPaths)
{
    QHash<QUuid, Seen> seen;
    for (auto it = runsPaths.cbegin(); it != runsPaths.cend(); ++it) {
        const auto known = m_seen.constFind(it.key());
        if (known != m_seen.cend() && known->path == it.value()) {
            seen.insert(it.key(), *known);
            continue;
        }
        seen.insert(it.key(),
                    {it.value(), RunHistoryDetail::BlockFile::identityOf(it.value()), RunHistory::lastRun(it.value())});
    }
    m_seen = std::move(seen);
    watch();
}

void RunsWatcher::watch()
{
    QStringList wanted;
    for (const Seen &seen : std::as_const(m_seen)) {
        const QFileInfo info(seen.path);
        // The folder tells of a runs file that appears (or, while it is missing, the nearest
        // folder above it of the folder's coming); the file of the lines appended to it.
        QString folder = info.absolutePath();
        while (!QFileInfo(folder).isDir() && folder.size() > 1) {
            folder = QFileInfo(folder).absolutePath();
        }
        if (QFileInfo(folder).isDir() && !wanted.contains(folder)) {
            wanted << folder;
        }
        if (info.exists()) {
            wanted << info.absoluteFilePath();
        }
    }
    const QStringList watched = m_watcher.files() + m_watcher.directories();
    QStringList gone;
    for (const QString &path : watched) {
        if (!wanted.contains(path)) {
            gone << path;
        }
    }
    if (!gone.isEmpty()) {
        m_watcher.removePaths(gone);
    }
    QStringList added;
    for (const QString &path : std::as_const(wanted)) {
        if (!watched.contains(path)) {
            added << path;
        }
    }
    if (!added.isEmpty()) {
        m_watcher.addPaths(added);
    }
}

void RunsWatcher::check()
{
    QList<QPair<QUuid, TaskRunRecord>> finished;
    for (auto it = m_seen.begin(); it != m_seen.end(); ++it) {
        const auto identity = RunHistoryDetail::BlockFile::identityOf(it->path);
        if (identity == it->identity) {
            continue;
        }
        it->identity = identity;
        const auto last = RunHistory::lastRun(it->path);
        if (last && isLater(*last, it->last)) {
            finished.append({it.key(), *last});
        }
        if (last) {
            it->last = last;
        }
    }
    watch();
    // Told after the bookkeeping, so that a receiver may call back in.
    for (const auto &[id, run] : std::as_const(finished)) {
        Q_EMIT runFinished(id, run);
    }
}
