#pragma once

#include "doctor/ProbeScript.h"
#include "model/ScheduledTask.h"

#include <QList>
#include <QString>

#include <optional>

// What stands between a task that works in a Test Run and the same task run by the scheduler:
// each problem a kind (as `doctor --json` names it) and a sentence that says how to fix it.
struct DoctorProblem {
    QString kind;
    QString text;
    friend bool operator==(const DoctorProblem &, const DoctorProblem &) = default;
};

namespace DoctorReport {
struct Facts {
    // Either side may be missing (its probe did not answer); the commands are then not compared.
    std::optional<ProbeScript::Answer> interactive;
    std::optional<ProbeScript::Answer> scheduled;
    QString wrapperShell;  // the wrapper's first line without "#!"
    bool jobLoaded = true; // only asked of enabled tasks
    QString home;
};
// The problems in the order a person would fix them: files first, then the commands.
QList<DoctorProblem> problems(const ScheduledTask &task, const QStringList &words, const Facts &facts);
} // namespace DoctorReport
