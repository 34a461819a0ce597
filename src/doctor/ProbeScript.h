#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

#include <optional>

// The probe that stands in for a task's command: lines that write what the environment looks like
// to `resultPath` (whole or not at all, so a half-written answer is never read). The scheduled side
// runs them as the command of a one-off copy of the task's job, so that the wrapper (shell, profile,
// .env file, working folder) is the one the task gets; the interactive side runs them as Test Run
// runs a command.
namespace ProbeScript {
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
} // namespace ProbeScript
