#!/usr/bin/env bash
# The shipped symbols are what scripts/make-icons.py draws, byte for byte: a symbol drawn by hand
# and not added to the script would be lost the next time the script runs.
set -euo pipefail
source_dir=$1
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
python3 "$source_dir/scripts/make-icons.py" --out "$out"
diff -r "$source_dir/resources/icons" "$out/icons"
diff "$source_dir/resources/icons.qrc" "$out/icons.qrc"
