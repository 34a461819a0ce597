#pragma once

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QList>
#include <QString>

struct ScheduledTask;

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
    // Left out of `moxley --help` and the command list: for the program's own use.
    virtual bool hidden() const { return false; }

    virtual int execute(CommandContext &context, const QCommandLineParser &parser) = 0;
};

// A command on one task, named by its only argument (an id, a prefix of one, or a name). The
// task is looked up first; a failed lookup has printed its message and ends with status 1.
class TaskCommand : public Command
{
public:
    int minArguments() const override { return 1; }
    int maxArguments() const override { return 1; }
    int execute(CommandContext &context, const QCommandLineParser &parser) final;

protected:
    // Runs before the lookup, so a malformed option is a usage error whatever TASK names: 0 when
    // the options are fine, else the status of the usage error it has printed.
    virtual int checkOptions(CommandContext &, const QCommandLineParser &) { return 0; }
    virtual int executeOn(CommandContext &context, const QCommandLineParser &parser, const ScheduledTask &task) = 0;
};
