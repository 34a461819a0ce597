#include "runner/TaskRunner.h"

#include "platform/ShellQuote.h"

#include <QFileInfo>
#include <QMetaMethod>
#include <QTimer>

#include <csignal>
#include <unistd.h>

namespace {
constexpr int kStopGraceMilliseconds = 3000;
} // namespace

TaskRunner::TaskRunner(QObject *parent) : QObject(parent)
{
}

TaskRunner::~TaskRunner()
{
    // Whatever the process still writes has no reader any more: a run ends with its view.
    if (m_process) {
        m_process->disconnect(this);
        if (m_process->state() != QProcess::NotRunning) {
            m_process->kill();
            m_process->waitForFinished(5000);
        }
    }
}

QString TaskRunner::shellProgram(bool useLoginShell)
{
    if (useLoginShell) {
        return QStringLiteral("/bin/zsh");
    }
#ifdef Q_OS_MACOS
    return QStringLiteral("/bin/sh");
#else
    // macOS's /bin/sh is bash, which knows "source"; Debian's is dash, which does not. Run the
    // same shell the command would meet on a Mac.
    return QFileInfo::exists(QStringLiteral("/bin/bash")) ? QStringLiteral("/bin/bash") : QStringLiteral("/bin/sh");
#endif
}

QStringList TaskRunner::shellArguments(bool useLoginShell, const QString &commandLine)
{
    if (useLoginShell) {
        return {QStringLiteral("-l"), QStringLiteral("-i"), QStringLiteral("-c"), commandLine};
    }
    return {QStringLiteral("-c"), commandLine};
}

QString TaskRunner::commandLine(const QString &command, const std::optional<QString> &workingDirectory,
                                const std::optional<QString> &envFilePath)
{
    QStringList parts;
    if (envFilePath && !envFilePath->isEmpty()) {
        parts << QString(u"set -a && source " % shellQuote(*envFilePath) % u" && set +a");
    }
    if (workingDirectory && !workingDirectory->isEmpty()) {
        parts << QString(u"cd " % shellQuote(*workingDirectory));
    }
    parts << command;
    return parts.join(QStringLiteral(" && "));
}

void TaskRunner::run(const QString &command, const std::optional<QString> &workingDirectory,
                     const std::optional<QString> &envFilePath, bool useLoginShell)
{
    if (m_isRunning) {
        return;
    }
    start(shellProgram(useLoginShell),
          shellArguments(useLoginShell, commandLine(command, workingDirectory, envFilePath)));
}

void TaskRunner::start(const QString &program, const QStringList &arguments)
{
    if (m_isRunning) {
        return;
    }
    m_isRunning = true;
    m_output.clear();
    m_exitCode.reset();
    m_decoder.resetState();
    Q_EMIT outputCleared();
    Q_EMIT exitCodeChanged(m_exitCode);
    Q_EMIT isRunningChanged(true);

    if (m_process) {
        m_process->disconnect(this);
        m_process->deleteLater();
    }
    auto *process = new QProcess(this);
    m_process = process;
    process->setProcessChannelMode(QProcess::MergedChannels);
    if (m_ownSession) {
        // A session of its own, and no terminal on standard input: an interactive zsh that is
        // handed the terminal the app was started from turns on job control and puts each
        // command in a process group of its own, which Stop would then miss.
        process->setStandardInputFile(QProcess::nullDevice());
        process->setChildProcessModifier([] { ::setsid(); });
    } else if (m_ownGroup) {
        const bool takesTerminal = m_takesTerminal;
        process->setChildProcessModifier([takesTerminal] {
            ::setpgid(0, 0);
            if (takesTerminal) {
                // A group that is not yet the foreground one may only take the terminal with
                // SIGTTOU ignored; the command then gets the default back.
                ::signal(SIGTTOU, SIG_IGN);
                ::tcsetpgrp(STDIN_FILENO, ::getpid());
                ::signal(SIGTTOU, SIG_DFL);
            }
        });
        process->setInputChannelMode(QProcess::ForwardedInputChannel);
    } else {
        process->setInputChannelMode(QProcess::ForwardedInputChannel);
    }
    connect(process, &QProcess::readyReadStandardOutput, this, &TaskRunner::readAvailable);
    connect(process, &QProcess::finished, this, [this, process](int exitCode, QProcess::ExitStatus status) {
        if (process != m_process) {
            return;
        }
        // Qt gives the signal number as the exit code of a process that a signal ended.
        finishRun(status == QProcess::CrashExit ? 128 + exitCode : exitCode);
    });
    connect(process, &QProcess::errorOccurred, this, [this, process](QProcess::ProcessError error) {
        if (process != m_process || error != QProcess::FailedToStart || !m_isRunning) {
            return;
        }
        appendOutput(QString(process->program() % u": " % process->errorString() % u'\n').toUtf8());
        finishRun(127);
    });
    process->start(program, arguments);
}

void TaskRunner::terminate()
{
    if (!m_isRunning || !m_process) {
        return;
    }
    const qint64 pid = m_process->processId();
    // Whatever ignores the polite signals (a shell still reading its profile, a command that
    // traps them) is killed after a while: Stop always ends the run.
    QTimer::singleShot(kStopGraceMilliseconds, this, [this, process = m_process, pid, ownSession = m_ownSession] {
        if (!process || process != m_process || !m_isRunning || process->processId() != pid) {
            return;
        }
        if (ownSession && pid > 0) {
            ::kill(-pid_t(pid), SIGKILL);
        } else {
            process->kill();
        }
    });
    if (!m_ownSession || pid <= 0) {
        m_process->terminate();
        return;
    }
    // An interactive shell ignores SIGTERM and would go on with the rest of the command, so it
    // is hung up on at the same moment (it then reports 129, or 1 when it was between commands).
    if (m_process->arguments().contains(QStringLiteral("-i"))) {
        ::kill(pid_t(pid), SIGHUP);
    }
    ::kill(-pid_t(pid), SIGTERM);
}

void TaskRunner::readAvailable()
{
    if (!m_process) {
        return;
    }
    // A long run arrives in thousands of small pieces: one buffer serves them all.
    const qint64 available = m_process->bytesAvailable();
    if (available <= 0) {
        return;
    }
    m_chunk.resize(available);
    const qint64 got = m_process->read(m_chunk.data(), available);
    if (got > 0) {
        appendOutput(QByteArrayView(m_chunk.constData(), got));
    }
}

void TaskRunner::appendOutput(QByteArrayView bytes)
{
    if (bytes.isEmpty()) {
        return;
    }
    // Invalid bytes become U+FFFD rather than taking the rest of their read with them.
    if (!m_keepsOutput) {
        const QString text = m_decoder.decode(bytes);
        if (!text.isEmpty()) {
            Q_EMIT outputAppended(text);
        }
        return;
    }
    // Decoded straight onto the end of the kept text, without a copy in between; the piece is
    // made for outputAppended only when something listens.
    const qsizetype before = m_output.size();
    m_output.resize(before + m_decoder.requiredSpace(bytes.size()));
    const QChar *end = m_decoder.appendToBuffer(m_output.data() + before, bytes);
    m_output.resize(end - m_output.constData());
    static const QMetaMethod appended = QMetaMethod::fromSignal(&TaskRunner::outputAppended);
    if (m_output.size() > before && isSignalConnected(appended)) {
        Q_EMIT outputAppended(m_output.sliced(before));
    }
}

void TaskRunner::finishRun(int exitCode)
{
    // What is still in the pipe belongs before the exit status.
    readAvailable();
    if (m_process) {
        disconnect(m_process, &QProcess::readyReadStandardOutput, this, &TaskRunner::readAvailable);
    }
    m_exitCode = exitCode;
    Q_EMIT exitCodeChanged(m_exitCode);
    m_isRunning = false;
    Q_EMIT isRunningChanged(false);
    Q_EMIT finished(exitCode);
}
