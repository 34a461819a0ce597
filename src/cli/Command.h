#pragma once

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QList>
#include <QString>

class CommandContext;

// One `moxley` command: its name, its help, its options, and one entry point that returns
// the exit status (0 success, 1 failure, 2 usage error).
class Command
{
public:
    virtual ~Command() = default;

    virtual QString name() const = 0;
    // "list [--json]"
    virtual QString synopsis() const = 0;
    // One line for `moxley --help`.
    virtual QString summary() const = 0;
    // More text for `moxley COMMAND --help`; may be empty.
    virtual QString details() const { return {}; }
    virtual QList<QCommandLineOption> options() const { return {}; }
    // How many positional arguments the command takes; maxArguments -1 means any number.
    virtual int minArguments() const { return 0; }
    virtual int maxArguments() const { return 0; }

    virtual int execute(CommandContext &context, const QCommandLineParser &parser) = 0;
};
