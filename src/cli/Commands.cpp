#include "cli/Commands.h"

std::vector<std::unique_ptr<Command>> Commands::all()
{
    std::vector<std::unique_ptr<Command>> commands;
    // In the order `moxley --help` lists them: the everyday ones first.
    commands.push_back(makeList());
    commands.push_back(makeShow());
    commands.push_back(makeAdd());
    commands.push_back(makeEdit());
    commands.push_back(makeEnable());
    commands.push_back(makeDisable());
    commands.push_back(makeDelete());
    commands.push_back(makeDuplicate());
    commands.push_back(makeRun());
    commands.push_back(makeStart());
    commands.push_back(makeNext());
    commands.push_back(makeDoctor());
    commands.push_back(makeHistory());
    commands.push_back(makeLogs());
    commands.push_back(makeScript());
    commands.push_back(makePlist());
    commands.push_back(makeUnits());
    commands.push_back(makeWakeCommand());
    commands.push_back(makeExport());
    commands.push_back(makeImport());
    commands.push_back(makeJobs());
    commands.push_back(makeStatus());
    commands.push_back(makeTimeline());
    commands.push_back(makeTemplate());
    commands.push_back(makeAlert());
    return commands;
}
