#pragma once

#include "systemd/TimerUnit.h"

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QList>
#include <QString>

#include <optional>

// The next and last elapse of each timer as its systemd manager reports them
// (`systemctl [--user] list-timers --all --output=json`).
namespace TimerElapse {

struct Elapse {
    std::optional<QDateTime> next;
    std::optional<QDateTime> last;
};

// By unit name. Output that is not the expected JSON gives nothing.
QHash<QString, Elapse> parse(const QByteArray &json);
// Asks the user's manager (`user`) or the system's; nothing when none answers.
QHash<QString, Elapse> query(bool user);
// Fills nextElapse and lastElapse of the timers their manager knows.
void apply(QList<TimerUnit> &timers);

} // namespace TimerElapse
