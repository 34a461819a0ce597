#include "cli/Commands.h"
#include "cli/GeneratedTextCommand.h"

std::unique_ptr<Command> Commands::makePlist()
{
    return std::make_unique<GeneratedTextCommand>(QStringLiteral("plist"),
                                                  QStringLiteral("Print the launchd property list of a task."),
                                                  &LaunchdService::plistText);
}
