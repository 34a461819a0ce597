#!/usr/bin/env bash
# Installs what building, running and testing Moxley needs, and nothing that is already there.
# Debian/Ubuntu: apt-get (as root, or through sudo). macOS: Homebrew.
set -euo pipefail

debian_packages=(
  build-essential cmake ninja-build pkg-config git
  qt6-base-dev qt6-base-dev-tools qt6-svg-dev qt6-tools-dev qt6-qpa-plugins
  libplist-dev libplist++-dev qtkeychain-qt6-dev libgl-dev
  zsh xvfb xauth dbus fonts-dejavu-core libsecret-tools
  systemd
)
brew_packages=(cmake ninja pkg-config qt libplist qtkeychain)
# `--fuzz` adds what the libFuzzer targets need.
if [ "${1:-}" = --fuzz ]; then
  debian_packages+=(clang libclang-rt-dev)
  brew_packages+=(llvm)
fi

if [ "$(uname -s)" = Darwin ]; then
  command -v brew >/dev/null || { echo "install-deps: Homebrew is needed: https://brew.sh" >&2; exit 1; }
  missing=()
  for p in "${brew_packages[@]}"; do brew list --formula "$p" >/dev/null 2>&1 || missing+=("$p"); done
  [ ${#missing[@]} -eq 0 ] || brew install "${missing[@]}"
  exit 0
fi

command -v dpkg-query >/dev/null || { echo "install-deps: only Debian-like systems and macOS are supported" >&2; exit 1; }
missing=()
for p in "${debian_packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=()
[ "$(id -u)" -eq 0 ] || sudo=(sudo)
echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq
"${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
