#include "cli/CliJson.h"
#include "cli/Command.h"
#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/LocalTime.h"
#include "cli/OptionValues.h"

#include <QJsonArray>

#include <optional>

namespace {

const QString kAt = QStringLiteral("at");
const QString kCount = QStringLiteral("count");
const QString kJson = QStringLiteral("json");
constexpr int kMostCount = 100000;

class NextCommand : public TaskCommand
{
public:
    QString name() const override { return QStringLiteral("next"); }
    QString synopsis() const override
    {
        return QStringLiteral("next TASK [--count N] [--at YYYY-MM-DDTHH:MM] [--json]");
    }
    QString summary() const override { return QStringLiteral("Show a task's next run times."); }
    QString details() const override
    {
        return QStringLiteral("Local times as YYYY-MM-DD HH:MM, one a line, as the scheduler will fire them. An\n"
                              "interval task's times come from the scheduler where it can tell them. A run-at-load\n"
                              "or disabled task has none.");
    }
    QList<QCommandLineOption> options() const override
    {
        return {
            QCommandLineOption(kCount, QStringLiteral("How many times, 1 to 100000 (default 5)."), QStringLiteral("N")),
            QCommandLineOption(kAt, QStringLiteral("Take this local time as now."), QStringLiteral("YYYY-MM-DDTHH:MM")),
            QCommandLineOption(kJson, QStringLiteral("Print the times as one JSON array."))};
    }

    int executeOn(CommandContext &context, const QCommandLineParser &parser, const ScheduledTask &task) override
    {
        int count = 5;
        if (parser.isSet(kCount)) {
            // Bounded: every time is computed, and held for the JSON form, before the first is printed.
            const std::optional<int> given = OptionValues::wholeNumber(parser.value(kCount), 1, kMostCount);
            if (!given) {
                return context.usageError(u"--count needs a whole number from 1 to " % QString::number(kMostCount) %
                                          u", not '" % parser.value(kCount).trimmed() % u'\'');
            }
            count = *given;
        }
        const QTimeZone zone = LocalTime::zone();
        const auto at = LocalTime::now(parser, zone);
        if (const QString *problem = std::get_if<QString>(&at)) {
            return context.usageError(*problem);
        }
        const QDateTime now = std::get<QDateTime>(at);
        QJsonArray texts;
        for (const QDateTime &when : context.scheduler()->nextRuns(task, now, count)) {
            texts.append(when.toTimeZone(zone).toString(u"yyyy-MM-dd HH:mm"));
        }
        if (parser.isSet(kJson)) {
            context.out << QString::fromUtf8(CliJson::document(texts));
            return 0;
        }
        for (const QJsonValue &text : std::as_const(texts)) {
            context.out << text.toString() << '\n';
        }
        return 0;
    }
};

} // namespace

std::unique_ptr<Command> Commands::makeNext()
{
    return std::make_unique<NextCommand>();
}
