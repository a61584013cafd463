#!/usr/bin/env bash
# Runs the anomaly tests on the built DLL at full size: every failing call with every error, every failing
# allocation, the soak, the invariants. Prints how much was tried.
#
#   Scripts/anomaly.sh [GTEST-FILTER]
#
# KUV_ANOMALY sets the size: long (hours, the default), or short, which the usual test run includes. Ends with 1 if a
# test fails.
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

preset=mingw-x64-release
build=$root/build/$preset
filter=${1:-*}
export KUV_ANOMALY=${KUV_ANOMALY:-long}
case $KUV_ANOMALY in
long | short) ;;
*)
  say "KUV_ANOMALY is '$KUV_ANOMALY'; use long or short" >&2
  exit 2
  ;;
esac

# The programs, by their CMake targets.
programs=(AnomalyTests SettingsStormTests)

"$root/Scripts/setup.sh"
cd "$root"
rm -rf "$build/anomaly"
mkdir -p "$build/anomaly"
quietly "$build/anomaly/build.log" build_preset "$preset" --target "${programs[@]}"

keep_wine "$build"
status=0
for program in "${programs[@]}"; do
  log=$build/anomaly/$program.log
  say "$program, $KUV_ANOMALY"
  file=$(find "$build" -name "$program.exe" | head -n 1)
  Scripts/run-test.sh "${wine[@]}" "$file" --gtest_filter="$filter" >"$log" 2>&1 || status=1
  grep -E '^(\[ +(OK|FAILED) +\]|\[  PASSED|Tried:|[0-9]+ settings|at |The DLL has ended|Crashed)' "$log" || true
done
grep -qsF '[       OK ]' "$build"/anomaly/*Tests.log || fail "no test that matches '$filter' passed"
[ "$status" = 0 ] || say "a test failed; see $build/anomaly" >&2
exit "$status"
