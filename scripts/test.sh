#!/usr/bin/env bash
# Installs what is missing, checks that every C++ file is formatted, builds
# relka twice (plain, and with the address
# and undefined-behaviour sanitizers) and runs every test in both builds; in
# the sanitizer build a leak fails a test (see tests/CMakeLists.txt). Then
# every fuzz target runs for a short while from its seeds (scripts/fuzz.sh).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/check-format.sh
scripts/build.sh build
scripts/build.sh build-asan -DRELKA_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug
ctest --test-dir build-asan --output-on-failure --parallel "$(nproc)"
ctest --test-dir build --output-on-failure --parallel "$(nproc)"
for target in $(scripts/fuzz.sh --list); do
  scripts/fuzz.sh "$target" 20
done
