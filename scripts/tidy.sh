#!/usr/bin/env bash
# Runs the project's clang-tidy checks (.clang-tidy) over the library, the emulator, the trace
# code and the tool.
# Installs missing Debian packages first.
#   scripts/tidy.sh            check (non-zero exit on any finding)
#   scripts/tidy.sh --format   apply .clang-format to every C/C++ file instead
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
need_native
need_packages clang clang-tidy clang-format clang-tools
if [ "${1:-}" = --format ]; then
    git ls-files '*.cpp' '*.h' | xargs clang-format -i
    exit 0
fi
CC=clang CXX=clang++ cmake -S . -B build/tidy -DCMAKE_EXPORT_COMPILE_COMMANDS=ON \
      -DVXSENSOR_BUILD_EXAMPLES=OFF -DVXSENSOR_BUILD_TESTS=OFF >/dev/null
status=0
run-clang-tidy -p build/tidy -quiet -j "$(nproc)" '/(src|sim|trace|tools)/' > build/tidy/report.txt 2>&1 || status=$?
grep -E 'warning:|error:' build/tidy/report.txt || true
echo "clang-tidy: exit status $status (full report in build/tidy/report.txt)"
exit "$status"
