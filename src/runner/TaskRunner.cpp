#include "runner/TaskRunner.h"

namespace {

// Single quotes keep every character literal; a quote inside becomes '\''.
QString quoted(const QString &text)
{
    QString escaped = text;
    escaped.replace(u'\'', QStringLiteral("'\\''"));
    return u'\'' % escaped % u'\'';
}

} // namespace

TaskRunner::TaskRunner(QObject *parent) : QObject(parent) {}

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
    return useLoginShell ? QStringLiteral("/bin/zsh") : QStringLiteral("/bin/sh");
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
        parts << QString(u"set -a && source " % quoted(*envFilePath) % u" && set +a");
    }
    if (workingDirectory && !workingDirectory->isEmpty()) {
        parts << QString(u"cd " % quoted(*workingDirectory));
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
    start(shellProgram(useLoginShell), shellArguments(useLoginShell, commandLine(command, workingDirectory, envFilePath)));
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
    process->setInputChannelMode(QProcess::ForwardedInputChannel);
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
    if (m_isRunning && m_process) {
        m_process->terminate();
    }
}

void TaskRunner::readAvailable()
{
    if (m_process) {
        appendOutput(m_process->readAll());
    }
}

void TaskRunner::appendOutput(const QByteArray &bytes)
{
    if (bytes.isEmpty()) {
        return;
    }
    // Invalid bytes become U+FFFD rather than taking the rest of their read with them.
    const QString text = m_decoder.decode(bytes);
    if (text.isEmpty()) {
        return;
    }
    if (m_keepsOutput) {
        m_output.append(text);
    }
    Q_EMIT outputAppended(text);
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
