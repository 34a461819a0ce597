#pragma once

#include "cli/Command.h"
#include "cli/CommandContext.h"
#include "launchd/LaunchdService.h"

// A read-only command that prints one of the texts LaunchdService generates for a task, exactly
// as installing would write it (also for a disabled task), with nothing added.
class GeneratedTextCommand : public TaskCommand
{
public:
    using Generator = QString (LaunchdService::*)(const ScheduledTask &) const;

    GeneratedTextCommand(QString name, QString summary, Generator generate)
        : m_name(std::move(name)), m_summary(std::move(summary)), m_generate(generate)
    {
    }

    QString name() const override { return m_name; }
    QString synopsis() const override { return m_name + u" TASK"; }
    QString summary() const override { return m_summary; }
    QString details() const override
    {
        return QStringLiteral("The text is exactly what installing the task writes, byte for byte, also for a\n"
                              "disabled task. Nothing is written or installed.");
    }
    int executeOn(CommandContext &context, const QCommandLineParser &, const ScheduledTask &task) override
    {
        // Generating is pure text: no folder is created, nothing is loaded.
        context.out << (LaunchdService().*m_generate)(task);
        return 0;
    }

private:
    QString m_name;
    QString m_summary;
    Generator m_generate;
};
