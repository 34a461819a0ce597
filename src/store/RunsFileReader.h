#pragma once

#include "model/ScheduledTask.h"

#include <QList>
#include <QString>

namespace RunHistoryDetail {

// Every good line of a runs file, in file order; empty when the file cannot be read or is not
// UTF-8.
QList<TaskRunRecord> readRunsFile(const QString &runsPath);

} // namespace RunHistoryDetail
