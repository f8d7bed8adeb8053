#!/usr/bin/env bash
# Fails unless the library under the standard's names exports the operations of vpp43-operations.txt and nothing else,
# and prints by none of the functions that reach a program's standard output. Argument: the shared library.
set -euo pipefail
operations=$(dirname "$0")/vpp43-operations.txt
diff <(grep -v '^#' "$operations" | LC_ALL=C sort) <(nm -D --defined-only "$1" | awk '{print $3}' | LC_ALL=C sort)
! nm -D --undefined-only "$1" | grep -wE 'puts|putchar|v?printf|__v?printf_chk'
