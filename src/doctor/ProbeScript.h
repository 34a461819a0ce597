#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

#include <optional>

// The probe that stands in for a task's command: the task's wrapper up to the command (shell,
// profile, .env file, working folder) and, instead of the command, lines that write what the
// environment looks like to `resultPath` (whole or not at all, so a half-written answer is never read).
namespace ProbeScript {
// `wrapperText` is the task's wrapper script; everything from its run-recording start is replaced.
QString fromWrapper(const QString &wrapperText, const QStringList &words, const QString &resultPath);
// The probe lines alone, for the interactive side (run as Test Run runs a command).
QString probeLines(const QStringList &words, const QString &resultPath);

struct Answer {
    QString path;
    QString shell;
    QString cwd;
    // Each command word with what `command -v` found (empty: not found).
    QMap<QString, QString> resolved;
};
// Reads what the probe wrote; nothing when the text is not a complete answer.
std::optional<Answer> parse(const QString &text);
}
