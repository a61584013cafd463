#!/usr/bin/env bash
# Builds the benchmarks, runs them under Wine and prints their results as one table.
#
#   Scripts/bench.sh [BENCHMARK-OPTION...]
#
# An option goes to every program, --benchmark_filter=File for example. One of them is the host's own, for
# libraries that exist there alone. The full results stay beside the build, in benchmarks/. Times depend on the
# machine and on what else it does, so a goal that is missed is shown and fails nothing.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
preset=mingw-x64-release
build=$root/build/$preset
results=$build/benchmarks
native=$root/build/native-benchmarks
wine=("$root/Scripts/wine.sh" "$build/wine")

"$root/Scripts/setup.sh" --bench

mkdir -p "$results"
cd "$root"
log=$results/build.log
if ! { cmake --preset "$preset" &&
  cmake --build --preset "$preset" --target FilterBenchmarks LogBenchmarks ServiceClientBenchmarks &&
  cmake -S Benchmarks/Native -B "$native" -G Ninja -DCMAKE_BUILD_TYPE=None &&
  cmake --build "$native"; } >"$log" 2>&1; then
  tail -n 30 "$log" >&2
  exit 1
fi

"${wine[@]}" --start
trap '"${wine[@]}" --stop' EXIT
cd "$results"
tables=()
# measure NAME COMMAND...: runs a benchmark program and keeps what it prints.
measure() {
  local name=$1
  shift
  echo "bench: running $name"
  "$@" --benchmark_out="$name.json" --benchmark_out_format=json "${options[@]}" >"$name.log" 2>&1 ||
    { cat "$name.log" >&2; exit 1; }
  tables+=("$name.json")
}
options=("$@")
for program in FilterBenchmarks LogBenchmarks ServiceClientBenchmarks; do
  measure "$program" "${wine[@]}" "$build/bin/$program.exe"
done
measure EncoderBenchmarks "$native/EncoderBenchmarks"
python3 "$root/Scripts/bench-table.py" "${tables[@]}"
