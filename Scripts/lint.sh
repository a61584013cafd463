#!/usr/bin/env bash
# Checks the form of our sources: clang-format on all of them, then cppcheck and clang-tidy, findings as errors,
# on what ships. The tests are held to the compiler's warnings.
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

# The DLL is compiled with the headers of one flavour of the runtime and linked with the other: of what these headers
# define, the two disagree.
if grep -nE '#include <(condition_variable|fstream|future|shared_mutex|thread)>' $(git ls-files 'Src/*.cpp' 'Src/*.h'); then
  echo "lint: the DLL must not use this part of the runtime" >&2
  exit 1
fi

clang-format --dry-run --Werror "${sources[@]}"
echo "lint: format of ${#sources[@]} files is right"

cppcheck --quiet --error-exitcode=1 -j "$(nproc)" --enable=warning,style,performance,portability \
  --suppressions-list=Scripts/cppcheck-suppressions.txt --std=c++20 --language=c++ --platform=win64 \
  --library=windows -D_WIN32 -D_WIN64 -D__GNUC__ -D_WIN32_WINNT=0x0601 -ISrc -ITools -IExamples Src Tools Examples
echo "lint: cppcheck has no findings"

# clang takes the headers of the cross compiler, in its order. Beside them, what the DLL brings of the runtime looks
# wrong: they say that it is imported.
arguments=(-extra-arg-before=--target=x86_64-w64-mingw32 -extra-arg=-Wno-unknown-warning-option
  -extra-arg=-Wno-inconsistent-dllimport)
while read -r folder; do
  arguments+=("-extra-arg=-isystem$folder")
done < <(x86_64-w64-mingw32-g++-posix -E -x c++ /dev/null -v 2>&1 |
  sed -n '/^#include </,/^End/p' | grep '^ ' | grep -v '/gcc/.*/include$' | xargs -n1 realpath)

# tidy COMMANDS PATTERN: a pattern that meets no source is a failure too.
log=$build/clang-tidy.log
tidy() {
  run-clang-tidy -quiet -p "$1" -j "$(nproc)" "${arguments[@]}" "$2" >"$log" 2>&1 && grep -q '^clang-tidy' "$log"
}

# Nearly all the time goes into the platform's headers, so the sources of a folder are read as one. Should that
# find anything, each is read by itself: that tells the findings of the sources from those of their union.
Scripts/join-units.py "$build" "$build/lint" Src Tools Examples
if ! tidy "$build/lint" "$PWD/$build/lint/.*"; then
  echo "lint: clang-tidy looks at each source by itself"
  if ! tidy "$build" "$PWD/(Src|Tools|Examples)/.*"; then
    grep -vE '^(clang-tidy|\[|[0-9]+ warnings)' "$log" >&2 || true
    exit 1
  fi
fi
echo "lint: clang-tidy has no findings"
