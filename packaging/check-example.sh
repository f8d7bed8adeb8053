#!/usr/bin/env bash
# Compiles the README's C example, which is one of the examples, as C99, and links it. Argument: where the library is.
set -euo pipefail
cd "$(dirname "$0")/.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
awk '/^```c$/ {on = 1; next} /^```$/ {on = 0} on' README.md >"$work/example.c"
diff "$work/example.c" examples/identify.c
gcc -std=c99 -pedantic -Wall -Wextra -Werror -Isrc/incl "$work/example.c" -L"$1" -lQVvisa_32 -o "$work/example"
