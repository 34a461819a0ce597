#include "doctor/ProbeRun.h"

#include "platform/AppPaths.h"
#include "runner/TaskRunner.h"

#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <csignal>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int kPollMilliseconds = 100;

std::optional<ProbeScript::Answer> readAnswer(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    return ProbeScript::parse(QString::fromUtf8(file.readAll()));
}

void removeProbeFiles(const LaunchdService &files, const ScheduledTask &probe)
{
    const QString answer = ProbeRun::answerPath(files, probe);
    const QStringList paths{answer,
                            answer + u".part"_s,
                            files.runsPath(probe),
                            files.stdoutLogPath(probe),
                            files.stderrLogPath(probe),
                            files.scriptPath(probe)};
    for (const QString &path : paths) {
        QFile::remove(path);
    }
}

// Runs `program` in a session of its own and waits for it; what is still running at the deadline is
// killed with everything it started.
ProbeRun::Outcome runAndRead(QProcess &process, const QString &program, const QStringList &arguments,
                             const QString &answer, QDeadlineTimer deadline)
{
    process.setStandardInputFile(QProcess::nullDevice());
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setChildProcessModifier([] { ::setsid(); });
    process.start(program, arguments);
    if (!process.waitForStarted(int(deadline.remainingTime()))) {
        return {std::nullopt, program % u": " % process.errorString()};
    }
    if (!process.waitForFinished(int(std::max<qint64>(deadline.remainingTime(), 1)))) {
        ::kill(-pid_t(process.processId()), SIGKILL);
        process.waitForFinished(3000);
    }
    if (auto result = readAnswer(answer)) {
        return {result, {}};
    }
    if (deadline.hasExpired()) {
        return {};
    }
    const QString output = QString::fromUtf8(process.readAll()).trimmed().section(u'\n', -1);
    return {std::nullopt, output.isEmpty() ? u"it ended without an answer"_s : output};
}

} // namespace

ScheduledTask ProbeRun::probeTask(const ScheduledTask &task, const QStringList &words, const LaunchdService &files)
{
    ScheduledTask probe = task;
    probe.id = QUuid::createUuid();
    probe.schedule = TaskSchedule::runAtLoad();
    probe.isEnabled = true;
    probe.wakeBeforeRun = false;
    probe.command = ProbeScript::probeLines(words, answerPath(files, probe));
    return probe;
}

QString ProbeRun::answerPath(const LaunchdService &files, const ScheduledTask &probe)
{
    return files.logDir() % u'/' % probe.shortId() % u".probe";
}

ProbeRun::Outcome ProbeRun::throughScheduler(JobScheduler &scheduler, const LaunchdService &files,
                                             const ScheduledTask &probe, QDeadlineTimer deadline)
{
    Outcome outcome;
    if (auto failure = scheduler.runOnce(probe)) {
        outcome.failure = *failure;
    } else {
        const QString answer = answerPath(files, probe);
        while (!(outcome.answer = readAnswer(answer)) && !deadline.hasExpired()) {
            QThread::msleep(kPollMilliseconds);
        }
    }
    scheduler.removeRunOnce(probe);
    removeProbeFiles(files, probe);
    return outcome;
}

ProbeRun::Outcome ProbeRun::inDefaultEnvironment(const JobScheduler &scheduler, const LaunchdService &files,
                                                 const ScheduledTask &probe, QDeadlineTimer deadline)
{
    Outcome outcome;
    if (auto failure = files.writeScript(probe, scheduler.scriptText(probe))) {
        outcome.failure = *failure;
    } else {
        QProcessEnvironment environment;
        const QString home = AppPaths::homeDir();
        const QString user = qEnvironmentVariable("USER", qEnvironmentVariable("LOGNAME"));
        environment.insert(u"HOME"_s, home);
        environment.insert(u"USER"_s, user);
        environment.insert(u"LOGNAME"_s, user);
        const QString shell = AppPaths::loginShell();
        environment.insert(u"SHELL"_s, shell.isEmpty() ? u"/bin/sh"_s : shell);
        for (const QString &entry : scheduler.defaultEnvironment()) {
            environment.insert(entry.section(u'=', 0, 0), entry.section(u'=', 1));
        }
        QProcess process;
        process.setProcessEnvironment(environment);
        process.setWorkingDirectory(scheduler.defaultWorkingDirectory());
        outcome = runAndRead(process, files.scriptPath(probe), {}, answerPath(files, probe), deadline);
    }
    removeProbeFiles(files, probe);
    return outcome;
}

ProbeRun::Outcome ProbeRun::asTestRun(const ScheduledTask &task, const QStringList &words, QDeadlineTimer deadline)
{
    QTemporaryDir folder;
    if (!folder.isValid()) {
        return {std::nullopt, folder.errorString()};
    }
    const QString answer = folder.filePath(u"answer"_s);
    // A missing folder or .env file is a problem of its own; the rest of the probe still runs.
    std::optional<QString> workingDirectory;
    if (task.workingDirectory && QFileInfo(*task.workingDirectory).isDir()) {
        workingDirectory = task.workingDirectory;
    }
    std::optional<QString> envFile;
    if (task.envFilePath && QFileInfo(*task.envFilePath).isFile()) {
        envFile = task.envFilePath;
    }
    const QString line = TaskRunner::commandLine(ProbeScript::probeLines(words, answer), workingDirectory, envFile);
    QProcess process;
    return runAndRead(process, TaskRunner::shellProgram(task.useLoginShell),
                      TaskRunner::shellArguments(task.useLoginShell, line), answer, deadline);
}
