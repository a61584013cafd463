#!/usr/bin/env bash
# Shows the filter's decision from a fresh clone: builds the filter, registers it in the Wine prefix of the build tree
# with the providers and settings of Tools/FilterHost/Sample.reg, and calls it with KuvFilterHost.
#
#   Scripts/run.sh [KuvFilterHost options]        Scripts/run.sh --help lists them
#
# Standard output and the exit code are those of KuvFilterHost. Progress goes to standard error.
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

build=$root/build/mingw-x64-release
log=$build/run.log
use_wine "$build"

"$root/Scripts/setup.sh" >&2
mkdir -p "$build"

say "building KuvCredFilter.dll and KuvFilterHost.exe" >&2
cd "$root"
quietly "$log" build_preset mingw-x64-release --target KuvCredFilter KuvFilterHost
cd "$OLDPWD"

say "registering the filter and the sample settings in $build/wine" >&2
quietly "$log" "${wine[@]}" regsvr32 /s "$(windows_path "$build/bin/KuvCredFilter.dll")"
quietly "$log" "${wine[@]}" reg import "$(windows_path "$root/Tools/FilterHost/Sample.reg")"

say "calling the filter" >&2
status=0
"${wine[@]}" "$build/bin/KuvFilterHost.exe" --log "$@" || status=$?
exit "$status"
