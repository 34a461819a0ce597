#!/usr/bin/env bash
# The hosted-CI workflow is valid YAML by yamllint's rules (.yamllint), and what its macOS job runs
# is exactly what the README's "Building on macOS" tells a Mac user to type.
set -euo pipefail
cd "$1"
workflow=.github/workflows/ci.yml
yamllint -s "$workflow"

# The commands of the README's Mac code block, without their comments.
readme=$(awk '/^## Building on macOS/ {on = 1; next} on && /^## / {exit} on' README.md |
  awk '/^```/ {inside = !inside; next} inside' | sed 's/#.*//; s/[[:space:]]*$//' | grep .)
# The macOS job's run: lines.
job=$(awk '/^  macos:/ {on = 1; next} on && /^  [a-z]/ {exit} on' "$workflow" |
  sed -n 's/^ *run: *//p')
[ -n "$readme" ] || { echo "no commands in the README's Mac section"; exit 1; }
[ -n "$job" ] || { echo "no run: lines in the macOS job"; exit 1; }
while IFS= read -r command; do
  grep -qxF -- "$command" <<<"$readme" || { echo "macOS job runs '$command', which the README does not say"; exit 1; }
done <<<"$job"
grep -qxF 'make test' <<<"$job" || { echo "the macOS job does not run the tests"; exit 1; }
echo "workflow: valid; macOS job runs: $(tr '\n' ';' <<<"$job")"
