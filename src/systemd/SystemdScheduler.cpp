#include "systemd/SystemdScheduler.h"

#include "model/NextRuns.h"
#include "platform/AppPaths.h"
#include "platform/ChildProcess.h"
#include "platform/SystemPaths.h"
#include "systemd/SystemdUnits.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTimeZone>

using namespace Qt::StringLiterals;

namespace {

// Another writer (the app and the tool run side by side) may be installing a unit it has just
// written; the sweep leaves files this young alone, as the launchd sweep does its job files.
constexpr int kSweepGraceSeconds = 10;

std::optional<QString> saveFile(const QString &path, const QString &text,
                                GeneratedFile::Sync sync = GeneratedFile::Sync::now)
{
    if (auto failure = GeneratedFile::write(path, text.toUtf8(), sync)) {
        return u"Failed to install task: " % *failure;
    }
    return std::nullopt;
}

QString firstWord(const QStringList &arguments)
{
    for (const QString &argument : arguments) {
        if (!argument.startsWith(u'-')) {
            return argument;
        }
    }
    return {};
}

// "Tue 2026-11-24 10:00:00 UTC", as systemctl prints times with TZ=UTC.
std::optional<QDateTime> parseUtcTimestamp(const QString &text)
{
    const QStringList words = text.simplified().split(u' ');
    if (words.size() < 4 || words.at(3) != u"UTC") {
        return std::nullopt;
    }
    QDateTime when = QDateTime::fromString(words.at(1) % u' ' % words.at(2), u"yyyy-MM-dd HH:mm:ss"_s);
    if (!when.isValid()) {
        return std::nullopt;
    }
    when.setTimeZone(QTimeZone::utc());
    return when;
}

} // namespace

SystemdScheduler::SystemdScheduler(LaunchdService files, QString unitDir, QString loginShell,
                                   std::optional<QString> alertTool)
    : m_files(std::move(files)), m_unitDir(unitDir.isEmpty() ? AppPaths::systemdUserUnitDir() : std::move(unitDir)),
      m_loginShell(loginShell.isEmpty() ? AppPaths::loginShell() : std::move(loginShell)),
      m_alertTool(alertTool ? std::move(*alertTool) : AppPaths::besideThisProgram(u"moxley"_s))
{
}

SystemdScheduler::Reply SystemdScheduler::systemctl(const QStringList &arguments) const
{
    ChildProcess::Options options;
    options.output = ChildProcess::Output::capture;
    // Times in a form that reads back without knowing the zone's abbreviations.
    const QStringList environment{u"TZ=UTC"_s, u"SYSTEMD_PAGER="_s, u"SYSTEMD_COLORS=0"_s};
    const ChildProcess::Result result =
        ChildProcess::run(SystemPaths::systemctl(), QStringList{u"--user"_s} + arguments, options, environment);
    Reply reply;
    reply.output = QString::fromUtf8(result.standardOutput);
    if (result.succeeded()) {
        return reply;
    }
    const QString message = result.started ? QString::fromUtf8(result.standardError).trimmed() : result.errorText;
    // systemd 252 says "Failed to connect to bus", 257 "Failed to connect to user scope bus".
    if (message.contains(u"Failed to connect to bus") || message.contains(u"Failed to connect to user scope bus") ||
        message.contains(u"XDG_RUNTIME_DIR not defined")) {
        reply.error = u"No systemd user instance is running (systemctl --user: " % message.section(u'\n', 0, 0) % u')';
        return reply;
    }
    QString text = u"systemctl " % firstWord(arguments) % u" failed (exit code " %
                   QString::number(result.started ? result.exitStatus : -1) % u')';
    if (!message.isEmpty()) {
        text += u'\n' % message;
    }
    reply.error = text;
    return reply;
}

QString SystemdScheduler::servicePath(const ScheduledTask &task) const
{
    return m_unitDir % u'/' % SystemdUnits::serviceName(task.id);
}

QString SystemdScheduler::timerPath(const ScheduledTask &task) const
{
    return m_unitDir % u'/' % SystemdUnits::timerName(task.id);
}

std::optional<QString> SystemdScheduler::writeUnits(const ScheduledTask &task, bool alerts) const
{
    alerts = alerts && !m_alertTool.isEmpty();
    // A batch brings its files to disk once, at its end.
    const auto sync = m_batching ? GeneratedFile::Sync::later : GeneratedFile::Sync::now;
    if (auto failure = m_files.writeScript(task, scriptText(task), sync)) {
        return u"Failed to install task: " % *failure;
    }
    if (!QDir().mkpath(m_unitDir)) {
        return u"Failed to install task: The folder “" % m_unitDir % u"” could not be created.";
    }
    QList<JobFile> files = unitFiles(task, alerts);
    // Written with every task (once in a batch), so that it always runs the tool of the latest
    // install; after the task's units, so that a sweep running alongside sees a task that needs it.
    const bool alertTemplate = alerts && !(m_batching && m_alertTemplateInBatch);
    if (alertTemplate) {
        files.append(
            {m_unitDir % u'/' % SystemdUnits::alertTemplateName(), SystemdUnits::alertTemplateText(m_alertTool)});
    }
    for (const JobFile &file : std::as_const(files)) {
        if (auto failure = saveFile(file.path, file.text, sync)) {
            return failure;
        }
    }
    m_alertTemplateInBatch = m_alertTemplateInBatch || (alertTemplate && m_batching);
    return std::nullopt;
}

void SystemdScheduler::removeUnusedAlertTemplate() const
{
    const QStringList taskUnits =
        QDir(m_unitDir).entryList({u"com.moxley.task.*"_s}, QDir::Files | QDir::Hidden | QDir::System);
    if (taskUnits.isEmpty()) {
        QFile::remove(m_unitDir % u'/' % SystemdUnits::alertTemplateName());
    }
}

std::optional<QString> SystemdScheduler::install(const ScheduledTask &task)
{
    if (auto failure = writeUnits(task)) {
        return failure;
    }
    QStringList units;
    QStringList started;
    if (SystemdUnits::hasTimer(task)) {
        units << SystemdUnits::timerName(task.id);
    } else {
        started << SystemdUnits::serviceName(task.id);
    }
    if (m_batching) {
        m_pendingUnits << units;
        m_pendingStarts << started;
        m_pendingIds << task.id;
        return std::nullopt;
    }
    const auto failure = activate(units, started);
    if (failure && task.wakeBeforeRun && SystemdUnits::hasTimer(task)) {
        return withoutWake(task);
    }
    return failure;
}

std::optional<QString> SystemdScheduler::withoutWake(const ScheduledTask &task)
{
    // A user manager without CAP_WAKE_ALARM (systemd before 254, containers) refuses to start a
    // timer with WakeSystem=true at all. The task then runs on time without waking the computer,
    // and the detail shows the wake as not active.
    ScheduledTask plain = task;
    plain.wakeBeforeRun = false;
    if (auto failure = saveFile(timerPath(task), SystemdUnits::timerText(plain))) {
        return failure;
    }
    (void)systemctl({u"reset-failed"_s, SystemdUnits::timerName(task.id)});
    return activate({SystemdUnits::timerName(task.id)}, {});
}

std::optional<QString> SystemdScheduler::activate(const QStringList &units, const QStringList &started)
{
    if (auto failure = systemctl({u"daemon-reload"_s}).error) {
        return failure;
    }
    // A timer that was already running takes its new calendar from the restart.
    if (auto failure = systemctlEach({u"enable"_s}, units)) {
        return failure;
    }
    if (auto failure = systemctlEach({u"restart"_s}, units)) {
        return failure;
    }
    // A run-at-load task runs now as well as at every login; installing does not wait for it.
    return systemctlEach({u"enable"_s, u"--now"_s, u"--no-block"_s}, started);
}

std::optional<QString> SystemdScheduler::systemctlEach(const QStringList &verb, const QStringList &units) const
{
    for (qsizetype start = 0; start < units.size(); start += m_unitsPerCall) {
        if (auto failure = systemctl(verb + units.mid(start, m_unitsPerCall)).error) {
            return failure;
        }
    }
    return std::nullopt;
}

void SystemdScheduler::beginBatch()
{
    m_batching = true;
    m_alertTemplateInBatch = false;
    m_pendingUnits.clear();
    m_pendingStarts.clear();
    m_pendingIds.clear();
}

QHash<QUuid, QString> SystemdScheduler::endBatch()
{
    m_batching = false;
    QHash<QUuid, QString> failures;
    if (!m_pendingUnits.isEmpty() || !m_pendingStarts.isEmpty()) {
        GeneratedFile::syncAll();
        if (const auto failure = activate(m_pendingUnits, m_pendingStarts)) {
            for (const QUuid &id : std::as_const(m_pendingIds)) {
                failures.insert(id, *failure);
            }
        }
    }
    m_pendingUnits.clear();
    m_pendingStarts.clear();
    m_pendingIds.clear();
    return failures;
}

std::optional<QString> SystemdScheduler::uninstall(const ScheduledTask &task)
{
    const QString service = servicePath(task);
    const QString timer = timerPath(task);
    std::optional<QString> result;
    if (QFileInfo::exists(service) || QFileInfo::exists(timer)) {
        result =
            systemctl({u"disable"_s, u"--now"_s, SystemdUnits::timerName(task.id), SystemdUnits::serviceName(task.id)})
                .error;
        QFile::remove(timer);
        QFile::remove(service);
        removeUnusedAlertTemplate();
        std::optional<QString> reloaded = systemctl({u"daemon-reload"_s}).error;
        if (!result) {
            result = std::move(reloaded);
        }
        // A unit that failed would otherwise stay listed, file or no file.
        (void)systemctl({u"reset-failed"_s, SystemdUnits::timerName(task.id), SystemdUnits::serviceName(task.id)});
    }
    // The runs file and the logs stay: a re-enabled task continues its history.
    QFile::remove(m_files.scriptPath(task));
    QFile::remove(m_files.legacyScriptPath(task.id));
    return result;
}

void SystemdScheduler::removeStrays(const QSet<QUuid> &keptIds)
{
    const QDir dir(m_unitDir);
    QStringList names;
    QStringList paths;
    const QDateTime graceStart = QDateTime::currentDateTimeUtc().addSecs(-kSweepGraceSeconds);
    const auto entries = dir.entryInfoList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name);
    for (const QFileInfo &info : entries) {
        const auto id = SystemdUnits::taskIdOfUnit(info.fileName());
        if (!id || keptIds.contains(*id) || info.lastModified().toUTC() > graceStart) {
            continue; // other programs' units are none of our business
        }
        names << info.fileName();
        paths << info.absoluteFilePath();
    }
    if (!names.isEmpty()) {
        (void)systemctl(QStringList{u"disable"_s, u"--now"_s} + names);
        for (const QString &path : std::as_const(paths)) {
            QFile::remove(path);
        }
        removeUnusedAlertTemplate();
        (void)systemctl({u"daemon-reload"_s});
        (void)systemctl(QStringList{u"reset-failed"_s} + names);
    } else {
        removeUnusedAlertTemplate();
    }
    m_files.removeOrphanScripts(keptIds);
}

std::optional<QString> SystemdScheduler::startNow(const ScheduledTask &task)
{
    // The job runs as a scheduled run would; waiting for its end is not this call's business.
    return systemctl({u"start"_s, u"--no-block"_s, SystemdUnits::serviceName(task.id)}).error;
}

std::optional<QDateTime> SystemdScheduler::managerNextElapse(const ScheduledTask &task) const
{
    const Reply reply = systemctl({u"list-timers"_s, u"--all"_s, u"--no-legend"_s, SystemdUnits::timerName(task.id)});
    if (reply.error) {
        return std::nullopt;
    }
    // NEXT is the first column; "n/a" when the timer has no elapse planned.
    return parseUtcTimestamp(reply.output.section(u'\n', 0, 0));
}

QList<QDateTime> SystemdScheduler::nextRuns(const ScheduledTask &task, const QDateTime &after, int count) const
{
    if (!task.isEnabled || count <= 0) {
        return {};
    }
    if (const auto *interval = task.schedule.as<Schedule::Interval>()) {
        const auto next = managerNextElapse(task);
        if (!next) {
            return {};
        }
        const qint64 step = qint64(interval->minutes) * 60;
        QDateTime when = next->toLocalTime();
        if (when <= after) {
            // Straight to the first elapse after `after`: a step at a time took minutes for one years away.
            when = when.addSecs((when.msecsTo(after) / (step * 1000) + 1) * step);
        }
        QList<QDateTime> runs;
        for (; runs.size() < count; when = when.addSecs(step)) {
            runs << when;
        }
        return runs;
    }
    return ::nextRuns(task.schedule, after, count, QTimeZone::systemTimeZone());
}

std::optional<QString> SystemdScheduler::scheduleWake(const ScheduledTask &)
{
    return std::nullopt;
}

bool SystemdScheduler::isWakeActive(const ScheduledTask &task) const
{
    QFile timer(timerPath(task));
    return timer.open(QIODevice::ReadOnly) && timer.readAll().contains("\nWakeSystem=true\n");
}

QString SystemdScheduler::jobFilePath(const ScheduledTask &task) const
{
    return SystemdUnits::hasTimer(task) ? timerPath(task) : servicePath(task);
}

bool SystemdScheduler::isLoaded(const ScheduledTask &task) const
{
    const QString unit =
        SystemdUnits::hasTimer(task) ? SystemdUnits::timerName(task.id) : SystemdUnits::serviceName(task.id);
    return !systemctl({u"is-enabled"_s, u"--quiet"_s, unit}).error;
}

QList<JobScheduler::JobFile> SystemdScheduler::jobFiles(const ScheduledTask &task) const
{
    return unitFiles(task, !m_alertTool.isEmpty());
}

QList<JobScheduler::JobFile> SystemdScheduler::unitFiles(const ScheduledTask &task, bool alerts) const
{
    const SystemdUnits::Paths paths{m_files.scriptPath(task), m_files.stdoutLogPath(task), m_files.stderrLogPath(task),
                                    alerts};
    QList<JobFile> files{{servicePath(task), SystemdUnits::serviceText(task, paths)}};
    if (SystemdUnits::hasTimer(task)) {
        files.append({timerPath(task), SystemdUnits::timerText(task)});
    }
    return files;
}

QString SystemdScheduler::scriptText(const ScheduledTask &task) const
{
    return m_files.exactCalendarScriptText(task, m_loginShell);
}

QString SystemdScheduler::shellName(const ScheduledTask &task) const
{
    const QString firstLine = scriptText(task).section(u'\n', 0, 0);
    return firstLine.section(u'/', -1);
}
