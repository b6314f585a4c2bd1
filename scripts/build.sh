#!/usr/bin/env bash
# Configures and builds relka into the given build directory (default: build).
# Extra arguments go to CMake's configure step.
set -euo pipefail
cd "$(dirname "$0")/.."
dir=${1:-build}
shift || true
cmake -S . -B "$dir" "$@" >/dev/null
cmake --build "$dir" --parallel "$(nproc)"
