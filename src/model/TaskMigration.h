#pragma once

#include "model/ScheduledTask.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

// Turns the bytes of a tasks file of any known version into the current task list,
// and writes the current envelope: {"tasks": [...], "version": 2}.
namespace TaskMigration {

inline constexpr int kCurrentVersion = 2;

struct Error {
    enum class Kind { invalidJson, unrecognizedFormat, unknownVersion, decoding };
    Kind kind = Kind::unrecognizedFormat;
    qint64 version = 0; // for unknownVersion
    QString description;

    static Error unknownVersion(qint64 version);
    static Error unrecognizedFormat();
};

struct ReadResult {
    QList<ScheduledTask> tasks;
    std::optional<Error> error;
    int version = 0; // the version detected, when the layout was recognised
    bool ok() const { return !error.has_value(); }
};

ReadResult read(const QByteArray &bytes);
// The same through a JSON document, which takes any file: read() goes this way whenever its quick
// way for the file as this program writes it (TaskFileFastRead) declines.
ReadResult readDocument(const QByteArray &bytes);

// The version 2 envelope in the tasks-file layout (pretty, sorted keys).
QByteArray encode(const QList<ScheduledTask> &tasks);

} // namespace TaskMigration
