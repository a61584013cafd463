#!/usr/bin/env bash
# Installs what the build needs, builds what ships for 32 bits with the tests of the DLL, and runs these with the 32-bit
# Wine.
#
#   Scripts/test-x86.sh [ctest arguments]
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$root"

preset=mingw-x86-release
Scripts/setup.sh --x86
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
keep_wine "build/$preset"
ctest --preset "$preset" "$@"
