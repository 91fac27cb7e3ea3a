#!/usr/bin/env bash
# Installs the Debian packages the build needs, only those that are missing.
# Quiet when everything is present. Usage: scripts/deps.sh [--ci | --list]
# --list prints the host package list, one a line, and installs nothing.
set -euo pipefail

packages=(
  cmake ninja-build g++ pkg-config file
  libgtest-dev libgmock-dev libbenchmark-dev
  android-libcutils-dev android-libutils-dev
  libcli11-dev libfmt-dev nlohmann-json3-dev libpng-dev
)
# Fuzzers and the sanitizer runs in CI need clang and its runtimes.
if [[ "${1:-}" == "--ci" ]]; then
  packages+=(clang libclang-rt-14-dev llvm)
fi
if [[ "${1:-}" == "--list" ]]; then
  printf '%s\n' "${packages[@]}"
  exit 0
fi

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "ok installed"; then
    missing+=("$p")
  fi
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

echo "Installing: ${missing[*]}" >&2
sudo=""
if [[ $(id -u) -ne 0 ]]; then
  command -v sudo >/dev/null || { echo "need root or sudo to install: ${missing[*]}" >&2; exit 1; }
  sudo="sudo"
fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq >/dev/null
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
