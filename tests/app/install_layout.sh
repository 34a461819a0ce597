#!/usr/bin/env bash
# `make install DESTDIR=...` lays out the files the README lists, and the installed app starts:
# it shows the tasks the installed moxley tool made and paints its window (--screenshot).
#   install_layout.sh BUILD_DIR
set -euo pipefail
build=$1
source "$(dirname "$0")/feed_server.sh"
if [ "$(uname -s)" = Darwin ]; then
  echo "the macOS bundle layout is checked by hand (see README)"; exit 77
fi
work=$(mktemp -d)
trap 'stop_feed_server; rm -rf "$work"' EXIT
stage="$work/stage"
DESTDIR="$stage" cmake --install "$build" --prefix /usr/local >/dev/null

fail() { echo "FAIL: $*" >&2; exit 1; }

expected="./usr/local/bin/moxley
./usr/local/bin/moxley-app
./usr/local/lib/moxley/moxley-update-fetch.so
./usr/local/share/applications/com.moxley.Moxley.desktop
./usr/local/share/bash-completion/completions/moxley
./usr/local/share/fish/vendor_completions.d/moxley.fish
./usr/local/share/icons/hicolor/scalable/apps/com.moxley.Moxley.svg
./usr/local/share/man/man1/moxley-app.1.gz
./usr/local/share/man/man1/moxley.1.gz
./usr/local/share/metainfo/com.moxley.Moxley.metainfo.xml
./usr/local/share/zsh/site-functions/_moxley"
actual=$(cd "$stage" && find . -type f -o -type l | LC_ALL=C sort)
[ "$actual" = "$expected" ] || fail "installed files differ:"$'\n'"$actual"
for program in moxley moxley-app; do
  [ -x "$stage/usr/local/bin/$program" ] || fail "$program is not executable"
done
grep -qx 'Exec=moxley-app' "$stage/usr/local/share/applications/com.moxley.Moxley.desktop" || fail "desktop entry Exec"
grep -qx 'Icon=com.moxley.Moxley' "$stage/usr/local/share/applications/com.moxley.Moxley.desktop" || fail "desktop entry Icon"
# No hints either: one main category.
hints=$(desktop-file-validate "$stage/usr/local/share/applications/com.moxley.Moxley.desktop" 2>&1) || fail "desktop entry: $hints"
[ -z "$hints" ] || fail "desktop entry: $hints"
appstreamcli validate --no-net "$stage/usr/local/share/metainfo/com.moxley.Moxley.metainfo.xml" >/dev/null \
  || fail "AppStream metadata: $(appstreamcli validate --no-net "$stage/usr/local/share/metainfo/com.moxley.Moxley.metainfo.xml")"
grep -q '<launchable type="desktop-id">com.moxley.Moxley.desktop</launchable>' \
  "$stage/usr/local/share/metainfo/com.moxley.Moxley.metainfo.xml" || fail "metainfo does not launch the desktop entry"
# The newest release entry is this version: a release needs its entry.
version=$("$stage/usr/local/bin/moxley" --version | cut -d' ' -f2)
grep -m1 '<release ' "$stage/usr/local/share/metainfo/com.moxley.Moxley.metainfo.xml" | grep -q "version=\"$version\"" \
  || fail "metainfo has no release entry for $version first"
for page in moxley moxley-app; do
  warnings=$(gzip -dc "$stage/usr/local/share/man/man1/$page.1.gz" | groff -man -ww -z -Tutf8 2>&1)
  [ -z "$warnings" ] || fail "man page $page: $warnings"
done
head -c 200 "$stage/usr/local/share/icons/hicolor/scalable/apps/com.moxley.Moxley.svg" | grep -q '<svg' || fail "icon is not SVG"

# A private world: HOME, data folder, and a stand-in launchctl under MOXLEY_SYSROOT.
export HOME="$work/home" XDG_DATA_HOME="$work/home/.local/share" MOXLEY_SYSROOT="$work/sysroot"
unset DBUS_SESSION_BUS_ADDRESS
mkdir -p "$HOME" "$MOXLEY_SYSROOT/bin"
printf '#!/bin/sh\nexit 0\n' > "$MOXLEY_SYSROOT/bin/launchctl"
chmod 755 "$MOXLEY_SYSROOT/bin/launchctl"
bin="$stage/usr/local/bin"
"$bin/moxley" add --name "Nightly build" --command "npm run build" --daily --at 2:30 >/dev/null
"$bin/moxley" add --name "Poll status" --command "curl -fsS https://example.org" --every 15 >/dev/null
"$bin/moxley" add --name "Old cleanup" --command "find ~/Downloads -mtime +30 -delete" --monthly 1 --disabled >/dev/null
[ "$("$bin/moxley" list | wc -l)" -eq 3 ] || fail "moxley list"

QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen} timeout 60 "$bin/moxley-app" --screenshot "$work/window.png" \
  || fail "moxley-app did not start and paint its window"
[ "$(head -c 8 "$work/window.png" | od -An -tx1 | tr -d ' \n')" = 89504e470d0a1a0a ] || fail "no PNG written"
# Starting changed nothing: the same three tasks, byte for byte.
[ "$("$bin/moxley" list | wc -l)" -eq 3 ] || fail "tasks changed"

# The installed app finds its update module (lib/moxley beside bin/) and reads a real feed; without
# the module it says so and fails, without crashing.
start_feed_server "$work"
answer=$("$bin/moxley-app" --check-updates-from "$FEED_URL" 2>&1) || fail "update check: $answer"
[ "$answer" = "Moxley 9.0 is available; this is $version." ] || fail "update check answered: $answer"
module="$stage/usr/local/lib/moxley/moxley-update-fetch.so"
mv "$module" "$work/module-away"
status=0
answer=$("$bin/moxley-app" --check-updates-from "$FEED_URL" 2>&1) || status=$?
mv "$work/module-away" "$module"
[ "$status" -eq 1 ] || fail "update check without the module ended with status $status: $answer"
[[ $answer == "moxley-app: the update check failed: The update module could not be loaded: "* ]] \
  || fail "update check without the module answered: $answer"
echo "install layout and start: ok"
