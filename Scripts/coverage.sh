#!/usr/bin/env bash
# Counts which lines and branches of Src/ the tests run, and prints the figures of each file.
#
#   Scripts/coverage.sh
#
# It fails below 99 % of the lines or 95 % of the branches. The details of each line stand in coverage/ in the build
# tree, as HTML. Branches that the compiler adds for exceptions are left out.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
preset=mingw-x64-coverage
build=$root/build/$preset
wine=("$root/Scripts/wine.sh" "$build/wine")

"$root/Scripts/setup.sh" --coverage
cd "$root"
mkdir -p "$build/coverage"
log=$build/coverage/build.log
if ! { cmake --preset "$preset" && cmake --build --preset "$preset"; } >"$log" 2>&1; then
  tail -n 30 "$log" >&2
  exit 1
fi

find "$build" -name '*.gcda' -delete
"${wine[@]}" --start
trap '"${wine[@]}" --stop' EXIT
# Each program runs its cases in one process: what they count is written when it ends. The programs follow one
# another, since they add to the same files.
# The counters bring imports, allocations and files of their own into the DLL, which these tests would object to.
foreign=ImportTable.*:MemorySweep.*
status=0
while read -r program; do
  log=$build/coverage/$(basename "$program" .exe).log
  # The counters' files have paths of this host, which are those of the drive that the program starts on.
  if ! (cd "$(dirname "$program")" &&
    "$root/Scripts/run-test.sh" "${wine[@]}" "$program" --gtest_brief=1 --gtest_filter="-$foreign") >"$log" 2>&1 </dev/null; then
    tail -n 30 "$log" >&2
    echo "coverage: $(basename "$program") failed" >&2
    status=1
  fi
done < <(find "$build" -name '*Tests.exe')

gcovr --root "$root" --filter "$root/Src/" --object-directory "$build" \
  --gcov-executable x86_64-w64-mingw32-gcov-posix \
  --exclude-throw-branches --exclude-unreachable-branches \
  --fail-under-line 99 --fail-under-branch 95 \
  --txt - --html-details "$build/coverage/index.html" --print-summary "$build"
exit "$status"
