#!/usr/bin/env bash
# Makes the package for administrators, build/package/KuvCredFilter-VERSION-x64.msi, from Packaging/Installer.
#
#   Scripts/package.sh [--output FOLDER] [--version VERSION] [--no-build] [-- SIGN-OPTION...]
#
# --output     where the package goes (default: build/package)
# --version    another version for the package and its folder than that of the sources; the tests use it
# --no-build   take the programs as they are in the build tree
# What follows "--" is handed to Scripts/sign.sh, first for the programs inside, then for the package.
#
# An unsigned package is the same bytes for the same programs, wherever and whenever it is made; SOURCE_DATE_EPOCH
# gives the date inside (default: 2026-01-01). A signature holds its own time.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
x64=$root/build/mingw-x64-release
x86=$root/build/mingw-x86-release
upgrade_code=8A9B1D5E-3C47-4F0A-9E62-D1B57C20F386
epoch=${SOURCE_DATE_EPOCH:-1767225600}

fail() {
  printf 'package.sh: %s\n' "$*" >&2
  exit 1
}

output=$root/build/package version='' build=yes
while [ $# -gt 0 ]; do
  case $1 in
  --output | --version)
    [ $# -ge 2 ] || fail "$1 takes a value"
    declare "${1#--}=$2"
    shift
    ;;
  --no-build) build=no ;;
  --help)
    sed -n '2,/^set/{/^set/d;s/^# \{0,1\}//p}' "${BASH_SOURCE[0]}"
    exit
    ;;
  --)
    shift
    break
    ;;
  *) fail "unknown option $1; --help tells them" ;;
  esac
  shift
done
sign=("$@")

for program in wixl msibuild faketime python3; do
  command -v "$program" >/dev/null || fail "$program is not installed; Scripts/setup.sh installs it"
done

# The administrator's program beside the DLL.
tool=KuvFilterCheck

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

quietly() {
  "$@" >"$work/log" 2>&1 </dev/null && return
  cat "$work/log" >&2
  fail "failed: $*"
}

cd "$root"
if [ "$build" = yes ]; then
  # A tree that is configured stays so: tests may be running in it.
  [ -e "$x64/build.ninja" ] || quietly cmake --preset mingw-x64-release
  quietly cmake --build --preset mingw-x64-release --target KuvCredFilter "$tool"
  [ -e "$x86/build.ninja" ] || quietly cmake --preset mingw-x86-release
  quietly cmake --build --preset mingw-x86-release --target KuvCredFilter
fi

[ -n "$version" ] || version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$x64/CMakeCache.txt")
[[ $version =~ ^([0-9]+)\.([0-9]+)\.([0-9]+)\.([0-9]+)$ ]] || fail "not a version of four numbers: $version"
# What Windows Installer can tell apart.
((BASH_REMATCH[1] < 256 && BASH_REMATCH[2] < 256 && BASH_REMATCH[3] < 65535 && BASH_REMATCH[4] < 65536)) ||
  fail "a field of version $version is too large"
version_order=$(printf '%05d.%05d.%05d.%05d' "${BASH_REMATCH[@]:1}")
next_version=${BASH_REMATCH[1]}.${BASH_REMATCH[2]}.$((BASH_REMATCH[3] + 1))

# The files as the package names them.
stage=$work/stage
mkdir -p "$stage/x64" "$stage/x86" "$stage/en-US"
cp "$x64/bin/KuvCredFilter.dll" "$x64/bin/$tool.exe" "$stage/x64"
cp "$x86/bin/KuvCredFilter.dll" "$stage/x86"
cp Packaging/PolicyDefinitions/Kuvant.admx "$stage"
# With the line ends of Windows, however the tree was checked out.
sed 's/\r*$/\r/' Packaging/Recovery/RemoveFilter.reg >"$stage/RemoveFilter.reg"
cp Packaging/PolicyDefinitions/en-US/Kuvant.adml "$stage/en-US"
programs=("$stage/x64/KuvCredFilter.dll" "$stage/x64/$tool.exe" "$stage/x86/KuvCredFilter.dll")
[ ${#sign[@]} = 0 ] || Scripts/sign.sh "${sign[@]}" "${programs[@]}"
find "$stage" -type f -exec chmod 644 {} + -exec touch -d "@$epoch" {} +

# identifier TEXT: a GUID that follows from the text.
identifier() {
  python3 -c 'import sys, uuid; print("{%s}" % str(uuid.uuid5(uuid.UUID(sys.argv[1]), sys.argv[2])).upper())' \
    "$upgrade_code" "$1"
}
# One product to a version, one package code to a content.
product_code=$(identifier "product $version")
contents=$(cd "$stage" && find . -type f -print0 | sort -z | xargs -0 sha256sum)
package_code=$(identifier "package $version $contents $(cat "$root/Packaging/Installer/KuvCredFilter.wxs")")

# wixl writes the time of the files, and of the moment, in local time.
export TZ=UTC
msi=$work/package.msi
cd "$stage"
quietly faketime -f "$(date -d "@$epoch" '+%F %T')" wixl --arch x64 --output "$msi" \
  --define Version="$version" --define VersionOrder="$version_order" --define NextVersion="$next_version" \
  --define ProductCode="$product_code" --define Tool="$tool.exe" "$root/Packaging/Installer/KuvCredFilter.wxs"

# wixl takes each file for one without a version, which a repair would then not write over a spoilt one that has one.
# Windows wants either a version or a hash.
queries=()
for program in "${programs[@]}"; do
  file_version=$(python3 -B "$root/Scripts/pe_image.py" "$program")
  [ -n "$file_version" ] || continue
  source=${program#"$stage/"}
  case $source in
  x64/KuvCredFilter.dll) id=Filter64.dll ;;
  x86/KuvCredFilter.dll) id=Filter32.dll ;;
  *) id=Tool.exe ;;
  esac
  queries+=("UPDATE \`File\` SET \`Version\` = '$file_version', \`Language\` = '1033' WHERE \`File\` = '$id'"
    "DELETE FROM \`MsiFileHash\` WHERE \`File_\` = '$id'")
done
quietly msibuild "$msi" -q "${queries[@]}"
quietly msibuild "$msi" -s "Kuv Credential Provider Filter" Kuvant "x64;1033" "$package_code"

[ ${#sign[@]} = 0 ] || "$root/Scripts/sign.sh" "${sign[@]}" "$msi"
mkdir -p "$output"
result=$output/KuvCredFilter-$version-x64.msi
# Never a half written package, nor one that only its maker may read.
chmod 644 "$msi"
cp "$msi" "$result.new"
mv "$result.new" "$result"
printf 'package.sh: %s (%s bytes, %s)\n' "$result" "$(stat -c %s "$result")" \
  "$([ ${#sign[@]} = 0 ] && echo unsigned || echo signed)"
