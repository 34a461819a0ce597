#pragma once

#include <QObject>
#include <QPointer>
#include <QProcess>
#include <QString>
#include <QStringDecoder>

#include <optional>

// Runs one command once, now, with live output: standard output and standard error share one
// pipe and arrive in order. Nothing is recorded. State changes happen on the main thread.
class TaskRunner : public QObject
{
    Q_OBJECT

public:
    explicit TaskRunner(QObject *parent = nullptr);
    ~TaskRunner() override;

    bool isRunning() const { return m_isRunning; }
    const QString &output() const { return m_output; }
    std::optional<int> exitCode() const { return m_exitCode; }
    // The most recently started process; kept after it ends. The view stops a run through it.
    QProcess *process() const { return m_process; }

    // With false, output() stays empty and the text reaches only outputAppended: for callers that
    // pass it on (the moxley tool) and would otherwise hold a long run's whole output.
    void setKeepsOutput(bool keeps) { m_keepsOutput = keeps; }
    // On by default: each run gets a session of its own, so terminate() stops the whole command.
    // A run in a terminal (moxley run) stays in the terminal's session, so Ctrl-C and input work.
    void setOwnSession(bool own) { m_ownSession = own; }
    // Without a session of its own: a process group of its own, so that a signal meant for the
    // whole command reaches every process of it (moxley run passes its signals on to it). With
    // `takesTerminal`, the group also becomes the terminal's foreground, so Ctrl-C and input
    // reach the command as they would from a shell.
    void setOwnProcessGroup(bool own, bool takesTerminal)
    {
        m_ownGroup = own;
        m_takesTerminal = takesTerminal;
    }

    // Ignored while a run is in progress.
    void run(const QString &command, const std::optional<QString> &workingDirectory,
             const std::optional<QString> &envFilePath, bool useLoginShell);
    // Asks the running process to terminate (SIGTERM); the run ends the usual way. A process ended
    // by a signal reports 128 + the signal number, as a shell would (143 after SIGTERM). What is
    // still running 3 seconds later is killed (137).
    void terminate();

    // "/bin/zsh" -l -i -c, or "/bin/sh" -c.
    static QString shellProgram(bool useLoginShell);
    static QStringList shellArguments(bool useLoginShell, const QString &commandLine);
    // The parts joined with " && ": set -a && source '<env>' && set +a, cd '<dir>', the command.
    static QString commandLine(const QString &command, const std::optional<QString> &workingDirectory,
                               const std::optional<QString> &envFilePath);

protected:
    // Starts `program` as the run's child; run() passes the chosen shell. A program that cannot be
    // started ends the run at once with its error text as output and exit code 127.
    void start(const QString &program, const QStringList &arguments);

Q_SIGNALS:
    void isRunningChanged(bool running);
    // Each piece of output as it arrives, so views can append instead of re-setting all the text.
    void outputAppended(const QString &text);
    void outputCleared();
    void exitCodeChanged(std::optional<int> exitCode);
    void finished(int exitCode);

private:
    void appendOutput(QByteArrayView bytes);
    void readAvailable();
    void finishRun(int exitCode);

    bool m_isRunning = false;
    bool m_keepsOutput = true;
    bool m_ownSession = true;
    bool m_ownGroup = false;
    bool m_takesTerminal = false;
    // Kept across reads so that a character split between two reads still decodes.
    QStringDecoder m_decoder{QStringDecoder::Utf8};
    QByteArray m_chunk; // one read buffer for the whole run
    QString m_output;
    std::optional<int> m_exitCode;
    QPointer<QProcess> m_process;
};
