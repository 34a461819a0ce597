#!/usr/bin/env bash
# Starts the built app. Without a display (a server, a container) it runs under Xvfb so
# that it still starts; set DISPLAY to see the window.
#
# Linux: where the session's systemd user instance answers (`systemctl --user`), the app
# schedules tasks for real as systemd user timers. Only where it does not (a container, a
# server without a user session), and unless MOXLEY_SYSROOT is already set, the app is pointed
# at a development sysroot whose launchctl, pmset, osascript and shortcuts only record their
# calls (in $build/dev-sysroot/calls.log): tasks, scripts and job files are written for real,
# but nothing is scheduled.
set -euo pipefail
build=${1:-build}
app="$build/bin/moxley-app"
[ "$(uname -s)" = Darwin ] && app="$build/bin/moxley-app.app/Contents/MacOS/moxley-app"

if [ "$(uname -s)" != Darwin ] && [ -z "${MOXLEY_SYSROOT:-}" ] && [ -z "${MOXLEY_SCHEDULER:-}" ] &&
  systemctl --user show-environment >/dev/null 2>&1; then
  echo "run-app: using your systemd user instance: tasks run for real as systemd user timers (systemctl --user list-timers)"
elif [ "$(uname -s)" != Darwin ] && [ -z "${MOXLEY_SYSROOT:-}" ]; then
  root="$(cd "$build" && pwd)/dev-sysroot"
  mkdir -p "$root/bin" "$root/usr/bin" "$root/usr/local/bin" "$root/Library/LaunchAgents" "$root/Library/LaunchDaemons"
  log="$root/calls.log"
  for tool in bin/launchctl usr/bin/pmset usr/bin/osascript usr/bin/shortcuts; do
    name=$(basename "$tool")
    case "$name" in
      osascript) answer='echo "Administrator actions are not available in the Linux development sysroot." >&2; exit 1' ;;
      *) answer='exit 0' ;;
    esac
    printf '#!/bin/sh\nprintf "%%s %%s\\n" "%s" "$*" >> "%s"\n%s\n' "$name" "$log" "$answer" > "$root/$tool"
    chmod 755 "$root/$tool"
  done
  export MOXLEY_SYSROOT="$root"
  echo "run-app: no systemd user instance answers here; using the stand-in tools in $root (calls logged to calls.log), nothing is scheduled" >&2
fi

if [ "$(uname -s)" = Darwin ] || [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; then
  exec "$app" "${@:2}"
fi
echo "run-app: no display found; starting Moxley under Xvfb (set DISPLAY to see the window)" >&2
exec xvfb-run -a -s "-screen 0 1280x800x24" "$app" "${@:2}"
