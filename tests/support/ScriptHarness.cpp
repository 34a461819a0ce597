#include "ScriptHarness.h"

#include <QProcess>

using namespace Qt::StringLiterals;

ScriptHarness::FixedDate::FixedDate(const Sandbox &sandbox, const QString &day, const QString &tomorrow)
    : m_binDir(sandbox.root() + u"/fixed-date-bin"_s), m_log(sandbox.root() + u"/fixed-date.log"_s)
{
    const QString script = uR"SH(#!/bin/bash
if [ "$#" -eq 1 ] && [ "$1" = "+%d" ]; then
    printf '%s\n' "+%d" >> '%1'
    printf '%s\n' '%2'
    exit 0
fi
if [ "$#" -eq 2 ] && [ "$1" = "-v+1d" ] && [ "$2" = "+%d" ]; then
    printf '%s\n' "-v+1d +%d" >> '%1'
    printf '%s\n' '%3'
    exit 0
fi
exec /bin/date "$@"
)SH"_s.arg(m_log, day, tomorrow);
    Sandbox::writeFile(m_binDir + u"/date"_s, script.toUtf8(), 0755);
}

QProcessEnvironment ScriptHarness::FixedDate::environment(const Sandbox &sandbox) const
{
    QProcessEnvironment env = sandbox.environment();
    env.insert(u"PATH"_s, m_binDir + u':' + env.value(u"PATH"_s, u"/usr/bin:/bin"_s));
    return env;
}

QStringList ScriptHarness::FixedDate::questions() const
{
    const QString log = QString::fromUtf8(Sandbox::readFile(m_log));
    QStringList lines = log.split(u'\n');
    lines.removeAll(QString());
    return lines;
}

Sandbox::Result ScriptHarness::run(const QProcessEnvironment &environment, const QString &program,
                                   const QStringList &arguments, const QString &workingDirectory)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    if (!workingDirectory.isEmpty()) {
        process.setWorkingDirectory(workingDirectory);
    }
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(program, arguments);
    Sandbox::Result result;
    if (!process.waitForStarted(10000)) {
        result.err = process.errorString().toUtf8();
        return result;
    }
    process.waitForFinished(120000);
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return result;
}
