#!/usr/bin/env bash
# Every C++ file git tracks is as clang-format leaves it (.clang-format). One clang-format version
# decides: others break lines differently, so the check runs where that version is installed.
# Mend with: git ls-files '*.cpp' '*.h' '*.mm' | xargs clang-format-14 -i
set -euo pipefail
cd "$1"
formatter=$2
mapfile -t files < <(git ls-files '*.cpp' '*.h' '*.mm')
[ ${#files[@]} -gt 0 ] || { echo "no C++ files found in $1"; exit 1; }
if ! "$formatter" --dry-run --Werror "${files[@]}"; then
  echo "check-format: the files above are not formatted; run: git ls-files '*.cpp' '*.h' '*.mm' | xargs $(basename "$formatter") -i"
  exit 1
fi
echo "check-format: ${#files[@]} files formatted"
