#!/usr/bin/env bash
# scripts/fuzz.sh TARGET SECONDS
# Builds the libFuzzer targets in build-fuzz (clang++-14, every file under
# the address and undefined-behaviour sanitizers, optimised lightly so that
# the tests built there run at a useful speed too) if needed, and runs
# fuzz_TARGET for SECONDS from its seeds in tests/fuzz/corpus/TARGET. New
# inputs are kept in build-fuzz/corpus/TARGET, a crashing input goes to
# build-fuzz/artifacts/; the exit status is the fuzzer's (0: nothing found).
# scripts/fuzz.sh --list names the targets; scripts/fuzz.sh --build builds
# everything in build-fuzz, the tests included.
set -euo pipefail
cd "$(dirname "$0")/.."

targets=(bilheader import refreshheader requestform archive geocodepage tile)
if [ "${1:-}" = --list ]; then
  printf '%s\n' "${targets[@]}"
  exit 0
fi
dir=build-fuzz
configure() {
  [ -f "$dir/CMakeCache.txt" ] \
    || cmake -S . -B "$dir" -DRELKA_FUZZ=ON -DRELKA_SANITIZE=ON -DCMAKE_CXX_COMPILER=clang++-14 \
      -DCMAKE_BUILD_TYPE=Debug "-DCMAKE_CXX_FLAGS_DEBUG=-g -O1" >/dev/null
}
if [ "${1:-}" = --build ]; then
  configure
  cmake --build "$dir" --parallel "$(nproc)"
  exit 0
fi
if [ $# -ne 2 ] || [[ ! " ${targets[*]} " =~ " $1 " ]] || [[ ! $2 =~ ^[0-9]+$ ]]; then
  echo "usage: $0 TARGET SECONDS, TARGET one of: ${targets[*]}" >&2
  exit 2
fi
target=$1
seconds=$2
configure
cmake --build "$dir" --target "fuzz_$target" --parallel "$(nproc)"

# Words the mutations insert, where the inputs are text with markers.
options=()
case $target in
  bilheader | import) options+=(-dict="$PWD/tests/fuzz/header.dict") ;;
  refreshheader | requestform | geocodepage) options+=(-dict="$PWD/tests/fuzz/page.dict") ;;
esac

mkdir -p "$dir/corpus/$target" "$dir/artifacts"
export QT_QPA_PLATFORM=offscreen
export ASAN_OPTIONS=detect_leaks=1
export LSAN_OPTIONS=suppressions=$PWD/tests/lsan.supp
export UBSAN_OPTIONS=print_stacktrace=1
# Absolute paths: the target moves into a temporary folder of its own before
# it reads them. Without standard input, and with the fuzzer's own limit on
# the size of an input; the time limit ends an input that hangs.
out=$PWD/$dir
"$out/tests/fuzz/fuzz_$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
  -print_final_stats=1 -artifact_prefix="$out/artifacts/$target-" "${options[@]}" \
  "$out/corpus/$target" "$PWD/tests/fuzz/corpus/$target" </dev/null
