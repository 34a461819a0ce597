#include "cli/CliJson.h"
#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "launchd/LaunchdService.h"

namespace {

QString yesNo(bool value)
{
    return value ? QStringLiteral("yes") : QStringLiteral("no");
}

// Continuation lines of a multi-line value line up under its first line.
QString indented(const QString &text, int width)
{
    QString out = text;
    out.replace(u'\n', u'\n' % QString(width, u' '));
    return out;
}

class ShowCommand : public TaskCommand
{
public:
    QString name() const override { return QStringLiteral("show"); }
    QString synopsis() const override { return QStringLiteral("show TASK [--json]"); }
    QString summary() const override
    {
        return QStringLiteral("Show every field of a task, its schedule and the paths of its files.");
    }
    QList<QCommandLineOption> options() const override
    {
        return {QCommandLineOption(QStringLiteral("json"), QStringLiteral("Print the task as one JSON object."))};
    }

    int executeOn(CommandContext &context, const QCommandLineParser &parser, const ScheduledTask &task) override
    {
        const LaunchdService files;
        if (parser.isSet(QStringLiteral("json"))) {
            context.out << QString::fromUtf8(CliJson::document(CliJson::task(task, &files)));
            return 0;
        }
        constexpr int width = 13;
        const auto row = [&](const char16_t *label, const QString &value) {
            context.out << QString::fromUtf16(label).leftJustified(width) << indented(value, width) << '\n';
        };
        row(u"Name:", task.name);
        row(u"ID:", task.fullId());
        row(u"Enabled:", yesNo(task.isEnabled));
        row(u"Schedule:", task.schedule.description());
        row(u"Command:", task.command);
        if (task.workingDirectory) {
            row(u"Directory:", *task.workingDirectory);
        }
        if (task.envFilePath) {
            row(u".env file:", *task.envFilePath);
        }
        row(u"Login shell:", yesNo(task.useLoginShell));
        row(u"Wake:", yesNo(task.wakeBeforeRun));
        row(u"Script:", files.scriptPath(task));
        row(u"Plist:", files.plistPath(task));
        row(u"Runs:", files.runsPath(task));
        row(u"Stdout log:", files.stdoutLogPath(task));
        row(u"Stderr log:", files.stderrLogPath(task));
        return 0;
    }
};

} // namespace

std::unique_ptr<Command> Commands::makeShow()
{
    return std::make_unique<ShowCommand>();
}
