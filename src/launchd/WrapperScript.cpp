// The wrapper script that launchd runs for a task: shell, profile, monthly guard, working
// folder, environment file, the command, and one runs line per finished run.
#include "launchd/LaunchdService.h"

#include "platform/ShellQuote.h"

#include <QFile>
#include <QStringBuilder>

#include <algorithm>
#include <filesystem>

namespace {

const QString kUtcNow = QStringLiteral("$(date -u +%Y-%m-%dT%H:%M:%SZ)");

QString ordinal(int nth)
{
    if (nth < 1) {
        qFatal("Week number %d is below 1", nth);
    }
    static const char16_t *const suffixes[] = {u"st", u"nd", u"rd", u"th"};
    return QString::number(nth) + QString::fromUtf16(suffixes[std::min(nth - 1, 3)]);
}

bool isPresent(const std::optional<QString> &text)
{
    return text && !text->isEmpty();
}

// Recursive, an existing folder is fine; the failure text is the system's.
std::optional<QString> makeFolder(const QString &path)
{
    std::error_code error;
    std::filesystem::create_directories(std::filesystem::path(QFile::encodeName(path).toStdString()), error);
    if (error) {
        return u"The folder “" % path % u"” could not be created: " % QString::fromStdString(error.message());
    }
    return std::nullopt;
}

} // namespace

QString LaunchdService::scriptHeader()
{
    return u"# Moxley script v" % QString::number(kScriptVersion);
}

QString LaunchdService::scriptText(const ScheduledTask &task) const
{
    QStringList lines;
    lines << (task.useLoginShell ? QStringLiteral("#!/bin/zsh") : QStringLiteral("#!/bin/bash"));
    lines << scriptHeader();
    if (task.useLoginShell) {
        lines << QStringLiteral("source ~/.zprofile 2>/dev/null") << QStringLiteral("source ~/.zshrc 2>/dev/null");
    }

    // launchd's calendar cannot say "last day" or "n-th weekday": the job fires on every
    // candidate day and the script lets only the right one through.
    appendDayGuard(task, lines);
    appendBody(task, lines);
    return lines.join(u'\n') + u'\n';
}

QString LaunchdService::exactCalendarScriptText(const ScheduledTask &task, const QString &loginShell) const
{
    QStringList lines;
    const QString name = loginShell.section(u'/', -1);
    if (!task.useLoginShell) {
        lines << QStringLiteral("#!/bin/bash") << scriptHeader();
    } else if (name == u"zsh") {
        lines << u"#!" % loginShell << scriptHeader();
        lines << QStringLiteral("source ~/.zprofile 2>/dev/null") << QStringLiteral("source ~/.zshrc 2>/dev/null");
    } else if (name == u"bash") {
        // The first of the three that exists, as a bash login shell reads them.
        lines << u"#!" % loginShell << scriptHeader();
        lines << QStringLiteral("if [ -f ~/.bash_profile ]; then source ~/.bash_profile 2>/dev/null; "
                                "elif [ -f ~/.bash_login ]; then source ~/.bash_login 2>/dev/null; "
                                "else source ~/.profile 2>/dev/null; fi");
    } else {
        // The script is bash; a login shell of another language cannot run it.
        lines << QStringLiteral("#!/bin/bash") << scriptHeader() << QStringLiteral("source ~/.profile 2>/dev/null");
    }
    appendBody(task, lines);
    return lines.join(u'\n') + u'\n';
}

void LaunchdService::appendDayGuard(const ScheduledTask &task, QStringList &lines)
{
    if (task.schedule.as<Schedule::MonthlyLastDay>()) {
        lines << QString() << QStringLiteral("# Guard: only run on the last day of the month")
              << QStringLiteral("[ \"$(date -v+1d +%d)\" != \"01\" ] && exit 0");
    } else if (const auto *nthWeekday = task.schedule.as<Schedule::MonthlyNthWeekday>()) {
        const int n = nthWeekday->nth;
        const QString first = QString::number(qint64(n - 1) * 7 + 1);
        const QString last = QString::number(qint64(n) * 7);
        lines << QString() << u"# Guard: only run on the " % ordinal(n) % u" occurrence this month"
              << QStringLiteral("_day=$(date +%d)")
              << u"[ \"$_day\" -lt " % first % u" ] || [ \"$_day\" -gt " % last % u" ] && exit 0";
    }
}

void LaunchdService::appendBody(const ScheduledTask &task, QStringList &lines) const
{
    if (isPresent(task.envFilePath)) {
        lines << QStringLiteral("set -a") << u"source " % shellQuote(*task.envFilePath) << QStringLiteral("set +a");
    }
    if (isPresent(task.workingDirectory)) {
        lines << u"cd " % shellQuote(*task.workingDirectory);
    }
    lines << u"_mx_start=" % kUtcNow;
    lines << task.command;
    lines << QStringLiteral("_mx_exit=$?");
    lines << u"echo \"$_mx_start\t" % kUtcNow % u"\t$_mx_exit\" >> " % shellQuote(runsPath(task));
    lines << QStringLiteral("exit $_mx_exit");
}

std::optional<QString> LaunchdService::writeScript(const ScheduledTask &task, GeneratedFile::Sync sync) const
{
    return writeScript(task, scriptText(task), sync);
}

std::optional<QString> LaunchdService::writeScript(const ScheduledTask &task, const QString &scriptText,
                                                   GeneratedFile::Sync sync) const
{
    if (auto failure = makeFolder(m_scriptsDir)) {
        return failure;
    }
    if (auto failure = makeFolder(m_logDir)) {
        return failure;
    }
    // launchd starts the script itself, so it needs the owner's execute bit; nobody else needs anything.
    const auto ownerOnly =
        QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadUser | QFile::WriteUser | QFile::ExeUser;
    return GeneratedFile::write(scriptPath(task), scriptText.toUtf8(), sync, ownerOnly);
}
