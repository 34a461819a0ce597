#pragma once

#include "Sandbox.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QtGlobal>

// A program `only-mine` in a folder that only this test process's PATH has: found in the
// terminal, not where a scheduler runs jobs. PATH is put back when it goes.
struct TerminalOnlyProgram {
    QString folder;
    QByteArray savedPath = qgetenv("PATH");

    explicit TerminalOnlyProgram(const Sandbox &sandbox) : folder(sandbox.root() + QStringLiteral("/my tools"))
    {
        Sandbox::writeFile(folder + QStringLiteral("/only-mine"), "#!/bin/sh\necho mine\n", 0755);
        qputenv("PATH", QByteArray(folder.toUtf8() + ':' + savedPath));
    }
    ~TerminalOnlyProgram() { qputenv("PATH", savedPath); }
    TerminalOnlyProgram(const TerminalOnlyProgram &) = delete;
    TerminalOnlyProgram &operator=(const TerminalOnlyProgram &) = delete;

    // The doctor's line for a task that runs it, as the tool prints it.
    QByteArray commandNotFoundLine() const
    {
        return "command-not-found: `only-mine` is found in your terminal (" + folder.toUtf8() +
               "/only-mine) but not when scheduled; add its folder to PATH in the task's .env file or use the full "
               "path\n";
    }

    // `moxley add` of a daily task with these extra options; its printed id, empty when it failed.
    static QString addTask(const Sandbox &sandbox, const QStringList &arguments)
    {
        const Sandbox::Result result =
            sandbox.runCli(QStringList{QStringLiteral("add"), QStringLiteral("--name"), QStringLiteral("Probe me"),
                                       QStringLiteral("--no-login-shell"), QStringLiteral("--daily"),
                                       QStringLiteral("--at"), QStringLiteral("6:00")} +
                           arguments);
        if (result.exitCode != 0) {
            qWarning("moxley add failed: %s", result.err.constData());
            return {};
        }
        return QString::fromUtf8(result.out).trimmed();
    }
};
