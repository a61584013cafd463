#!/usr/bin/env bash
# Installs what the build needs, builds everything and runs the tests.
#
#   Scripts/test.sh [ctest arguments]
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$root"

preset=mingw-x64-release
Scripts/setup.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"

# CTest lists the tests before its own fixture starts the Wine server. A running server makes that fast.
keep_wine "build/$preset"
ctest --preset "$preset" "$@"
