#include "cli/CliJson.h"

#include "launchd/LaunchdService.h"
#include "model/JsonWriter.h"
#include "model/TaskJson.h"

QJsonObject CliJson::task(const ScheduledTask &task, const LaunchdService *files)
{
    QJsonObject object{{QStringLiteral("id"), task.fullId()},
                       {QStringLiteral("shortId"), task.shortId()},
                       {QStringLiteral("name"), task.name},
                       {QStringLiteral("command"), task.command},
                       {QStringLiteral("useLoginShell"), task.useLoginShell},
                       {QStringLiteral("wakeBeforeRun"), task.wakeBeforeRun},
                       {QStringLiteral("isEnabled"), task.isEnabled},
                       {QStringLiteral("schedule"), TaskJson::toJson(task.schedule)},
                       {QStringLiteral("description"), task.schedule.description()}};
    if (task.workingDirectory) {
        object.insert(QStringLiteral("workingDirectory"), *task.workingDirectory);
    }
    if (task.envFilePath) {
        object.insert(QStringLiteral("envFilePath"), *task.envFilePath);
    }
    if (files) {
        object.insert(QStringLiteral("files"), QJsonObject{{QStringLiteral("script"), files->scriptPath(task)},
                                                           {QStringLiteral("plist"), files->plistPath(task)},
                                                           {QStringLiteral("runs"), files->runsPath(task)},
                                                           {QStringLiteral("stdout"), files->stdoutLogPath(task)},
                                                           {QStringLiteral("stderr"), files->stderrLogPath(task)}});
    }
    return object;
}

QByteArray CliJson::document(const QJsonValue &value)
{
    return JsonWriter::pretty(value) + '\n';
}
