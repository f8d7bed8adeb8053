#!/usr/bin/env bash
# Makes the Debian packages of a build, in its folder "packages", and has lintian read them. Argument: the build's folder.
set -euo pipefail
cd "$1"
prefix=$(sed -n 's/^CMAKE_INSTALL_PREFIX:PATH=//p' CMakeCache.txt)
trap 'cmake . -DCMAKE_INSTALL_PREFIX="$prefix" >/dev/null' EXIT
cmake . -DCMAKE_INSTALL_PREFIX=/usr >/dev/null
cmake --build . --target qvvisa_installed >/dev/null
rm -rf packages
cpack >/dev/null
lintian --allow-root --fail-on error,warning --tag-display-limit 0 packages/*.deb
