#!/usr/bin/env bash
# Checks the form of our sources: clang-format on all of them, then clang-tidy, findings as errors, on what
# ships. The tests are held to the compiler's warnings.
#
#   Scripts/lint.sh [--fix-format]
#
# Needs the configured release preset, whose compile commands clang-tidy reads.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

build=build/mingw-x64-release
mapfile -t sources < <(git ls-files '*.cpp' '*.h')

if [ "${1-}" = --fix-format ]; then
  clang-format -i "${sources[@]}"
  exit
fi

# The reference of the library is made from the comments of its headers.
if ! cmake --build "$build" --target docs >"$build/docs.log" 2>&1; then
  cat "$build/docs.log" >&2
  exit 1
fi
echo "lint: the library's reference has no warnings"

clang-format --dry-run --Werror "${sources[@]}"
echo "lint: format of ${#sources[@]} files is right"

# clang takes the headers of the cross compiler, in its order.
arguments=(-extra-arg-before=--target=x86_64-w64-mingw32 -extra-arg=-Wno-unknown-warning-option)
while read -r folder; do
  arguments+=("-extra-arg=-isystem$folder")
done < <(x86_64-w64-mingw32-g++-posix -E -x c++ /dev/null -v 2>&1 |
  sed -n '/^#include </,/^End/p' | grep '^ ' | grep -v '/gcc/.*/include$' | xargs -n1 realpath)
if ! run-clang-tidy -quiet -p "$build" -j "$(nproc)" "${arguments[@]}" "$PWD/(Src|Tools)/.*" \
  >"$build/clang-tidy.log" 2>&1; then
  grep -vE '^(clang-tidy|\[|[0-9]+ warnings)' "$build/clang-tidy.log" >&2 || true
  exit 1
fi
echo "lint: clang-tidy has no findings"
