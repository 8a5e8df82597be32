#!/usr/bin/env bash
# Cross-compiles kelCC and its tests for 64-bit ARM (aarch64) with Debian's
# cross toolchain and runs the whole test suite under qemu-user. There the
# library has only its portable kernels, and every test compares with its own
# model, so a pass shows the same bytes as on x86-64.
# Usage: scripts/run-cross-tests.sh
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh cross
dir=build-aarch64
cmake -S . -B "$dir" -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux-gnu.cmake \
  -DCMAKE_BUILD_TYPE=Release -DKELCC_BUILD_DEMO=OFF >/dev/null
cmake --build "$dir" -j"$(nproc)"
start=$(date +%s)
ctest --test-dir "$dir" --output-on-failure -j"$(nproc)"
echo "aarch64 suite under emulation: $(($(date +%s) - start)) s"
