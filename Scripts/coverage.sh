#!/usr/bin/env bash
# Measures which lines and branches of Src/ its tests run, and prints the figures of each file. It builds and runs the
# tests of Src only (target tests_of_src).
#
#   Scripts/coverage.sh
#
# Fails below 99.5 % of the lines or 96.5 % of the branches. The details of each line are in coverage/ in the build tree,
# as HTML. Branches that the compiler adds for exceptions are excluded.
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

preset=mingw-x64-coverage
build=$root/build/$preset

"$root/Scripts/setup.sh" --coverage
cd "$root"
mkdir -p "$build/coverage"
quietly "$build/coverage/build.log" build_preset "$preset" --target tests_of_src

find "$build" -name '*.gcda' -delete
keep_wine "$build"
# Each program runs its cases in one process, which writes its counters when it ends. The programs run one after the
# other, because they add to the same files.
status=0
while read -r program; do
  log=$build/coverage/$(basename "$program" .exe).log
  # The files of the counters have paths of this host. They are found on the drive that the program starts on.
  if ! (cd "$(dirname "$program")" &&
    "$root/Scripts/run-test.sh" "${wine[@]}" "$program" --gtest_brief=1) >"$log" 2>&1 </dev/null; then
    tail -n 30 "$log" >&2
    say "$(basename "$program") failed" >&2
    status=1
  fi
done <"$build/tests-of-src.txt"

# Only the objects of Src: gcovr 5 cannot merge the copies of inline functions in the objects of the tests.
gcovr --root "$root" --filter "$root/Src/" --object-directory "$build" \
  --gcov-executable x86_64-w64-mingw32-gcov-posix \
  --exclude-throw-branches --exclude-unreachable-branches \
  --fail-under-line 99.5 --fail-under-branch 96.5 \
  --txt - --html-details "$build/coverage/index.html" --print-summary "$build/Src"
exit "$status"
