#!/usr/bin/env bash
# Sets up everything, builds everything and passes the tests.
#
#   Scripts/test.sh [ctest arguments]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

preset=mingw-x64-release
Scripts/setup.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"

# A warm server makes the tests quick to list; the test run's own fixture ends it.
Scripts/wine.sh "build/$preset/wine" --start
trap 'Scripts/wine.sh "build/$preset/wine" --stop' EXIT
ctest --preset "$preset" "$@"
