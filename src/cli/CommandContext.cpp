#include "cli/CommandContext.h"

#include "cli/Command.h"
#include "cli/TaskLookup.h"
#include "model/TaskMigration.h"
#include "platform/AppPaths.h"
#include "systemd/SchedulerChoice.h"

#include <QFile>

namespace {
// Each line of a message carries the prefix: a system tool's error text may run over several, and
// a reader (or grep) of standard error should see where every one comes from.
void printPrefixed(QTextStream &stream, const QString &prefix, const QString &message)
{
    QString text = message;
    while (text.endsWith(u'\n')) {
        text.chop(1);
    }
    for (const QStringView line : QStringView(text).split(u'\n')) {
        stream << prefix << line << '\n';
    }
    stream.flush();
}
} // namespace

int CommandContext::fail(const QString &message)
{
    printPrefixed(err, QStringLiteral("moxley: "), message);
    return 1;
}

int CommandContext::usageError(const QString &message)
{
    printPrefixed(err, QStringLiteral("moxley: "), message);
    const QString help =
        commandName.isEmpty() ? QStringLiteral("moxley --help") : u"moxley " % commandName % u" --help";
    err << "Try '" << help << "' for more information." << Qt::endl;
    return 2;
}

void CommandContext::notice(const QString &text)
{
    printPrefixed(err, QStringLiteral("moxley: notice: "), text);
}

std::optional<QList<ScheduledTask>> CommandContext::loadTasks()
{
    QFile file(AppPaths::tasksFile());
    if (!file.exists()) {
        return QList<ScheduledTask>{};
    }
    if (!file.open(QIODevice::ReadOnly)) {
        fail(u"Failed to load tasks: " % file.errorString());
        return std::nullopt;
    }
    const TaskMigration::ReadResult result = TaskMigration::read(file.readAll());
    if (!result.ok()) {
        fail(u"Failed to load tasks: " % result.error->description);
        return std::nullopt;
    }
    return result.tasks;
}

std::shared_ptr<JobScheduler> CommandContext::scheduler()
{
    if (!m_scheduler) {
        const SchedulerChoice::Choice choice = SchedulerChoice::fromEnvironment();
        m_scheduler =
            SchedulerChoice::make(choice.kind.value_or(JobScheduler::Kind::launchd), LaunchdService(), nullptr);
    }
    return m_scheduler;
}

std::optional<ScheduledTask> CommandContext::findTask(const QList<ScheduledTask> &tasks, const QString &query)
{
    const TaskLookup::Result found = TaskLookup::find(tasks, query);
    if (!found.task) {
        fail(found.error);
    }
    return found.task;
}

std::optional<ScheduledTask> CommandContext::loadTask(const QString &query)
{
    const auto tasks = loadTasks();
    return tasks ? findTask(*tasks, query) : std::nullopt;
}

int TaskCommand::execute(CommandContext &context, const QCommandLineParser &parser)
{
    if (const int usage = checkOptions(context, parser)) {
        return usage;
    }
    const auto task = context.loadTask(parser.positionalArguments().constFirst());
    return task ? executeOn(context, parser, *task) : 1;
}
