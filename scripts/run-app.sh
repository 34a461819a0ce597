#!/usr/bin/env bash
# Starts the built app. Without a display (a server, a container) it runs under Xvfb so
# that it still starts; set DISPLAY to see the window.
#
# Linux: where the session's systemd user instance answers (`systemctl --user`), the app
# schedules tasks for real as systemd user timers. Where none runs but we are root (a container),
# a user instance of our own is started for the app (its runtime folder $build/dev-runtime) and
# kept running for the next start, so tasks still run for real. Only where neither works, and
# unless MOXLEY_SYSROOT is already set, the app is pointed at a development sysroot whose
# launchctl, pmset, osascript and shortcuts only record their calls (in
# $build/dev-sysroot/calls.log): tasks, scripts and job files are written for real, but nothing
# is scheduled.
set -euo pipefail
build=${1:-build}
app="$build/bin/moxley-app"
[ "$(uname -s)" = Darwin ] && app="$build/bin/moxley-app.app/Contents/MacOS/moxley-app"

user_manager_answers() { systemctl --user show-environment >/dev/null 2>&1; }

# A `systemd --user` of our own where no session started one: systemd needs /run/systemd/system
# to believe it runs on a systemd machine, which only root may create.
own_user_manager() {
  local manager="" candidate runtime i
  for candidate in /usr/lib/systemd/systemd /lib/systemd/systemd; do
    [ -x "$candidate" ] && manager=$candidate && break
  done
  [ -n "$manager" ] && [ "$(id -u)" -eq 0 ] && command -v systemctl >/dev/null || return 1
  runtime="$(mkdir -p "$build/dev-runtime" && cd "$build/dev-runtime" && pwd)"
  chmod 700 "$runtime"
  export XDG_RUNTIME_DIR=$runtime
  user_manager_answers && return 0
  mkdir -p /run/systemd/system
  setsid "$manager" --user >"$runtime/manager.log" 2>&1 </dev/null &
  for ((i = 0; i < 100; i++)); do
    case "$(systemctl --user is-system-running 2>/dev/null || true)" in
      running | degraded) return 0 ;;
    esac
    sleep 0.1
  done
  echo "run-app: systemd --user did not start (see $runtime/manager.log)" >&2
  unset XDG_RUNTIME_DIR
  return 1
}

if [ "$(uname -s)" != Darwin ] && [ -z "${MOXLEY_SYSROOT:-}" ] && [ -z "${MOXLEY_SCHEDULER:-}" ] &&
  user_manager_answers; then
  echo "run-app: using your systemd user instance: tasks run for real as systemd user timers (systemctl --user list-timers)"
elif [ "$(uname -s)" != Darwin ] && [ -z "${MOXLEY_SYSROOT:-}" ] && [ -z "${MOXLEY_SCHEDULER:-}" ] &&
  own_user_manager; then
  export MOXLEY_SCHEDULER=systemd
  echo "run-app: no session systemd user instance; started one of our own: tasks run for real as systemd user timers" \
    "while it runs (XDG_RUNTIME_DIR=$XDG_RUNTIME_DIR systemctl --user list-timers; stop it with: ... systemctl --user exit)"
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
