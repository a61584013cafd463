#!/usr/bin/env bash
# Builds the filter once more, from a copy of the sources in a folder elsewhere, and compares it byte by byte
# with the one in the build tree.
#
#   Scripts/check-reproducible.sh
#
# Needs the built release preset.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
preset=mingw-x64-release
built=$root/build/$preset/bin/KuvCredFilter.dll
export KUV_DEPS_DIR=${KUV_DEPS_DIR:-$root/build/deps}

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
copy="$folder/another folder"
mkdir "$copy"
cd "$root"
git ls-files -z --cached --others --exclude-standard |
  xargs -0 cp --parents -t "$copy"

# A compiler cache would compare the file with itself.
export CCACHE_DISABLE=1
cd "$copy"
if ! { cmake --preset "$preset" -DKUV_BUILD_TESTS=OFF -DKUV_BUILD_BENCHMARKS=OFF &&
  cmake --build --preset "$preset" --target KuvCredFilter; } >"$folder/log" 2>&1; then
  tail -n 30 "$folder/log" >&2
  exit 1
fi
cmp "$built" "build/$preset/bin/KuvCredFilter.dll"
echo "KuvCredFilter.dll: two builds in different folders gave the same $(stat -c %s "$built") bytes"
