#include "cli/Commands.h"
#include "cli/GeneratedTextCommand.h"

std::unique_ptr<Command> Commands::makeScript()
{
    return std::make_unique<GeneratedTextCommand>(
        QStringLiteral("script"), QStringLiteral("Print the wrapper script that launchd runs for a task."),
        &LaunchdService::scriptText);
}
