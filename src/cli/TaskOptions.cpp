#include "cli/TaskOptions.h"

#include "cli/ScheduleOptions.h"

#include <QDir>

using namespace Qt::StringLiterals;

QList<QCommandLineOption> TaskOptions::options(For command)
{
    const bool edit = command == For::edit;
    QList<QCommandLineOption> list{
        QCommandLineOption(u"name"_s, u"The task's name."_s, u"NAME"_s),
        QCommandLineOption(u"command"_s, u"The shell command line to run."_s, u"CMD"_s),
    };
    list += ScheduleOptions::options();
    list << QCommandLineOption(u"dir"_s, u"Working folder of the command."_s, u"DIR"_s);
    if (edit) {
        list << QCommandLineOption(u"no-dir"_s, u"No working folder."_s);
    }
    list << QCommandLineOption(u"env-file"_s, u"A .env file loaded before the command."_s, u"FILE"_s);
    if (edit) {
        list << QCommandLineOption(u"no-env-file"_s, u"No .env file."_s)
             << QCommandLineOption(u"login-shell"_s, u"Load the shell profile."_s);
    }
    list << QCommandLineOption(u"no-login-shell"_s, u"Do not load the shell profile."_s)
         << QCommandLineOption(u"wake"_s, u"Wake the computer 5 minutes before each run."_s);
    if (edit) {
        list << QCommandLineOption(u"no-wake"_s, u"Do not wake the computer."_s);
    } else {
        list << QCommandLineOption(u"disabled"_s, u"Add the task switched off (no job installed)."_s);
    }
    return list;
}

std::optional<QString> TaskOptions::nameAndCommandError(const QCommandLineParser &parser, For command)
{
    for (const QString &option : {u"name"_s, u"command"_s}) {
        if (!parser.isSet(option)) {
            if (command == For::add) {
                return u"missing option --" % option;
            }
            continue;
        }
        if (parser.value(option).isEmpty()) {
            return u"--" % option % u" must not be empty";
        }
    }
    return std::nullopt;
}

std::optional<QString> TaskOptions::pathValue(const QCommandLineParser &parser, const QString &option)
{
    const QString path = parser.value(option);
    return path.isEmpty() ? std::nullopt : std::optional(QDir::current().absoluteFilePath(path));
}
