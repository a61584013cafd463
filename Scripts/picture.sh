#!/usr/bin/env bash
# Creates the picture of a page of KuvFilterCheck, Docs/FilterCheck.png, from the sample machine of
# Tools/FilterHost/Sample.reg. The filter is installed in a Wine prefix for this picture only, so the picture has no path
# of this host and a sample name for the machine.
#
#   Scripts/picture.sh
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

case ${1-} in
'') ;;
--help)
  usage_text "${BASH_SOURCE[0]}"
  exit
  ;;
*) fail "unknown option $1; --help shows the usage" ;;
esac
cd "$root"

build=$root/build/mingw-x64-release
work=$build/picture
log=$build/picture.log
picture=$root/Docs/FilterCheck.png
folder=$work/wine/drive_c/Program\ Files/Kuvant/KuvCredProv

Scripts/setup.sh
say "building KuvCredFilter.dll, KuvFilterHost.exe and KuvFilterCheck.exe"
mkdir -p "$build"
quietly "$log" build_preset mingw-x64-release --target KuvCredFilter KuvFilterHost KuvFilterCheck

say "installing the filter and the sample settings in $work/wine"
rm -rf "$work"
keep_wine "$work"
mkdir -p "$folder"
cp "$build"/bin/{KuvCredFilter.dll,KuvFilterHost.exe,KuvFilterCheck.exe} "$folder"
quietly "$log" "${wine[@]}" regsvr32 /s 'C:\Program Files\Kuvant\KuvCredProv\KuvCredFilter.dll'
quietly "$log" "${wine[@]}" reg import "$(windows_path "$root/Tools/FilterHost/Sample.reg")"
quietly "$log" "${wine[@]}" reg add 'HKLM\System\CurrentControlSet\Services\Tcpip\Parameters' /v Hostname /d SAMPLE-PC /f

say "creating $picture"
# The filter decides once, so that the check finds a log.
quietly "$log" "${wine[@]}" "$folder/KuvFilterHost.exe"
"${wine[@]}" "$folder/KuvFilterCheck.exe" --html "$(windows_path "$work/page.html")" >"$log"
python3 -B Scripts/page-picture.py "$work/page.html" "$picture"
say "done"
