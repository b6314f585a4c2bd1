#!/usr/bin/env bash
# Installs what is missing, checks that every C++ file is formatted, builds
# relka once with clang++-14 under the address and undefined-behaviour
# sanitizers (with the fuzzers' coverage instrumentation, so the same build
# serves the fuzz targets; see scripts/fuzz.sh), runs every test there (a
# leak fails a test, see tests/CMakeLists.txt), and then runs every fuzz
# target for a short while from its seeds.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/check-format.sh
scripts/fuzz.sh --build
ctest --test-dir build-fuzz --output-on-failure --parallel "$(nproc)"
for target in $(scripts/fuzz.sh --list); do
  scripts/fuzz.sh "$target" "${RELKA_FUZZ_SECONDS:-10}"
done
