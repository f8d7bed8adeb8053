#!/usr/bin/env bash
# Installs a build into a folder and uses it there as a user does: the tool, the README's example by plain -l, by
# pkg-config and by find_package, and the other examples, all on a simulated instrument. Argument: the build's folder.
set -euo pipefail
cd "$(dirname "$0")/.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --build "$1" --target qvvisa_installed >/dev/null
cmake --install "$1" --prefix "$work/installed" >/dev/null
# An installed tree may be moved.
prefix=$work/prefix
mv "$work/installed" "$prefix"
libraries=$(dirname "$(find "$prefix" -name libQVvisa_32.so)")

runs() { tests/runExample.sh "$prefix/bin/qvvisa-sim" "$@"; }

runs "KESTRIX,SIM-1" bash -c '"$0" query "$1" "*IDN?"' "$prefix/bin/qvvisa"

awk '/^```c$/ {on = 1; next} /^```$/ {on = 0} on' README.md >"$work/example.c"
diff "$work/example.c" examples/identify.c
compile=(gcc -std=c99 -pedantic -Wall -Wextra -Werror "$work/example.c" -o "$work/example")
"${compile[@]}" -I"$prefix/include" -L"$libraries" -lQVvisa_32
runs "KESTRIX,SIM-1" env LD_LIBRARY_PATH="$libraries" "$work/example"
rm "$work/example"
export PKG_CONFIG_PATH=$libraries/pkgconfig
# shellcheck disable=SC2046
"${compile[@]}" $(pkg-config --cflags --libs QVvisa)
runs "KESTRIX,SIM-1" env LD_LIBRARY_PATH="$libraries" "$work/example"

cmake -G Ninja -S "$prefix/share/doc/QVvisa/examples" -B "$work/examples" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/examples" >/dev/null
runs "KESTRIX,SIM-1" "$work/examples/identify"
runs "2.000000 V set, +1.999200E+00 V measured" "$work/examples/sweep"
runs "KESTRIX,SIM-1" env LD_LIBRARY_PATH="$libraries" "$prefix/share/doc/QVvisa/examples/identify.py"
