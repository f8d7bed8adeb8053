#!/usr/bin/env bash
# Builds the library and the tool, starts simulated instruments on every bus, finds them and asks each who it is.
set -euo pipefail
cd "$(dirname "$0")"
packaging/install-packages.sh build
cmake --preset release >/dev/null
cmake --build --preset release --target qvvisa qvvisa-sim >&2
exec build/release/bin/qvvisa-sim --tcp --serial --usb -- packaging/demo-session.sh build/release/bin/qvvisa
