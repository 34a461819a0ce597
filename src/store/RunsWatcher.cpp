#include "store/RunsWatcher.h"

#include "store/RunHistory.h"

#include <QFileInfo>
#include <QHash>
#include <QSet>

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
    // Sets, and each folder looked up once: the runs files of a thousand tasks share a folder or
    // two, and lists searched for every file made this a million string comparisons.
    QStringList wanted;
    QSet<QString> wantedSet;
    const auto want = [&](const QString &path) {
        if (!wantedSet.contains(path)) {
            wantedSet.insert(path);
            wanted << path;
        }
    };
    QHash<QString, QString> nearestFolder; // a runs file's folder: the nearest existing one at or above it
    for (const Seen &seen : std::as_const(m_seen)) {
        const QFileInfo info(seen.path);
        // The folder tells of a runs file that appears (or, while it is missing, the nearest
        // folder above it of the folder's coming); the file of the lines appended to it.
        const QString parent = info.absolutePath();
        auto folder = nearestFolder.constFind(parent);
        if (folder == nearestFolder.cend()) {
            QString found = parent;
            while (!QFileInfo(found).isDir() && found.size() > 1) {
                found = QFileInfo(found).absolutePath();
            }
            folder = nearestFolder.insert(parent, QFileInfo(found).isDir() ? found : QString());
        }
        if (!folder->isEmpty()) {
            want(*folder);
        }
        if (info.exists()) {
            want(info.absoluteFilePath());
        }
    }
    const QStringList watchedList = m_watcher.files() + m_watcher.directories();
    const QSet<QString> watched(watchedList.cbegin(), watchedList.cend());
    QStringList gone;
    for (const QString &path : watchedList) {
        if (!wantedSet.contains(path)) {
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
