#include "platform/ChildProcess.h"

#include <QProcess>

ChildProcess::Result ChildProcess::run(const QString &program, const QStringList &arguments, const Options &options)
{
    return run(program, arguments, options, {});
}

ChildProcess::Result ChildProcess::run(const QString &program, const QStringList &arguments, const Options &options,
                                       const QStringList &environment)
{
    QProcess process;
    if (options.output == Output::discard) {
        process.setStandardOutputFile(QProcess::nullDevice());
        process.setStandardErrorFile(QProcess::nullDevice());
    }
    if (!options.input) {
        process.setStandardInputFile(QProcess::nullDevice());
    }
    if (options.workingDirectory) {
        process.setWorkingDirectory(*options.workingDirectory);
    }
    if (!environment.isEmpty()) {
        QProcessEnvironment changed = QProcessEnvironment::systemEnvironment();
        for (const QString &entry : environment) {
            changed.insert(entry.section(u'=', 0, 0), entry.section(u'=', 1));
        }
        process.setProcessEnvironment(changed);
    }

    Result result;
    process.start(program, arguments);
    if (!process.waitForStarted(-1)) {
        result.errorText = process.errorString();
        return result;
    }
    result.started = true;
    if (options.input) {
        process.write(*options.input);
        process.closeWriteChannel();
    }
    process.waitForFinished(-1);
    // Qt reports the signal number as the exit code of a child that crashed.
    result.crashed = process.exitStatus() == QProcess::CrashExit;
    result.exitStatus = process.exitCode();
    if (options.output == Output::capture) {
        result.standardOutput = process.readAllStandardOutput();
        result.standardError = process.readAllStandardError();
    }
    return result;
}
