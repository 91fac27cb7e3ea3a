#!/usr/bin/env bash
# Installs the Debian packages the build needs, only those that are missing.
# Quiet when everything is present.
# Usage: scripts/deps.sh [--ci | --list] [PACKAGE ...]
# --list prints the host package list, one a line, and installs nothing.
# PACKAGEs are installed with the list's; one of another architecture
# (name:arm64) adds that architecture to dpkg first.
set -euo pipefail

option=""
[[ "${1:-}" == --* ]] && { option=$1; shift; }

packages=(
  cmake ninja-build g++ pkg-config file
  libgtest-dev libgmock-dev libbenchmark-dev
  android-libcutils-dev android-libutils-dev
  libcli11-dev libfmt-dev nlohmann-json3-dev libjsoncpp-dev libpng-dev
)
# Fuzzers and the sanitizer runs in CI need clang and its runtimes; the
# device header and link check needs lld and the arm64 C library headers too.
if [[ "$option" == "--ci" ]]; then
  packages+=(clang libclang-rt-14-dev llvm lld libc6-dev-arm64-cross)
fi
if [[ "$option" == "--list" ]]; then
  printf '%s\n' "${packages[@]}"
  exit 0
fi
packages+=("$@")

# One look at dpkg's database: installed packages by plain name (the host's
# architecture or none) and by name:architecture.
native=$(dpkg --print-architecture)
declare -A installed=()
while read -r name arch status; do
  [[ "$status" == installed ]] || continue
  installed[$name:$arch]=1
  [[ "$arch" == "$native" || "$arch" == all ]] && installed[$name]=1
done < <(dpkg-query -W -f='${Package} ${Architecture} ${db:Status-Status}\n')
missing=()
for p in "${packages[@]}"; do
  [[ -n "${installed[$p]:-}" ]] || missing+=("$p")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

echo "Installing: ${missing[*]}" >&2
sudo=""
if [[ $(id -u) -ne 0 ]]; then
  command -v sudo >/dev/null || { echo "need root or sudo to install: ${missing[*]}" >&2; exit 1; }
  sudo="sudo"
fi
for p in "${missing[@]}"; do
  arch=${p##*:}
  if [[ "$p" == *:* && "$arch" != "$native" ]] &&
     ! dpkg --print-foreign-architectures | grep -qx "$arch"; then
    $sudo dpkg --add-architecture "$arch"
  fi
done
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq >/dev/null
$sudo apt-get install -y -qq -o DPkg::Lock::Timeout=600 --no-install-recommends "${missing[@]}" >/dev/null
