#!/usr/bin/env bash
# Builds kelCC and runs its whole test suite.
# Usage: scripts/run-tests.sh [--sanitize]
#   --sanitize  build with AddressSanitizer and UndefinedBehaviorSanitizer
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh base

dir=build
opts=(-DCMAKE_BUILD_TYPE=Release)
if [[ "${1:-}" == --sanitize ]]; then
  dir=build-asan
  opts=(-DCMAKE_BUILD_TYPE=Debug -DKELCC_SANITIZE=ON -DKELCC_BUILD_DEMO=OFF)
fi
jobs=$(nproc)
cmake -S . -B "$dir" "${opts[@]}" >/dev/null
cmake --build "$dir" -j"$jobs"
ctest --test-dir "$dir" --output-on-failure -j"$jobs"
