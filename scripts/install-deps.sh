#!/usr/bin/env bash
# Installs the Debian 12 packages needed to build, run and test relka.
# Idempotent and non-interactive: packages already present are left alone.
set -euo pipefail

packages=(
  build-essential cmake pkg-config
  qt6-base-dev qt6-base-dev-tools
  libminizip-dev zlib1g-dev libdeflate-dev libisal-dev libpng-dev
  libgdal-dev
  xvfb xauth x11-utils xdotool fonts-dejavu-core qt6-qpa-plugins
  python3
  clang-format-14 clang-format
  clang-14 libclang-rt-14-dev llvm-14
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

if [ ${#missing[@]} -gt 0 ]; then
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $sudo apt-get update -q
  $sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
fi
