#pragma once

#include "cli/Command.h"

#include <QStringList>
#include <QTextStream>

#include <memory>
#include <vector>

// The `moxley` command line: finds the command, parses its options, runs it.
class Cli
{
public:
    Cli();
    ~Cli();

    // `arguments` excludes the program name. Returns the exit status.
    int run(const QStringList &arguments, QTextStream &out, QTextStream &err);

    const std::vector<std::unique_ptr<Command>> &commands() const { return m_commands; }

    // The positions (in `arguments` of run, without the program name) of the raw arguments that
    // are not UTF-8; run() refuses them instead of storing replacement characters.
    static QList<qsizetype> invalidUtf8Arguments(int argc, const char *const *argv);
    void setInvalidArguments(QList<qsizetype> positions) { m_invalidArguments = std::move(positions); }

private:
    const Command *find(const QString &name) const;
    void printHelp(QTextStream &stream) const;
    static void printCommandHelp(const Command &command, QTextStream &stream);
    // Hidden listings for the build (man page, shell completions); tab-separated, one item a line.
    void printCommandList(QTextStream &stream) const;
    static void printOptionList(const Command &command, QTextStream &stream);
    static QString notUtf8Message(const QStringList &arguments, qsizetype index);

    std::vector<std::unique_ptr<Command>> m_commands;
    QList<qsizetype> m_invalidArguments;
};
