#!/usr/bin/env bash
# Builds the fuzz targets, replays each one's seeds, then fuzzes it for a
# short while. Any finding fails the run. Usage: scripts/fuzz-smoke.sh [seconds]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-30}

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j2

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
passed=0
failed=0
for seeds in fuzz/corpus/*/; do
  target=$(basename "$seeds")
  mkdir "$work/$target"
  log="$work/$target.log"
  if build/fuzz/fuzz/"$target" -runs=0 "$seeds" >"$log" 2>&1 &&
     build/fuzz/fuzz/"$target" -max_total_time="$seconds" -print_final_stats=1 \
       -artifact_prefix="$work/$target-" "$work/$target" "$seeds" >>"$log" 2>&1; then
    echo "$target: $(grep -E '^#[0-9]+[[:space:]]+DONE' "$log" | tail -n 1)"
    passed=$((passed + 1))
  else
    cat "$log"
    for crash in "$work/$target"-*; do
      [[ -e "$crash" ]] && { echo "input $crash:"; od -A x -t x1z "$crash" | head -n 40; }
    done
    echo "$target: FAILED"
    failed=$((failed + 1))
  fi
done
echo "fuzz: $passed passed, $failed failed"
[[ $failed -eq 0 ]]
