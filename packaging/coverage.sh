#!/usr/bin/env bash
# Runs the suite with counters of lines and branches and reports on the library's part of the source, file by file. Fails
# below the floor. The page build/coverage/report/index.html shows every line.
set -euo pipefail
cd "$(dirname "$0")/.."
lines_at_least=97
branches_at_least=90
packaging/install-packages.sh
cmake --preset coverage >/dev/null
cmake --build --preset coverage
find build/coverage -name '*.gcda' -delete
ctest --preset coverage -j "$(nproc)" --quiet
mkdir -p build/coverage/report
# Code for Windows isn't built here. Branches of the compiler's own making aren't counted.
gcovr --root . --object-directory build/coverage \
  --filter '(src|serial|regex|os|debug|time|winapi|common)/' --exclude '.*Windows\.cpp' \
  --exclude-unreachable-branches --exclude-throw-branches \
  --txt --html-details build/coverage/report/index.html --print-summary \
  --fail-under-line "$lines_at_least" --fail-under-branch "$branches_at_least"
