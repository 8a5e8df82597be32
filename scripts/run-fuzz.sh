#!/usr/bin/env bash
# Builds the libFuzzer target over every export with clang, AddressSanitizer
# and UndefinedBehaviorSanitizer, and runs it for the given number of seconds
# (default 600) from the seed corpus in tests/fuzz/corpus. New inputs go to
# build-fuzz/corpus, crashes to build-fuzz/.
# Usage: scripts/run-fuzz.sh [seconds]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-600}
bash scripts/setup.sh fuzz
CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DKELCC_BUILD_FUZZ=ON -DKELCC_BUILD_TESTS=OFF -DKELCC_BUILD_DEMO=OFF >/dev/null
cmake --build build-fuzz -j"$(nproc)" --target kelcc_fuzz
mkdir -p build-fuzz/corpus
log=build-fuzz/fuzz.log
./build-fuzz/kelcc_fuzz -max_total_time="$seconds" -max_len=4096 \
  -artifact_prefix=build-fuzz/ -print_final_stats=1 \
  build-fuzz/corpus tests/fuzz/corpus 2>"$log" || {
  tail -40 "$log"
  exit 1
}
runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
secs=$(sed -n 's/^Done [0-9]* runs in \([0-9]*\) second.*/\1/p' "$log")
echo "fuzzing: $runs executions in ${secs} s, $((runs / (secs > 0 ? secs : 1))) per second, no failure"
