#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

// Starts a program directly (argument list, no shell) and blocks until it ends. There is no
// time-out: the system tools this runs are expected to end on their own, and the callers
// wait for them on purpose.
namespace ChildProcess {

enum class Output {
    discard, // standard output and standard error go to the null device
    capture, // both are collected into the result
};

struct Options {
    Output output = Output::discard;
    // Written to the child's standard input, which is then closed; without it the child
    // reads from the null device.
    std::optional<QByteArray> input;
    // The child's working folder; the caller's when absent.
    std::optional<QString> workingDirectory;
};

struct Result {
    bool started = false;
    // The exit status; the signal number when the child was killed by one; -1 when it never started.
    int exitStatus = -1;
    bool crashed = false;
    QByteArray standardOutput; // only with Output::capture
    QByteArray standardError;  // only with Output::capture
    QString errorText;         // why it could not be started

    bool succeeded() const { return started && !crashed && exitStatus == 0; }
};

Result run(const QString &program, const QStringList &arguments, const Options &options = {});
// The same with "NAME=VALUE" entries set on top of the caller's environment.
Result run(const QString &program, const QStringList &arguments, const Options &options,
           const QStringList &environment);

} // namespace ChildProcess
