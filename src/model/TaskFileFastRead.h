#pragma once

#include "model/ScheduledTask.h"

#include <QByteArrayView>
#include <QList>

#include <optional>

// The tasks file as this program writes it (version 2, the keys it knows, whole numbers where
// they belong) read straight into tasks without building a JSON document first: a third of the
// app's start-up with a thousand tasks went into that document. Anything else, from a byte-order
// mark to a key it does not know or a value out of range, gives nothing, and the full reader
// decides: it names what is wrong, and reads what is merely unusual. Whatever this returns is
// what the full reader returns for the same bytes.
namespace TaskFileFastRead {

std::optional<QList<ScheduledTask>> read(QByteArrayView bytes);

} // namespace TaskFileFastRead
