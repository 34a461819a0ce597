#include "cli/Cli.h"

#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "systemd/SchedulerChoice.h"

#include <QStringDecoder>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {
const QCommandLineOption &helpOption()
{
    static const QCommandLineOption option(QStringList{QStringLiteral("h"), QStringLiteral("help")},
                                           QStringLiteral("Show this help."));
    return option;
}

QStringList dashedNames(const QCommandLineOption &option)
{
    QStringList names;
    for (const QString &n : option.names()) {
        names << (n.size() == 1 ? QString(u"-" % n) : QString(u"--" % n));
    }
    return names;
}

// An unknown option as it was typed ("--bogus", "-x"), not as the parser names it ("bogus").
QString typedOption(const QStringList &arguments, const QString &name)
{
    for (const QString &argument : arguments) {
        if (argument == u"--" || !argument.startsWith(u'-')) {
            continue;
        }
        QString bare = argument.mid(argument.startsWith(u"--") ? 2 : 1);
        bare = bare.left(bare.indexOf(u'='));
        if (bare == name) {
            return argument.left(argument.indexOf(u'='));
        }
    }
    return (name.size() == 1 ? u"-"_s : u"--"_s) + name;
}

QString parseError(const QCommandLineParser &parser, const QStringList &arguments)
{
    const QStringList unknown = parser.unknownOptionNames();
    if (!unknown.isEmpty()) {
        return u"unknown option '" % typedOption(arguments, unknown.constFirst()) % u'\'';
    }
    QString message = parser.errorText();
    // Qt ends its messages with a full stop; ours read as one clause.
    if (message.endsWith(u'.')) {
        message.chop(1);
    }
    return message.left(1).toLower() + message.mid(1);
}
} // namespace

Cli::Cli() : m_commands(Commands::all())
{
}

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
        width = std::max(width, command->hidden() ? 0 : command->name().size());
    }
    for (const auto &command : m_commands) {
        if (command->hidden()) {
            continue;
        }
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
            QString left = dashedNames(option).join(u", ");
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

void Cli::printCommandList(QTextStream &stream) const
{
    for (const auto &command : m_commands) {
        if (command->hidden()) {
            continue;
        }
        stream << command->name() << '\t' << command->synopsis() << '\t' << command->summary() << '\n';
    }
    stream.flush();
}

void Cli::printOptionList(const Command &command, QTextStream &stream)
{
    for (const QCommandLineOption &option : command.options()) {
        stream << dashedNames(option).join(u',') << '\t' << option.valueName() << '\t' << option.description() << '\n';
    }
    stream.flush();
}

QList<qsizetype> Cli::invalidUtf8Arguments(int argc, const char *const *argv)
{
    QList<qsizetype> invalid;
    for (int i = 1; i < argc; ++i) {
        QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        // decode() converts only once its result becomes a QString.
        const QString decoded = decoder.decode(QByteArrayView(argv[i]));
        if (decoder.hasError()) {
            invalid << i - 1;
        }
    }
    return invalid;
}

QString Cli::notUtf8Message(const QStringList &arguments, qsizetype index)
{
    // The tasks file is UTF-8 JSON: a byte that is not UTF-8 would be stored as U+FFFD, silently.
    const QString &argument = arguments.at(index);
    QString what = u"argument "_s + QString::number(index + 1);
    if (argument.startsWith(u"--") && argument.contains(u'=')) {
        what = argument.left(argument.indexOf(u'='));
    } else if (index > 0 && arguments.at(index - 1).startsWith(u'-') && !argument.startsWith(u'-')) {
        what = arguments.at(index - 1).left(arguments.at(index - 1).indexOf(u'='));
    }
    return what % u" is not valid UTF-8 text; the tasks file keeps text as UTF-8 only";
}

int Cli::run(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    CommandContext context(out, err);
    if (arguments.isEmpty()) {
        return context.usageError(u"missing command"_s);
    }
    if (!m_invalidArguments.isEmpty()) {
        return context.usageError(notUtf8Message(arguments, m_invalidArguments.constFirst()));
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
    if (first == u"--list-commands" && arguments.size() == 1) {
        printCommandList(out);
        return 0;
    }
    if (first == u"--list-options" && arguments.size() == 2) {
        if (const Command *command = find(arguments.at(1))) {
            printOptionList(*command, out);
            return 0;
        }
        return context.usageError(u"unknown command '" % arguments.at(1) % u'\'');
    }
    if (first.startsWith(u'-')) {
        return context.usageError(u"unknown option '" % first.left(first.indexOf(u'=')) % u'\'');
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
        return context.usageError(parseError(parser, arguments.mid(1)));
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
