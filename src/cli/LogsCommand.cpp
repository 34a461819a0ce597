#include "cli/ByteOutput.h"
#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "launchd/LaunchdService.h"
#include "store/RunHistory.h"

#include <limits>

namespace {

// Digits only: no sign, no blanks, within int.
std::optional<int> lineCount(const QString &text)
{
    if (text.isEmpty()) {
        return std::nullopt;
    }
    qint64 value = 0;
    for (const QChar c : text) {
        if (c < u'0' || c > u'9') {
            return std::nullopt;
        }
        value = value * 10 + (c.unicode() - u'0');
        if (value > std::numeric_limits<int>::max()) {
            return std::nullopt;
        }
    }
    return int(value);
}

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

    int executeOn(CommandContext &context, const QCommandLineParser &parser, const ScheduledTask &task) override
    {
        const QString linesText = parser.value(QStringLiteral("lines"));
        const auto lines = lineCount(linesText);
        if (!lines) {
            return context.usageError(u"--lines needs a non-negative integer, not '" + linesText + u'\'');
        }
        const LaunchdService files;
        const QString path =
            parser.isSet(QStringLiteral("stderr")) ? files.stderrLogPath(task) : files.stdoutLogPath(task);
        // Copied as read: a tail of millions of lines is never held.
        ByteOutput out(context.out);
        const qint64 written =
            RunHistory::streamLogTail(path, *lines, [&out](const char *data, qint64 size) { out.write(data, size); });
        if (written > 0) {
            out.write("\n", 1);
        }
        return 0;
    }
};

} // namespace

std::unique_ptr<Command> Commands::makeLogs()
{
    return std::make_unique<LogsCommand>();
}
