#!/usr/bin/env bash
# Shows the filter from a fresh clone: builds it, registers it in the Wine prefix of the build tree with the providers and
# settings of Tools/FilterHost/Sample.reg, and calls it with KuvFilterHost, which shows its decisions. With --check,
# KuvFilterCheck then checks the machine.
#
#   Scripts/run.sh [KuvFilterHost options]            Scripts/run.sh --help lists them
#   Scripts/run.sh --check [KuvFilterCheck options]   Scripts/run.sh --check --help lists them
#
# Standard output and the exit code are those of the program. Progress goes to standard error. File names for the program
# may be paths of this host, for example --html check.html.
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

program=KuvFilterHost
options=(--log "$@")
if [ "${1-}" = --check ]; then
  program=KuvFilterCheck
  options=("${@:2}")
fi

build=$root/build/mingw-x64-release
log=$build/run.log
use_wine "$build"

"$root/Scripts/setup.sh" >&2
mkdir -p "$build"

say "building KuvCredFilter.dll, KuvFilterHost.exe and KuvFilterCheck.exe" >&2
cd "$root"
quietly "$log" build_preset mingw-x64-release --target KuvCredFilter KuvFilterHost KuvFilterCheck
cd "$OLDPWD"

say "registering the filter and the sample settings in $build/wine" >&2
quietly "$log" "${wine[@]}" regsvr32 /s "$(windows_path "$build/bin/KuvCredFilter.dll")"
quietly "$log" "${wine[@]}" reg import "$(windows_path "$root/Tools/FilterHost/Sample.reg")"
if [ "$program" = KuvFilterCheck ]; then
  # The filter decides once, so that the check finds a log. Wine does not restrict the folder of the log if it exists.
  rm -rf "$build/wine/drive_c/ProgramData/Kuvant"
  quietly "$log" "${wine[@]}" "$build/bin/KuvFilterHost.exe"
fi

say "running $program" >&2
status=0
"${wine[@]}" "$build/bin/$program.exe" "${options[@]}" || status=$?
exit "$status"
