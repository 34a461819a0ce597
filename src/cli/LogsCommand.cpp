#include "cli/ByteOutput.h"
#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/OptionValues.h"
#include "launchd/LaunchdService.h"
#include "store/RunHistory.h"

#include <limits>

namespace {

class LogsCommand : public TaskCommand
{
public:
    QString name() const override { return QStringLiteral("logs"); }
    QString synopsis() const override { return QStringLiteral("logs TASK [--stderr] [--lines N]"); }
    QString summary() const override { return QStringLiteral("Show the tail of a task's output log."); }
    QString details() const override
    {
        return QStringLiteral("The last N line-feed-separated pieces of the log, trimmed of blank space at both\n"
                              "ends, exactly as the app shows them; a missing log prints nothing. A final line\n"
                              "feed is added when the text is not empty.");
    }
    QList<QCommandLineOption> options() const override
    {
        return {QCommandLineOption(QStringLiteral("stderr"), QStringLiteral("Read the standard-error log.")),
                QCommandLineOption(QStringLiteral("lines"), QStringLiteral("How many lines (default 100)."),
                                   QStringLiteral("N"), QStringLiteral("100"))};
    }

    int checkOptions(CommandContext &context, const QCommandLineParser &parser) override
    {
        if (!lines(parser)) {
            return context.usageError(u"--lines needs a non-negative integer, not '" %
                                      parser.value(QStringLiteral("lines")).trimmed() % u'\'');
        }
        return 0;
    }

    int executeOn(CommandContext &context, const QCommandLineParser &parser, const ScheduledTask &task) override
    {
        const std::optional<int> count = lines(parser);
        const LaunchdService files;
        const QString path =
            parser.isSet(QStringLiteral("stderr")) ? files.stderrLogPath(task) : files.stdoutLogPath(task);
        // Copied as read: a tail of millions of lines is never held, and where the system can copy
        // it from the log to the output by itself, it is not read in either.
        ByteOutput out(context.out);
        const qint64 written = RunHistory::streamLogTail(
            path, count.value_or(0), [&out](const char *data, qint64 size) { out.write(data, size); },
            [&out](int fd, qint64 offset, qint64 length) { return out.copyFromFile(fd, offset, length); });
        if (written > 0) {
            out.write("\n", 1);
        }
        return 0;
    }

private:
    static std::optional<int> lines(const QCommandLineParser &parser)
    {
        return OptionValues::wholeNumber(parser.value(QStringLiteral("lines")), 0, std::numeric_limits<int>::max());
    }
};

} // namespace

std::unique_ptr<Command> Commands::makeLogs()
{
    return std::make_unique<LogsCommand>();
}
