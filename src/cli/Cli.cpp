#include "cli/Cli.h"

#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "systemd/SchedulerChoice.h"

#include <algorithm>

namespace {
const QCommandLineOption &helpOption()
{
    static const QCommandLineOption option(QStringList{QStringLiteral("h"), QStringLiteral("help")},
                                           QStringLiteral("Show this help."));
    return option;
}
} // namespace

Cli::Cli() : m_commands(Commands::all()) {}

Cli::~Cli() = default;

const Command *Cli::find(const QString &name) const
{
    for (const auto &command : m_commands) {
        if (command->name() == name) {
            return command.get();
        }
    }
    return nullptr;
}

void Cli::printHelp(QTextStream &stream) const
{
    stream << "Usage: moxley COMMAND [OPTIONS] [ARGS]\n\n"
           << "Schedules shell commands as launchd jobs or systemd timers; shares its tasks with the Moxley app.\n\n"
           << "Commands:\n";
    qsizetype width = 0;
    for (const auto &command : m_commands) {
        width = std::max(width, command->name().size());
    }
    for (const auto &command : m_commands) {
        stream << "  " << command->name().leftJustified(width + 2) << command->summary() << '\n';
    }
    stream << "\nTASK is a task's id, a unique prefix of it (4 characters or more), or its name.\n"
           << "Run 'moxley COMMAND --help' for the options of a command; 'moxley --version' for the version.\n";
    stream.flush();
}

void Cli::printCommandHelp(const Command &command, QTextStream &stream)
{
    stream << "Usage: moxley " << command.synopsis() << "\n\n" << command.summary() << '\n';
    if (!command.details().isEmpty()) {
        stream << '\n' << command.details() << '\n';
    }
    const QList<QCommandLineOption> options = command.options();
    if (!options.isEmpty()) {
        stream << "\nOptions:\n";
        QStringList lefts;
        qsizetype width = 0;
        for (const QCommandLineOption &option : options) {
            QStringList names;
            for (const QString &n : option.names()) {
                names << (n.size() == 1 ? QString(u"-" % n) : QString(u"--" % n));
            }
            QString left = names.join(u", ");
            if (!option.valueName().isEmpty()) {
                left += u' ' % option.valueName();
            }
            width = std::max(width, left.size());
            lefts << left;
        }
        for (qsizetype i = 0; i < options.size(); ++i) {
            stream << "  " << lefts.at(i).leftJustified(width + 2) << options.at(i).description() << '\n';
        }
    }
    stream.flush();
}

int Cli::run(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    CommandContext context(out, err);
    if (arguments.isEmpty()) {
        printHelp(err);
        return 2;
    }
    const QString first = arguments.first();
    if (first == u"--help" || first == u"-h" || first == u"help") {
        if (first == u"help" && arguments.size() > 1) {
            if (const Command *command = find(arguments.at(1))) {
                printCommandHelp(*command, out);
                return 0;
            }
            return context.usageError(u"unknown command '" % arguments.at(1) % u'\'');
        }
        printHelp(out);
        return 0;
    }
    if (first == u"--version" || first == u"-V") {
        out << "moxley " << MOXLEY_VERSION << Qt::endl;
        return 0;
    }
    if (first.startsWith(u'-')) {
        return context.usageError(u"unknown option '" % first % u'\'');
    }
    Command *command = const_cast<Command *>(find(first));
    if (!command) {
        return context.usageError(u"unknown command '" % first % u'\'');
    }
    context.commandName = command->name();

    QCommandLineParser parser;
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    parser.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsOptions);
    parser.addOption(helpOption());
    parser.addOptions(command->options());
    if (!parser.parse(QStringList{u"moxley " % command->name()} + arguments.mid(1))) {
        QString message = parser.errorText();
        // Qt ends its messages with a full stop; ours read as one clause.
        if (message.endsWith(u'.')) {
            message.chop(1);
        }
        return context.usageError(message.left(1).toLower() + message.mid(1));
    }
    if (parser.isSet(helpOption())) {
        printCommandHelp(*command, out);
        return 0;
    }
    const qsizetype count = parser.positionalArguments().size();
    if (count < command->minArguments()) {
        return context.usageError(QStringLiteral("missing argument: ") % command->synopsis());
    }
    if (command->maxArguments() >= 0 && count > command->maxArguments()) {
        return context.usageError(u"unexpected argument '" % parser.positionalArguments().at(command->maxArguments()) %
                                  u'\'');
    }
    if (const auto error = SchedulerChoice::fromEnvironment().error) {
        err << "moxley: " << *error << Qt::endl;
        return 2;
    }
    const int status = command->execute(context, parser);
    out.flush();
    err.flush();
    return status;
}
