#!/usr/bin/env bash
# From a fresh clone to the filter's answer: builds the filter, registers it in the Wine prefix of the build
# tree with the providers and settings of Tools/FilterHost/Sample.reg, and asks it with KuvFilterHost.
#
#   Scripts/run.sh [KuvFilterHost options]        Scripts/run.sh --help tells them
#
# Standard output and the exit code are the host's; the steps go to standard error.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$root/build/mingw-x64-release

say() { printf 'run: %s\n' "$*" >&2; }

# quietly COMMAND...: shows the output only if the command fails. It goes to a file, since a pipe would stay
# open as long as the Wine services that the first program starts.
quietly() {
  local status=0
  "$@" >"$build/run.log" 2>&1 </dev/null || status=$?
  [ "$status" = 0 ] && return
  cat "$build/run.log" >&2
  say "failed: $*"
  return "$status"
}

windows_path() { printf 'Z:%s' "${1//\//\\}"; }

wine() { "$root/Scripts/wine.sh" "$build/wine" "$@"; }

"$root/Scripts/setup.sh" >&2
mkdir -p "$build"

say "building KuvCredFilter.dll and KuvFilterHost.exe"
cd "$root"
quietly cmake --preset mingw-x64-release
quietly cmake --build --preset mingw-x64-release --target KuvCredFilter KuvFilterHost
cd "$OLDPWD"

say "registering the filter and the sample settings in $build/wine"
quietly wine regsvr32 /s "$(windows_path "$build/bin/KuvCredFilter.dll")"
quietly wine reg import "$(windows_path "$root/Tools/FilterHost/Sample.reg")"

say "asking the filter"
status=0
wine "$build/bin/KuvFilterHost.exe" --log "$@" || status=$?
exit "$status"
