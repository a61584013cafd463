#!/usr/bin/env bash
# Installs what the build needs, builds what ships for 32 bits with the tests of the DLL, and runs these with the 32-bit
# Wine.
#
#   Scripts/test-x86.sh [--or-check] [ctest arguments]
#
# --or-check: if the 32-bit Wine cannot be installed on this machine, only builds, and checks the DLL as a file.
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$root"

preset=mingw-x86-release
or_check=no
if [ "${1-}" = --or-check ]; then
  or_check=yes
  shift
fi

runs=yes
if ! Scripts/setup.sh --x86; then
  [ "$or_check" = yes ] || exit 1
  runs=no
  Scripts/setup.sh
  set -- --tests-regex '^Binary\.' "$@"
fi
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
[ "$runs" = no ] || keep_wine "build/$preset"
ctest --preset "$preset" "$@"
[ "$runs" = yes ] || say "NOT RUN: the tests of the 32-bit DLL, because the 32-bit Wine cannot be installed here (above)"
