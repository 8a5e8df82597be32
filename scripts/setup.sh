#!/usr/bin/env bash
# Installs what building kelCC needs, from Debian's packages, when missing.
# Usage: scripts/setup.sh [base|bench|cross|fuzz]
set -euo pipefail

packages=(g++ cmake make pkg-config libgtest-dev libpng-dev)
if [[ "${1:-base}" == bench ]]; then
  packages+=(libbenchmark-dev libopencv-dev libyuv-dev libswscale-dev libavutil-dev)
fi
if [[ "${1:-base}" == fuzz ]]; then
  packages+=(clang libclang-rt-14-dev)
fi
if [[ "${1:-base}" == cross ]]; then
  packages+=(g++-aarch64-linux-gnu qemu-user)
fi

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" ||
    missing+=("$p")
done
if ((${#missing[@]})); then
  echo "installing: ${missing[*]}"
  sudo=""
  [[ $(id -u) -ne 0 ]] && sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends \
    "${missing[@]}" >/dev/null
fi
