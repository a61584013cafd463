#!/usr/bin/env bash
# Builds the fuzz targets for the host, with AddressSanitizer and UndefinedBehaviorSanitizer, and runs them.
#
#   Scripts/fuzz.sh SECONDS [TARGET...]     SECONDS for each target; without a target, all of Tests/Fuzz
#
# The corpus of a run is kept in build/fuzz/corpus for the next one. An input that fails is saved in build/fuzz;
# `build/fuzz/TARGET FILE` runs it again.
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$root"

seconds=${1:?seconds for each target}
shift
build=build/fuzz
build_targets() {
  cmake -S Tests/Fuzz -B "$build" -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=None &&
    cmake --build "$build"
}
mkdir -p "$build"
quietly "$build/build.log" build_targets

targets=("$@")
if [ ${#targets[@]} = 0 ]; then
  for source in Tests/Fuzz/Fuzz*.cpp; do targets+=("$(basename "$source" .cpp)"); done
fi
for target in "${targets[@]}"; do
  mkdir -p "$build/corpus/$target"
  log=$build/$target.log
  if ! "$build/$target" -max_total_time="$seconds" -max_len=2048 -artifact_prefix="$build/$target-" \
    "$build/corpus/$target" >"$log" 2>&1; then
    grep -vE '^(#|NEW_FUNC|INFO)' "$log" >&2
    fail "$target failed"
  fi
  say "$target: $(grep -oE 'Done [0-9]+ runs in [0-9]+ second' "$log")s, no failure"
done
