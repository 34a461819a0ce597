#!/usr/bin/env bash
# Runs each libFuzzer target from its corpus and reports the inputs tried; fails on any finding.
set -euo pipefail
build=$1 runs=$2 seconds=$3
shift 3
mkdir -p "$build/findings"
status=0
for target in "$@"; do
  name=${target#fuzz_}
  corpus="$build/corpus/$name"
  mkdir -p "$corpus"
  cp -n fuzz/corpus/"$name"/* "$corpus"/ 2>/dev/null || true
  log="$build/findings/$target.log"
  # Words a target's input is made of, where it has them: numbers and keywords a mutation rarely hits.
  dict=()
  [ -f "fuzz/$name.dict" ] && dict=(-dict="fuzz/$name.dict")
  echo "fuzz: $target ($runs inputs at most, ${seconds}s at most)"
  if ASAN_OPTIONS=detect_leaks=1 "$build/fuzz/$target" "$corpus" "${dict[@]}" -runs="$runs" -max_total_time="$seconds" \
       -timeout=10 -rss_limit_mb=2048 -artifact_prefix="$build/findings/$target-" >"$log" 2>&1; then
    done_line=$(grep -E '^Done [0-9]+ runs' "$log" | tail -n 1)
    echo "fuzz: $target: ${done_line:-finished}"
  else
    echo "fuzz: $target FAILED; see $log" >&2
    tail -n 30 "$log" >&2
    status=1
  fi
done
exit $status
