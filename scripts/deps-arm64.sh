#!/usr/bin/env bash
# Installs what the 64-bit Arm cross build and its emulated test run need,
# only what is missing: the cross compiler, the user-mode emulator and the
# arm64 build of every architecture-dependent -dev package that
# scripts/deps.sh lists (through deps.sh, which adds the architecture), and
# the arm64 7z.so of p7zip-full. Debian's arm64 libbacktrace (under libutils)
# needs that 7z.so, and multiarch cannot install p7zip-full:arm64 beside the
# host's, so it is unpacked aside into $P7ZIP_ARM64_DIR, where
# cmake/toolchains/aarch64-linux-gnu.cmake looks for it.
# Quiet when everything is present. Usage: scripts/deps-arm64.sh
set -euo pipefail
cd "$(dirname "$0")/.."

P7ZIP_ARM64_DIR=/opt/p7zip-arm64

# The host's copies first: they tell which packages have an arm64 twin.
scripts/deps.sh
wanted=(crossbuild-essential-arm64 qemu-user-static)
declare -A seen=()
while read -r p arch multiarch; do
  [[ -n "${seen[$p]:-}" ]] && continue # its arm64 copy, once that is there too
  seen[$p]=1
  case "$arch $multiarch" in
    all\ *) ;;                           # headers only: the host's copy serves
    *\ same) wanted+=("$p:arm64") ;;
    *) echo "$p cannot be installed for arm64 beside the host's copy" >&2; exit 1 ;;
  esac
done < <(scripts/deps.sh --list | grep -- '-dev$' | xargs dpkg-query -W -f='${Package} ${Architecture} ${Multi-Arch}\n')
scripts/deps.sh "${wanted[@]}"

[[ -f "$P7ZIP_ARM64_DIR/7z.so" ]] && exit 0
echo "Unpacking the arm64 7z.so of p7zip-full into $P7ZIP_ARM64_DIR" >&2
sudo=""
[[ $(id -u) -ne 0 ]] && sudo="sudo"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
chmod 0777 "$work" # apt's download user writes here
(cd "$work" && apt-get download -qq p7zip-full:arm64 >/dev/null)
dpkg -x "$work"/p7zip-full_*_arm64.deb "$work/root"
# Under a temporary name first: a half-written file must not pass the check
# above on the next run.
$sudo install -D -m 0644 "$work/root/usr/lib/p7zip/7z.so" "$P7ZIP_ARM64_DIR/7z.so.new"
$sudo mv "$P7ZIP_ARM64_DIR/7z.so.new" "$P7ZIP_ARM64_DIR/7z.so"
