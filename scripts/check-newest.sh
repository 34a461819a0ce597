#!/usr/bin/env bash
# Builds and tests Moxley with the newest Debian toolchain (Debian 13: clang 19, Qt 6.8, libplist
# 2.6) in a chroot made with mmdebstrap, with the project's own flags (-Wall -Wextra -Werror).
# The chroot stays in $NEWEST_DIR/root and is reused while it holds every package of the list.
# Needs root (mounts, chroot). NEWEST_TARGETS="a b" builds only those targets and NEWEST_TESTS=REGEX
# runs only the tests it matches (ctest -R), for a quicker look at a few.
set -euo pipefail
cd "$(dirname "$0")/.."
src=$PWD
# Kept outside the work tree, so a fresh clone on the same machine reuses the chroot and its caches.
dir=$(realpath -m "${NEWEST_DIR:-/var/cache/moxley/newest}")
root=$dir/root
suite=${NEWEST_SUITE:-trixie}
mirror=${NEWEST_MIRROR:-http://deb.debian.org/debian}
jobs=${JOBS:-$(nproc)}

[ "$(id -u)" -eq 0 ] || { echo "check-newest: needs root (mmdebstrap, mounts, chroot)" >&2; exit 1; }
command -v mmdebstrap >/dev/null || {
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends mmdebstrap >/dev/null ||
    { apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends mmdebstrap; }
}

# "name?" packages are added after the chroot is made, where Debian 13 has them.
mapfile -t packages < <(grep -v '^#' scripts/debian-packages.txt | grep . | grep -v '?$')
mapfile -t optional < <(grep -v '^#' scripts/debian-packages.txt | grep '?$' | sed 's/?$//')
packages+=(clang ccache)

# The marker is written last: a chroot without it was cut short and is made again. One that has
# it gets whatever packages the list gained since.
mkdir -p "$dir"
if findmnt -rn -o TARGET | grep -q "^$root/"; then
  echo "check-newest: $root still has mounts (another run?); unmount them first" >&2
  exit 1
fi
if [ ! -f "$root/.moxley-complete" ]; then
  rm -rf "$root" "$root.new"
  echo "check-newest: making the $suite chroot in $root"
  start=$SECONDS
  mmdebstrap --variant=apt --include="$(IFS=,; echo "${packages[*]}")" "$suite" "$root.new" "$mirror"
  touch "$root.new/.moxley-complete"
  mv "$root.new" "$root"
  echo "check-newest: chroot made in $((SECONDS - start)) s"
fi
# A reused chroot gets what the list gained since; "name?" packages come here too (the package
# lists are fetched first, as mmdebstrap leaves none behind), where the suite has them.
installed() { chroot "$root" dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'install ok installed'; }
available() { chroot "$root" apt-cache policy "$1" 2>/dev/null | grep -q 'Candidate: [^(]'; }
missing=()
pending=()
for p in "${packages[@]}"; do installed "$p" || missing+=("$p"); done
for p in "${optional[@]}"; do installed "$p" || pending+=("$p"); done
if [ ${#missing[@]} -gt 0 ] || [ ${#pending[@]} -gt 0 ]; then
  cp /etc/resolv.conf "$root/etc/resolv.conf"
  chroot "$root" apt-get update -qq
  for p in "${pending[@]}"; do ! available "$p" || missing+=("$p"); done
  if [ ${#missing[@]} -gt 0 ]; then
    echo "check-newest: adding ${missing[*]} to the chroot"
    chroot "$root" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
    chroot "$root" apt-get clean
  fi
fi

# Everything mounted is unmounted again, however the run ends.
mounted=()
cleanup() {
  local i
  for ((i = ${#mounted[@]} - 1; i >= 0; i--)); do
    umount "${mounted[i]}" 2>/dev/null || umount -l "${mounted[i]}" || true
  done
  mounted=()
}
trap cleanup EXIT
trap 'exit 130' INT TERM
mnt() { # mnt TARGET mount-arguments...
  local target=$root$1
  shift
  mkdir -p "$target"
  mount "$@" "$target"
  mounted+=("$target")
}

mkdir -p "$dir/build" "$dir/ccache"
mnt /proc -t proc proc
mnt /sys --rbind /sys
mount --make-rslave "$root/sys"
mnt /dev --rbind /dev
mount --make-rslave "$root/dev"
mnt /tmp -t tmpfs tmpfs
mnt /run -t tmpfs tmpfs
# The source is read-only in there: the build must not write into it.
mnt /src --bind "$src"
mount -o remount,bind,ro "$root/src"
mnt /build --bind "$dir/build"
mnt /ccache --bind "$dir/ccache"

start=$SECONDS
chroot "$root" /usr/bin/env -i PATH=/usr/bin:/bin:/usr/sbin:/sbin HOME=/tmp LANG=C.UTF-8 \
  CCACHE_DIR=/ccache CC=clang CXX=clang++ JOBS="$jobs" TARGETS="${NEWEST_TARGETS:-}" TESTS="${NEWEST_TESTS:-}" \
  /bin/bash -euo pipefail -c '
    clang++ --version | head -1
    dpkg-query -W -f="\${Package} \${Version}\n" qt6-base-dev libplist-dev
    cmake -S /src -B /build -G Ninja -DCMAKE_BUILD_TYPE=Debug -DMOXLEY_WERROR=ON >/dev/null
    # Every compile error at once, not only the first.
    cmake --build /build -j "$JOBS" ${TARGETS:+--target $TARGETS} -- -k 0
    cd /build && ctest --output-on-failure -j "$JOBS" ${TESTS:+-R "$TESTS"}
  '
echo "check-newest: built and tested in $((SECONDS - start)) s"
