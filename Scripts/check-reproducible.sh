#!/usr/bin/env bash
# Builds the filter again from a copy of the sources in another folder, and compares it byte by byte with the one in the
# build tree.
#
#   Scripts/check-reproducible.sh
#
# Requires the built release preset.
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

preset=mingw-x64-release
built=$root/build/$preset/bin/KuvCredFilter.dll
export KUV_DEPS_DIR=$deps

build_filter() {
  cmake --preset "$preset" -DKUV_BUILD_TESTS=OFF -DKUV_BUILD_BENCHMARKS=OFF &&
    cmake --build --preset "$preset" --target KuvCredFilter
}

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
copy="$folder/another folder"
mkdir "$copy"
cd "$root"
git ls-files -z --cached --others --exclude-standard |
  xargs -0 cp --parents -t "$copy"

# With a compiler cache, the check would compare the file with itself.
export CCACHE_DISABLE=1
cd "$copy"
quietly "$folder/log" build_filter
cmp "$built" "build/$preset/bin/KuvCredFilter.dll"
say "two builds of KuvCredFilter.dll in different folders have the same $(stat -c %s "$built") bytes"
