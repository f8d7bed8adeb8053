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

# The same under the standard's names, from C and from pyvisa. What a program prints is its own lines alone.
gcc -std=c99 -pedantic -Wall -Wextra -Werror tests/std/standardProgram.c -o "$work/program" -I"$prefix/include" \
  -L"$libraries" -lQVvisa_std
LD_LIBRARY_PATH=$libraries "$prefix/bin/qvvisa-sim" --tcp --serial --usb -- "$work/program" 2>/dev/null
"$prefix/bin/qvvisa-sim" --tcp -- /usr/bin/python3 -c '
import os, sys, pyvisa
manager = pyvisa.ResourceManager(sys.argv[1])
print(manager.open_resource(os.environ["QVVISA_SIM_TCP"], read_termination="\n", write_termination="\n").query("*IDN?"))
' "$libraries/libQVvisa_std.so" | diff <(echo KESTRIX,SIM-1,A1234,1.0) -

cmake -G Ninja -S "$prefix/share/doc/QVvisa/examples" -B "$work/examples" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/examples" >/dev/null
runs "KESTRIX,SIM-1" "$work/examples/identify"
runs "2.000000 V set, +1.999200E+00 V measured" "$work/examples/sweep"
runs "KESTRIX,SIM-1" env LD_LIBRARY_PATH="$libraries" "$prefix/share/doc/QVvisa/examples/identify.py"
