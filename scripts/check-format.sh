#!/usr/bin/env bash
# Fails when a C++ file of the repository differs from what clang-format
# makes of it with the repository's .clang-format. The formatting depends on
# the tool's version, so only the version the install script puts on the
# machine is accepted.
set -euo pipefail
cd "$(dirname "$0")/.."
required=14
version=$(clang-format --version | sed -n 's/.*version \([0-9]*\)\..*/\1/p')
if [ "$version" != "$required" ]; then
  echo "check-format.sh: clang-format $required is needed, found ${version:-none}" >&2
  exit 1
fi
git ls-files -z '*.cpp' '*.h' | xargs -0 clang-format --dry-run --Werror
echo "check-format.sh: every C++ file is formatted"
