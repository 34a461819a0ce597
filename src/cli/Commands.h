#pragma once

#include "cli/Command.h"

#include <memory>
#include <vector>

// Every command, each made in its own file.
namespace Commands {

std::vector<std::unique_ptr<Command>> all();

std::unique_ptr<Command> makeList();
std::unique_ptr<Command> makeShow();
std::unique_ptr<Command> makeExport();
std::unique_ptr<Command> makeScript();
std::unique_ptr<Command> makePlist();
std::unique_ptr<Command> makeRun();
std::unique_ptr<Command> makeJobs();
std::unique_ptr<Command> makeAdd();
std::unique_ptr<Command> makeEdit();
std::unique_ptr<Command> makeEnable();
std::unique_ptr<Command> makeDisable();
std::unique_ptr<Command> makeDelete();
std::unique_ptr<Command> makeDuplicate();
std::unique_ptr<Command> makeImport();
std::unique_ptr<Command> makeWakeCommand();
std::unique_ptr<Command> makeHistory();
std::unique_ptr<Command> makeLogs();
std::unique_ptr<Command> makeTimeline();
std::unique_ptr<Command> makeTemplate();
std::unique_ptr<Command> makeStatus();
std::unique_ptr<Command> makeStart();
std::unique_ptr<Command> makeDoctor();
std::unique_ptr<Command> makeNext();
std::unique_ptr<Command> makeUnits();
std::unique_ptr<Command> makeAlert();

} // namespace Commands
