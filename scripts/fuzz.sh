#!/usr/bin/env bash
# Builds the fuzz targets with libFuzzer, AddressSanitizer and UndefinedBehaviorSanitizer (clang),
# makes their seed corpora and runs each target for a bounded time. Any crash, leak, broken check
# or hang fails the script; the input that caused it is kept in build/fuzz/findings/.
#   scripts/fuzz.sh [SECONDS_PER_TARGET]    default 30 (CI: 20); a long campaign is a larger number
# Each target's corpus grows in build/fuzz/corpus/<target> and is reused by the next run.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
seconds=${1:-30}
build=build/fuzz

need_native
need_checks
# The tool is built too: it packs some of the seeds.
CC=clang CXX=clang++ cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVXSENSOR_WERROR=ON \
      -DVXSENSOR_BUILD_FUZZ=ON -DVXSENSOR_SANITIZE=ON -DVXSENSOR_BUILD_TESTS=OFF \
      -DVXSENSOR_BUILD_EXAMPLES=OFF -DVXSENSOR_BUILD_TOOLS=ON
cmake --build "$build" -j"$(nproc)"

mkdir -p "$build/findings"
failed=()
for target in "$build"/fuzz/fuzz_*; do
    name=${target##*/fuzz_}
    [ -d "$build/fuzz/seeds/$name" ] || continue
    corpus=$build/corpus/$name
    mkdir -p "$corpus"
    echo "== $name (${seconds} s)"
    # New inputs go to the first directory; seeds and regression inputs are only read.
    if "$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
           -artifact_prefix="$build/findings/$name-" "$corpus" "$build/fuzz/seeds/$name" \
           $( [ -d "fuzz/regressions/$name" ] && echo "fuzz/regressions/$name" ) \
           > "$build/findings/$name.log" 2>&1; then
        grep -E '^#[0-9]+[[:space:]]+DONE|stat::number_of_executed_units' "$build/findings/$name.log" | tail -2
    else
        tail -40 "$build/findings/$name.log"
        failed+=("$name")
    fi
done

if [ ${#failed[@]} -ne 0 ]; then
    echo "Fuzzing found problems in: ${failed[*]} (inputs and logs in $build/findings/)"
    exit 1
fi
echo "No findings."
