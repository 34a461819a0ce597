#pragma once

#include <QString>

namespace BusAddress {

// The session bus: DBUS_SESSION_BUS_ADDRESS, else $XDG_RUNTIME_DIR/bus when that socket exists
// (sessions started by systemd put it there without always saying so); empty when there is none.
QString session();

} // namespace BusAddress
