#!/usr/bin/env bash
# Builds the Debian package, checks it (lintian, AppStream, desktop entry), installs it with apt-get
# as a user would, uses what it installed (the tool, the man page, the completions, the app), and
# removes it again. Run as root or with sudo; .ci/run calls it after the test suite.
#   check-package.sh [DEB]   with DEB: checks that package instead of building one
set -euo pipefail
cd "$(dirname "$0")/.."
export DEBIAN_FRONTEND=noninteractive
build=${PACKAGE_BUILD:-build-package}

sudo=()
[ "$(id -u)" -eq 0 ] || sudo=(sudo)
fail() { echo "check-package: FAIL: $*" >&2; exit 1; }
step() { echo "check-package: $*"; }

if [ $# -ge 1 ]; then
  deb=$1
else
  make package PACKAGE_BUILD="$build"
  debs=("$build"/moxley_*.deb)
  [ ${#debs[@]} -eq 1 ] && [ -f "${debs[0]}" ] || fail "expected one moxley_*.deb in $build"
  deb=${debs[0]}
fi
[[ $deb == /* ]] || deb=./$deb
step "package $deb"
dpkg-deb --info "$deb" | sed -n '/Package:/,$p'

# lintian: errors fail; the warnings kept are listed, with the reason, in the README.
step "lintian"
lintian_log=$(mktemp)
lintian --tag-display-limit 0 "$deb" | tee "$lintian_log" || true
if grep -q '^E:' "$lintian_log"; then
  fail "lintian reports errors"
fi

contents=$(dpkg-deb --contents "$deb" | awk '{print $6}')
for file in ./usr/bin/moxley ./usr/bin/moxley-app ./usr/share/man/man1/moxley.1.gz \
  ./usr/share/man/man1/moxley-app.1.gz ./usr/share/bash-completion/completions/moxley \
  ./usr/share/zsh/vendor-completions/_moxley ./usr/share/fish/vendor_completions.d/moxley.fish \
  ./usr/share/metainfo/com.moxley.Moxley.metainfo.xml ./usr/share/applications/com.moxley.Moxley.desktop \
  ./usr/share/icons/hicolor/scalable/apps/com.moxley.Moxley.svg ./usr/share/doc/moxley/copyright \
  ./usr/share/doc/moxley/changelog.Debian.gz; do
  grep -qx -- "$file" <<<"$contents" || fail "the package lacks $file"
done
# The update check's network module, in the package's library folder (multiarch on Debian).
module=$(grep -E '^\./usr/lib/([^/]+/)?moxley/moxley-update-fetch\.so$' <<<"$contents") \
  || fail "the package lacks the update module (usr/lib/.../moxley/moxley-update-fetch.so)"
module=${module#.}
depends=$(dpkg-deb --field "$deb" Depends)
# The libraries come from shlibdeps; the two plugin packages from DebianPackage.cmake.
# libqt6network6 only through the update module, which the app loads when a check is made.
for library in libqt6core6 libqt6widgets6 libqt6network6 libplist qt6-qpa-plugins "qt6-svg-plugins | libqt6svg6"; do
  grep -qF "$library" <<<"$depends" || fail "Depends lacks $library: $depends"
done
[ "$(dpkg-deb --field "$deb" Section)" = utils ] || fail "section is not utils"

step "install"
"${sudo[@]}" apt-get install -y -qq "$deb"
source tests/app/feed_server.sh
trap 'stop_feed_server; "${sudo[@]}" apt-get remove -y -qq moxley >/dev/null 2>&1 || true' EXIT
[ "$(command -v moxley)" = /usr/bin/moxley ] || fail "moxley is not /usr/bin/moxley"
version=$(moxley --version)
step "$version"
[ "$version" = "moxley $(dpkg-query -W -f='${Version}' moxley | sed 's/-[^-]*$//')" ] || fail "version $version"

man_page=$(man -w moxley)
[ "$man_page" = /usr/share/man/man1/moxley.1.gz ] || fail "man -w moxley: $man_page"
# Every command of `moxley --help` has its section in the installed page.
commands=$(moxley --help | sed -n '/^Commands:/,/^$/p' | awk 'NF > 1 {print $1}')
[ -n "$commands" ] || fail "no commands in moxley --help"
page=$(MANWIDTH=200 man -P cat moxley 2>/dev/null)
for command in $commands; do
  grep -q "^   $command\$" <<<"$page" || fail "man moxley has no section for '$command'"
done
man -w moxley-app >/dev/null || fail "man -w moxley-app"

appstreamcli validate --no-net /usr/share/metainfo/com.moxley.Moxley.metainfo.xml
hints=$(desktop-file-validate /usr/share/applications/com.moxley.Moxley.desktop 2>&1) || fail "desktop-file-validate: $hints"
[ -z "$hints" ] || fail "desktop-file-validate: $hints"

step "bash completion"
bash -c 'source /usr/share/bash-completion/completions/moxley; complete -p moxley' | grep -qx 'complete -F _moxley moxley' \
  || fail "complete -p moxley"
# Through bash-completion's own loader, as an interactive shell finds it.
if [ -f /usr/share/bash-completion/bash_completion ]; then
  bash -c 'source /usr/share/bash-completion/bash_completion; __load_completion moxley; complete -p moxley' \
    | grep -q _moxley || fail "bash-completion does not load moxley's completion"
fi
words=$(bash -c 'source /usr/share/bash-completion/completions/moxley
  COMP_WORDS=(moxley lis); COMP_CWORD=1; _moxley; printf "%s\n" "${COMPREPLY[@]}"')
[ "$words" = list ] || fail "bash completes 'moxley lis' as: $words"

step "zsh completion"
zsh -f -c 'autoload -U compinit; compinit -u -D; (( $+_comps[moxley] ))' || fail "zsh finds no completion for moxley"

if command -v fish >/dev/null; then
  step "fish completion"
  words=$(fish -c 'complete -C "moxley lis"' | cut -f1)
  [ "$words" = list ] || fail "fish completes 'moxley lis' as: $words"
fi

step "the installed app, offscreen"
work=$(mktemp -d)
HOME="$work" XDG_DATA_HOME="$work/data" XDG_RUNTIME_DIR="$work" QT_QPA_PLATFORM=offscreen \
  timeout 60 moxley-app --screenshot "$work/window.png" || fail "moxley-app did not start"
[ "$(head -c 8 "$work/window.png" | od -An -tx1 | tr -d ' \n')" = 89504e470d0a1a0a ] || fail "moxley-app wrote no PNG"

step "the installed app's update check"
# QtNetwork is not among what the app links; a check loads it through the installed module.
if LD_TRACE_LOADED_OBJECTS=1 /usr/bin/moxley-app | grep -E 'libQt6Network|libkrb5|libproxy'; then
  fail "/usr/bin/moxley-app links the above"
fi
start_feed_server "$work"
answer=$(LD_DEBUG=files LD_DEBUG_OUTPUT="$work/check" moxley-app --check-updates-from "$FEED_URL" 2>&1) \
  || fail "moxley-app --check-updates-from: $answer"
stop_feed_server
[ "$answer" = "Moxley 9.0 is available; this is $(moxley --version | cut -d' ' -f2)." ] || fail "update check: $answer"
grep -q "file=$module \[0\];  dynamically loaded" "$work"/check.* || fail "the check did not load $module"
rm -rf "$work"

step "remove"
trap - EXIT
"${sudo[@]}" apt-get remove -y -qq moxley
! dpkg-query -W -f='${Status}' moxley 2>/dev/null | grep -q 'install ok installed' || fail "moxley is still installed"
[ ! -e /usr/bin/moxley ] && [ ! -e /usr/share/man/man1/moxley.1.gz ] && [ ! -e "$module" ] || fail "files left after removal"
step "ok"
