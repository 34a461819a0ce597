#pragma once

#include "model/ScheduledTask.h"

#include <QByteArray>
#include <QJsonObject>
#include <QJsonValue>

class LaunchdService;

// The JSON shapes that `--json` prints.
namespace CliJson {

// id, shortId, name, command, the optional folders, flags, schedule (tasks-file form) and description;
// with a service, also "files".
QJsonObject task(const ScheduledTask &task, const LaunchdService *files = nullptr);
// One document and a line feed.
QByteArray document(const QJsonValue &value);

} // namespace CliJson
