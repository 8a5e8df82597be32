#!/usr/bin/env bash
# Builds the benchmarks with every peer Debian packages (OpenCV, libyuv,
# libswscale) and prints the Mpix/s table. Extra arguments go to the
# benchmark program, e.g. --benchmark_filter=RGBToYCbCr.
# Usage: scripts/run-bench.sh [benchmark options]
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh bench
cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DKELCC_BUILD_BENCH=ON \
  -DKELCC_BUILD_TESTS=OFF -DKELCC_BUILD_DEMO=OFF >/dev/null
cmake --build build-bench -j"$(nproc)" --target kelcc_bench
./build-bench/bench/kelcc_bench --benchmark_min_time=0.2 "$@"
