#!/usr/bin/env bash
# Builds kelCC and runs its whole test suite.
# Usage: scripts/run-tests.sh [--sanitize|--tsan]
#   --sanitize  build with AddressSanitizer and UndefinedBehaviorSanitizer
#   --tsan      build with ThreadSanitizer and run the re-entrancy test
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh base

dir=build
opts=(-DCMAKE_BUILD_TYPE=Release)
target=all
filter=()
if [[ "${1:-}" == --sanitize ]]; then
  dir=build-asan
  opts=(-DCMAKE_BUILD_TYPE=Debug -DKELCC_SANITIZE=ON -DKELCC_BUILD_DEMO=OFF)
elif [[ "${1:-}" == --tsan ]]; then
  dir=build-tsan
  opts=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DKELCC_SANITIZE_THREAD=ON
        -DKELCC_BUILD_DEMO=OFF)
  target=threads_test
  filter=(-R '^Threads\.')
fi
jobs=$(nproc)
cmake -S . -B "$dir" "${opts[@]}" >/dev/null
cmake --build "$dir" -j"$jobs" --target "$target"
ctest --test-dir "$dir" --output-on-failure -j"$jobs" "${filter[@]}"
# The robustness sweep's figures (ctest shows a passing test's output only
# on failure).
if [[ "$target" == all ]]; then
  "$dir"/tests/sweep_test --gtest_brief=1 | grep 'exports covered'
fi
