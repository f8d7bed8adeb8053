#!/usr/bin/env bash
# Builds the release preset and runs every benchmark program. Fails when one of them misses a ratio that it states.
# Options are passed on to the programs.
set -euo pipefail
cd "$(dirname "$0")/.."
packaging/install-packages.sh
cmake --preset release >/dev/null
cmake --build --preset release --target qvvisa_benches
failed=()
for program in build/release/bin/*Bench; do
  name=$(basename "$program")
  echo "== $name"
  "$program" "$@" || failed+=("$name")
done
echo "== pyvisaBench"
build/release/bin/qvvisa-sim --tcp --serial -- /usr/bin/python3 -B bench/pyvisaBench.py build/release/lib/libQVvisa_std.so ||
  failed+=(pyvisaBench)
[ ${#failed[@]} -eq 0 ] || { echo "missed: ${failed[*]}" >&2; exit 1; }
