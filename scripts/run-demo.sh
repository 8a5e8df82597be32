#!/usr/bin/env bash
# Builds kelCC and runs the demo: on its built-in test image, or on the PNG
# or PPM file given. Results are written to demo-out/.
# Usage: scripts/run-demo.sh [image.png|image.ppm]
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh base
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build -j"$(nproc)" --target kelcc_demo
./build/tools/kelcc_demo --out demo-out "$@"
