#pragma once

#include "launchd/LaunchdService.h"
#include "model/JobScheduler.h"

#include <memory>
#include <optional>

class PmsetServiceProtocol;

// Which scheduler runs the tasks, decided once at start-up by the app and the moxley tool alike:
// macOS: launchd, always. Elsewhere: MOXLEY_SCHEDULER ("launchd" or "systemd"); unset: launchd
// under MOXLEY_SYSROOT (the stand-in tools), systemd otherwise.
namespace SchedulerChoice {

struct Choice {
    std::optional<JobScheduler::Kind> kind;
    std::optional<QString> error; // an unknown MOXLEY_SCHEDULER: the one-line message
};
Choice fromEnvironment();
// The choice with MOXLEY_SCHEDULER left out (what the app falls back to after reporting an unknown one).
JobScheduler::Kind platformDefault();

// The chosen scheduler over these files; null with an unknown MOXLEY_SCHEDULER.
std::shared_ptr<JobScheduler> make(JobScheduler::Kind kind, const LaunchdService &files,
                                   std::shared_ptr<PmsetServiceProtocol> pmset);

} // namespace SchedulerChoice
