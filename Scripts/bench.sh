#!/usr/bin/env bash
# Builds the benchmarks, runs them under Wine and prints their results as one table.
#
#   Scripts/bench.sh [BENCHMARK-OPTION...]
#
# An option goes to both programs, --benchmark_filter=File for example. The full results stay beside the
# build, in benchmarks/. Times depend on the machine and on what else it does, so a goal that is missed
# is shown and fails nothing.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
preset=mingw-x64-release
build=$root/build/$preset
results=$build/benchmarks
wine=("$root/Scripts/wine.sh" "$build/wine")

"$root/Scripts/setup.sh"

mkdir -p "$results"
cd "$root"
log=$results/build.log
if ! { cmake --preset "$preset" &&
  cmake --build --preset "$preset" --target FilterBenchmarks LogBenchmarks; } >"$log" 2>&1; then
  tail -n 30 "$log" >&2
  exit 1
fi

"${wine[@]}" --start
trap '"${wine[@]}" --stop' EXIT
cd "$results"
tables=()
for program in FilterBenchmarks LogBenchmarks; do
  echo "bench: running $program"
  "${wine[@]}" "$build/bin/$program.exe" --benchmark_out="$program.json" --benchmark_out_format=json \
    "$@" >"$program.log" 2>&1 || { cat "$program.log" >&2; exit 1; }
  tables+=("$program.json")
done
python3 "$root/Scripts/bench-table.py" "${tables[@]}"
