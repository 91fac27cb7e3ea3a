#!/usr/bin/env bash
# Installs what the device build (the android preset) needs, only what is
# missing: clang and lld for aarch64-linux-android30, the cross GCC's
# libgcc.a for the compiler runtime helpers the platform's libc++ calls, and
# qemu-user-static to run programs on the Android 11 userspace.
# Quiet when everything is present. Usage: scripts/deps-android.sh
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh clang lld llvm qemu-user-static libgcc-12-dev-arm64-cross
