#!/usr/bin/env bash
# Installs what building, running and testing Moxley needs, and nothing that is already there.
# Debian/Ubuntu: apt-get (as root, or through sudo). macOS: Homebrew.
set -euo pipefail

# One list for this machine and the Debian 13 chroot of `make check-newest`.
mapfile -t debian_packages < <(grep -v '^#' "$(dirname "$0")/debian-packages.txt" | grep .)
# Only the Qt modules the build uses, not the whole `qt` formula.
brew_packages=(cmake ninja pkg-config qtbase qtsvg libplist python)
# `--fuzz` adds what the libFuzzer targets need; `--package` what building and checking the
# Debian package needs (scripts/check-package.sh).
if [ "${1:-}" = --fuzz ]; then
  debian_packages+=(clang libclang-rt-dev)
  brew_packages+=(llvm)
fi
if [ "${1:-}" = --package ]; then
  debian_packages+=(dpkg-dev file lintian man-db bash-completion)
fi

if [ "$(uname -s)" = Darwin ]; then
  command -v brew >/dev/null || { echo "install-deps: Homebrew is needed: https://brew.sh" >&2; exit 1; }
  missing=()
  for p in "${brew_packages[@]}"; do brew list --formula "$p" >/dev/null 2>&1 || missing+=("$p"); done
  [ ${#missing[@]} -eq 0 ] || brew install "${missing[@]}"
  exit 0
fi

command -v dpkg-query >/dev/null || { echo "install-deps: only Debian-like systems and macOS are supported" >&2; exit 1; }
installed() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'install ok installed'; }
missing=()
optional=() # "name?" lines: wanted only where the suite has the package
for p in "${debian_packages[@]}"; do
  if [ "${p%\?}" != "$p" ]; then
    installed "${p%\?}" || optional+=("${p%\?}")
  else
    installed "$p" || missing+=("$p")
  fi
done
# A package the suite has shows a candidate version; one it lacks shows "(none)" or nothing.
available() {
  local candidate
  candidate=$(apt-cache policy "$1" 2>/dev/null | sed -n 's/^ *Candidate: //p')
  [ -n "$candidate" ] && [ "$candidate" != "(none)" ]
}
wanted=()
for p in "${optional[@]}"; do available "$p" && wanted+=("$p") || true; done
[ ${#missing[@]} -eq 0 ] && [ ${#wanted[@]} -eq 0 ] && exit 0

sudo=()
[ "$(id -u)" -eq 0 ] || sudo=(sudo)
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq
# Fresh package lists may know an optional package the old ones did not.
for p in "${optional[@]}"; do available "$p" && missing+=("$p") || true; done
[ ${#missing[@]} -eq 0 ] && exit 0
echo "install-deps: installing ${missing[*]}"
"${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
