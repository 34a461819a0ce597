#pragma once

#include "Sandbox.h"

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

// Running generated shell scripts in a sandbox.
namespace ScriptHarness {

// A `date` stand-in that fixes the calendar day for the scripts' monthly guards: it answers
// `date +%d` with `day` and the BSD form `date -v+1d +%d` with `tomorrow`, records each of those
// two questions, and hands every other call (the UTC times of the runs line) to the real /bin/date.
class FixedDate
{
public:
    FixedDate(const Sandbox &sandbox, const QString &day, const QString &tomorrow);

    // The folder holding the stand-in, to be put first on PATH.
    QString binDir() const { return m_binDir; }
    // The sandbox's environment with binDir() first on PATH.
    QProcessEnvironment environment(const Sandbox &sandbox) const;
    // The questions asked so far, one per call: "+%d" or "-v+1d +%d".
    QStringList questions() const;

private:
    QString m_binDir;
    QString m_log;
};

// Runs `program` with `environment`, optionally in `workingDirectory`, and waits for it.
Sandbox::Result run(const QProcessEnvironment &environment, const QString &program, const QStringList &arguments,
                    const QString &workingDirectory = {});

} // namespace ScriptHarness
