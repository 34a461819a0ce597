// Keeping the per-user jobs in step with the task list: install, uninstall, and the sweep of
// jobs and scripts whose task is gone.
#include "launchd/LaunchdService.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

const QString kLabelPrefix = QStringLiteral("com.moxley.task.");

// Deletions never fail loudly: a file already gone is what was wanted.
void removeItem(const QString &path)
{
    const QFileInfo info(path);
    if (info.isDir() && !info.isSymLink()) {
        QDir(path).removeRecursively();
    } else {
        QFile::remove(path);
    }
}

std::optional<QStringList> entriesOf(const QString &folder)
{
    const QDir dir(folder);
    if (!dir.exists()) {
        return std::nullopt;
    }
    return dir.entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

} // namespace

std::optional<JobControlError> LaunchdService::install(const ScheduledTask &task) const
{
    if (auto failure = writeScript(task)) {
        return JobControlError::installFailed(*failure);
    }

    const QString plist = plistPath(task);
    // launchd rereads a definition only when the old job is taken down first.
    if (QFileInfo::exists(plist)) {
        runJobControl({QStringLiteral("unload"), plist});
    }
    if (auto failure = savePlist(task)) {
        return failure;
    }
    return runJobControl({QStringLiteral("load"), plist});
}

std::optional<JobControlError> LaunchdService::writeJobFiles(const ScheduledTask &task, bool &replaced) const
{
    // The batch brings its files to disk once, at its end.
    if (auto failure = writeScript(task, GeneratedFile::Sync::later)) {
        return JobControlError::installFailed(*failure);
    }
    replaced = QFileInfo::exists(plistPath(task));
    return savePlist(task, GeneratedFile::Sync::later);
}

std::optional<JobControlError> LaunchdService::savePlist(const ScheduledTask &task, GeneratedFile::Sync sync) const
{
    // launchd cannot open missing log folders; should this fail, the job is still written.
    QDir().mkpath(m_logDir);
    QDir().mkpath(m_launchAgentsDir);
    if (auto failure = GeneratedFile::write(plistPath(task), plistText(task).toUtf8(), sync)) {
        return JobControlError::installFailed(*failure);
    }
    return std::nullopt;
}

std::optional<JobControlError> LaunchdService::uninstall(const ScheduledTask &task) const
{
    const QString plist = plistPath(task);
    auto result = runJobControl({QStringLiteral("unload"), plist});
    // The runs file and the logs stay: a re-enabled task continues its history.
    removeItem(plist);
    removeItem(scriptPath(task));
    removeItem(legacyScriptPath(task.id));
    return result;
}

void LaunchdService::removeOrphans(const QSet<QUuid> &keptIds) const
{
    if (const auto entries = entriesOf(m_launchAgentsDir)) {
        for (const QString &name : *entries) {
            if (!name.startsWith(kLabelPrefix)) {
                continue; // other programs' jobs are none of our business
            }
            QString rest = name.mid(kLabelPrefix.size());
            rest.remove(QStringLiteral(".plist"));
            const auto id = ScheduledTask::parseId(rest);
            if (!id || keptIds.contains(*id)) {
                continue;
            }
            const QString path = m_launchAgentsDir % u'/' % name;
            runJobControl({QStringLiteral("unload"), path});
            removeItem(path);
        }
    }
    removeOrphanScripts(keptIds);
}

void LaunchdService::removeOrphanScripts(const QSet<QUuid> &keptIds) const
{
    const auto scripts = entriesOf(m_scriptsDir);
    if (!scripts) {
        return;
    }
    QSet<QString> keptScripts;
    for (const QUuid &id : keptIds) {
        keptScripts.insert(u"Moxley_" % ScheduledTask::shortId(id));
    }
    // Scripts named by the full id come from an older naming scheme and always go.
    for (const QString &name : *scripts) {
        const qsizetype dot = name.lastIndexOf(u'.');
        if (dot <= 0 || QStringView(name).mid(dot + 1) != u"sh") {
            continue;
        }
        if (!keptScripts.contains(name.left(dot))) {
            removeItem(m_scriptsDir % u'/' % name);
        }
    }
}
