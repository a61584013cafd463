#!/usr/bin/env bash
# Builds the benchmarks, runs them under Wine and prints the results as one table.
#
#   Scripts/bench.sh [BENCHMARK-OPTION...]
#
# Options are passed to every program, for example --benchmark_filter=File. One program runs on the host, for libraries
# that exist there only. The full results are in benchmarks/ in the build tree. Times depend on the machine and its load,
# so a missed goal is reported but does not change the exit code.
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

preset=mingw-x64-release
build=$root/build/$preset
results=$build/benchmarks
native=$root/build/native-benchmarks
options=("$@")

build_all() {
  build_preset "$preset" --target FilterBenchmarks LogBenchmarks ServiceClientBenchmarks &&
    cmake -S Benchmarks/Native -B "$native" -G Ninja -DCMAKE_BUILD_TYPE=None &&
    cmake --build "$native"
}

"$root/Scripts/setup.sh" --bench
mkdir -p "$results"
cd "$root"
quietly "$results/build.log" build_all

keep_wine "$build"
cd "$results"
tables=()
# measure NAME COMMAND...: runs a benchmark program and keeps its output.
measure() {
  local name=$1
  shift
  say "running $name"
  quietly "$name.log" "$@" --benchmark_out="$name.json" --benchmark_out_format=json "${options[@]}"
  tables+=("$name.json")
}
for program in FilterBenchmarks LogBenchmarks ServiceClientBenchmarks; do
  measure "$program" "${wine[@]}" "$build/bin/$program.exe"
done
measure EncoderBenchmarks "$native/EncoderBenchmarks"
python3 "$root/Scripts/bench-table.py" "${tables[@]}"
