#!/usr/bin/env bash
# Installs what the 64-bit Arm cross build and its emulated test run need,
# only what is missing: the host packages (scripts/deps.sh), the arm64
# architecture, the cross compiler, the user-mode emulator, the arm64 build
# of every architecture-dependent -dev package that deps.sh lists, and the
# arm64 7z.so of p7zip-full. Debian's arm64 libbacktrace (under libutils)
# needs that 7z.so, and multiarch cannot install p7zip-full:arm64 beside the
# host's, so it is unpacked aside into $P7ZIP_ARM64_DIR, where
# cmake/toolchains/aarch64-linux-gnu.cmake looks for it.
# Quiet when everything is present. Usage: scripts/deps-arm64.sh
set -euo pipefail
cd "$(dirname "$0")/.."

P7ZIP_ARM64_DIR=/opt/p7zip-arm64

scripts/deps.sh

wanted=(crossbuild-essential-arm64 qemu-user-static)
for p in $(scripts/deps.sh --list); do
  [[ "$p" == *-dev ]] || continue
  # deps.sh has just installed the host's copy, which tells what it is
  # (the first of the copies once the arm64 one is there too).
  case $(dpkg-query -W -f='${Architecture} ${Multi-Arch}\n' "$p" | head -n 1) in
    all\ *) ;;                  # headers only: the host's copy serves
    *\ same) wanted+=("$p:arm64") ;;
    *) echo "$p cannot be installed for arm64 beside the host's copy" >&2; exit 1 ;;
  esac
done

add_arch=0
dpkg --print-foreign-architectures | grep -qx arm64 || add_arch=1
missing=()
for p in "${wanted[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "ok installed"; then
    missing+=("$p")
  fi
done
need_7z=0
[[ -f "$P7ZIP_ARM64_DIR/7z.so" ]] || need_7z=1
[[ $add_arch -eq 0 && ${#missing[@]} -eq 0 && $need_7z -eq 0 ]] && exit 0

sudo=""
if [[ $(id -u) -ne 0 ]]; then
  command -v sudo >/dev/null || { echo "need root or sudo to install the arm64 build tools" >&2; exit 1; }
  sudo="sudo"
fi
export DEBIAN_FRONTEND=noninteractive
if [[ $add_arch -eq 1 ]]; then
  echo "Adding the arm64 architecture" >&2
  $sudo dpkg --add-architecture arm64
fi
$sudo apt-get update -qq >/dev/null
if [[ ${#missing[@]} -gt 0 ]]; then
  echo "Installing: ${missing[*]}" >&2
  $sudo apt-get install -y -qq -o DPkg::Lock::Timeout=600 --no-install-recommends "${missing[@]}" >/dev/null
fi
if [[ $need_7z -eq 1 ]]; then
  echo "Unpacking the arm64 7z.so of p7zip-full into $P7ZIP_ARM64_DIR" >&2
  work=$(mktemp -d)
  trap 'rm -rf "$work"' EXIT
  chmod 0777 "$work" # apt's download user writes here
  (cd "$work" && apt-get download -qq p7zip-full:arm64 >/dev/null)
  dpkg -x "$work"/p7zip-full_*_arm64.deb "$work/root"
  # Copied under a temporary name first: a half-written file must not pass
  # the check above on the next run.
  $sudo install -D -m 0644 "$work/root/usr/lib/p7zip/7z.so" "$P7ZIP_ARM64_DIR/7z.so.new"
  $sudo mv "$P7ZIP_ARM64_DIR/7z.so.new" "$P7ZIP_ARM64_DIR/7z.so"
fi
