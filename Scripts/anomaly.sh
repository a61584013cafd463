#!/usr/bin/env bash
# Runs the anomaly tests on the built DLL at full size: every failing call with every error, every failing
# allocation, the soak, the invariants. Shows how much was tried.
#
#   Scripts/anomaly.sh [GTEST-FILTER]
#
# KUV_ANOMALY sets the size: long (hours), or short, which the usual test run has as well. It ends with an error if
# a test fails.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
preset=mingw-x64-release
build=$root/build/$preset
wine=("$root/Scripts/wine.sh" "$build/wine")
filter=${1:-*}
export KUV_ANOMALY=${KUV_ANOMALY:-long}
case $KUV_ANOMALY in
long | short) ;;
*)
  echo "anomaly: KUV_ANOMALY is long or short, not $KUV_ANOMALY" >&2
  exit 2
  ;;
esac

# The programs, by their CMake targets.
programs=(AnomalyTests SettingsStormTests)

"$root/Scripts/setup.sh"
cd "$root"
cmake --preset "$preset" >/dev/null

"${wine[@]}" --start
trap '"${wine[@]}" --stop' EXIT
rm -rf "$build/anomaly"
mkdir -p "$build/anomaly"
status=0
for program in "${programs[@]}"; do
  cmake --build --preset "$preset" --target "$program" >/dev/null
  log=$build/anomaly/$program.log
  echo "anomaly: $program, $KUV_ANOMALY"
  file=$(find "$build" -name "$program.exe" | head -n 1)
  Scripts/run-test.sh "${wine[@]}" "$file" --gtest_filter="$filter" >"$log" 2>&1 || status=1
  grep -E '^(\[ +(OK|FAILED) +\]|\[  PASSED|Tried:|[0-9]+ settings|at |The DLL has ended|Crashed)' "$log" || true
done
if ! grep -qsF '[       OK ]' "$build"/anomaly/*.log; then
  echo "anomaly: no test has the name $filter" >&2
  exit 1
fi
[ "$status" = 0 ] || echo "anomaly: a test has failed; see $build/anomaly" >&2
exit "$status"
