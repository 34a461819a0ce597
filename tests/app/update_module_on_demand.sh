#!/usr/bin/env bash
# moxley-app loads QtNetwork only for an update check, as the dynamic loader itself reports it
# (LD_DEBUG=files names every library loaded, at start and by dlopen later; glibc only): starting
# and painting the window loads neither the update module nor QtNetwork, while
# --check-updates-from loads the module from beside the executable, QtNetwork with it, and reads
# a real feed from a local server.
#   update_module_on_demand.sh MOXLEY_APP
set -euo pipefail
app=$1
source "$(dirname "$0")/feed_server.sh"
work=$(mktemp -d)
trap 'stop_feed_server; rm -rf "$work"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

# A private world, as install_layout.sh gives the installed app.
export HOME="$work/home" XDG_DATA_HOME="$work/home/.local/share" XDG_RUNTIME_DIR="$work/run"
export MOXLEY_SYSROOT="$work/sysroot" QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen}
unset DBUS_SESSION_BUS_ADDRESS
mkdir -p "$HOME" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"

# traced NAME ARGS...: runs the app with LD_DEBUG=files, its output into $work/NAME.out, and
# writes into $work/NAME.libraries what the loader loaded into that process (its children, if
# any, write logs of their own).
traced() {
  local name=$1 pid
  shift
  LD_DEBUG=files LD_DEBUG_OUTPUT="$work/$name.log" "$app" "$@" >"$work/$name.out" &
  pid=$!
  wait "$pid" || fail "moxley-app $* ended with status $?: $(cat "$work/$name.out")"
  sed -n 's/^ *[0-9]*:[[:space:]]*file=\([^ ]*\) \[[0-9]*\];  \(needed\|dynamically loaded\) by .*/\1/p' \
    "$work/$name.log.$pid" | sort -u >"$work/$name.libraries"
}

traced start --screenshot "$work/window.png"
[ "$(head -c 8 "$work/window.png" | od -An -tx1 | tr -d ' \n')" = 89504e470d0a1a0a ] || fail "no window painted"
started=$(cat "$work/start.libraries")
# The list is the loader's: it holds what the program links and what Qt loads by dlopen.
grep -q 'libQt6Widgets' <<<"$started" || fail "no list of libraries at start: $started"
grep -q 'platforms/libqoffscreen' <<<"$started" || fail "the platform plugin (dlopen) is not in the list: $started"
if grep -E 'libQt6Network|libkrb5|libproxy|moxley-update-fetch' <<<"$started"; then
  fail "moxley-app loaded the above at start"
fi

start_feed_server "$work"
traced check --check-updates-from "$FEED_URL"
grep -qx "Moxley 9.0 is available; this is [0-9.]*\." "$work/check.out" || fail "the check answered: $(cat "$work/check.out")"
checked=$(cat "$work/check.libraries")
module=$(cd "$(dirname "$app")" && pwd)/moxley-update-fetch.so
grep -qx -- "$module" <<<"$checked" || fail "the check did not load $module: $checked"
grep -q 'libQt6Network' <<<"$checked" || fail "the check loaded no QtNetwork: $checked"
echo "start: $(wc -l <<<"$started") libraries, no QtNetwork; a check: the module from $(dirname "$module"), QtNetwork"
