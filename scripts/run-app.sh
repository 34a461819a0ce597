#!/usr/bin/env bash
# Starts the built app. Without a display (a server, a container) it runs under Xvfb so
# that it still starts; set DISPLAY to see the window.
set -euo pipefail
build=${1:-build}
app="$build/bin/moxley-app"
[ "$(uname -s)" = Darwin ] && app="$build/bin/moxley-app.app/Contents/MacOS/moxley-app"
if [ "$(uname -s)" = Darwin ] || [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; then
  exec "$app" "${@:2}"
fi
echo "run-app: no display found; starting Moxley under Xvfb (set DISPLAY to see the window)" >&2
exec xvfb-run -a -s "-screen 0 1280x800x24" "$app" "${@:2}"
