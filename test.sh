#!/usr/bin/env bash
# Builds with warnings as errors and sanitizers, runs the whole suite and ends with ctest's summary.
set -euo pipefail
cd "$(dirname "$0")"
packaging/install-packages.sh
cmake --preset sanitize >/dev/null
cmake --build --preset sanitize
ctest --preset sanitize -j "$(nproc)" "$@"
