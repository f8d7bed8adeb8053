#!/usr/bin/env bash
# Builds every fuzzing program and runs each for the seconds given, two at a time, from its seeds in fuzz/corpus and what
# earlier runs have added in build/fuzz/corpus. Prints the number of executions, and fails on a finding, whose input is
# left in build/fuzz/findings.
#   fuzz/run.sh SECONDS [NAME...]
set -euo pipefail
cd "$(dirname "$0")/.."
[[ ${1:-} =~ ^[0-9]+$ ]] || { sed -n '2,5s/^# *//p' "$0" >&2; exit 1; }
export seconds=$1
shift
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz
[ $# -gt 0 ] || mapfile -t names < <(cd fuzz && ls -- *Fuzz.cpp | sed 's/\.cpp$//')
[ $# -eq 0 ] || names=("$@")
mkdir -p build/fuzz/findings

run() {
  local name=$1 log=build/fuzz/$1.log options=()
  mkdir -p "build/fuzz/corpus/$name"
  [ ! -f "fuzz/dictionaries/$name" ] || options+=("-dict=fuzz/dictionaries/$name")
  # The library's lines on standard output aren't part of a finding; what an input takes in time and memory is. Plain
  # scheduling makes twice as many executions as the default.
  if build/fuzz/bin/"$name" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=1024 -print_final_stats=1 \
      -entropic=0 -close_fd_mask=1 -artifact_prefix="build/fuzz/findings/$name-" "${options[@]}" \
      "build/fuzz/corpus/$name" "fuzz/corpus/$name" >"$log" 2>&1; then
    printf '%-16s %12s executions\n' "$name" "$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")"
  else
    printf '%-16s FINDING\n' "$name"
    grep -v '^#' "$log" | tail -n 60
    return 1
  fi
}
export -f run
printf '%s\n' "${names[@]}" | xargs -n 1 -P 2 bash -c 'run "$0"'
