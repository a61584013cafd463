#!/usr/bin/env bash
# Builds the installer package, build/package/KuvCredFilter-VERSION-x64.msi, from Packaging/Installer, or the one for
# ARM64 from programs that Visual C++ has built.
#
#   Scripts/package.sh [OPTION...] [-- SIGN-OPTION...]
#
# --output FOLDER       the folder for the package (default: build/package)
# --version VERSION     a version for the package and its folder other than that of the sources; for tests
# --x64-build FOLDER    the build tree of the 64-bit programs (default: build/mingw-x64-release)
# --x86-build FOLDER    the build tree of the 32-bit filter (default: build/mingw-x86-release)
# --arm64 FOLDER        makes the package for ARM64, with the programs for ARM64 in the folder
# --help-link URL       the help link in the list of installed programs (default: an example address)
# --no-build            packages the programs in the build trees as they are
# The options after "--" go to Scripts/sign.sh, which signs first the programs and then the package.
#
# The same programs always make the same unsigned package. SOURCE_DATE_EPOCH sets the date in it (default: 2026-01-01).
# A signature contains its own time. Prints the product code, the upgrade code, and the SHA-256 hashes of the package and
# of the files in it.
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

upgrade_code=8A9B1D5E-3C47-4F0A-9E62-D1B57C20F386
epoch=${SOURCE_DATE_EPOCH:-1767225600}

declare -A option=(
  [output]=$root/build/package
  [version]=''
  [x64-build]=$root/build/mingw-x64-release
  [x86-build]=$root/build/mingw-x86-release
  [arm64]=''
  [help-link]=https://kuv.example/filter
)
build=yes
while [ $# -gt 0 ]; do
  case $1 in
  --output | --version | --x64-build | --x86-build | --arm64 | --help-link)
    [ $# -ge 2 ] || fail "$1 requires a value"
    option[${1#--}]=$2
    shift
    ;;
  --no-build) build=no ;;
  --help)
    usage_text "${BASH_SOURCE[0]}"
    exit
    ;;
  --)
    shift
    break
    ;;
  *) fail "unknown option $1; --help lists the options" ;;
  esac
  shift
done
sign=("$@")
output=$(realpath -m "${option[output]}")
x64=$(realpath -m "${option[x64-build]}")
x86=$(realpath -m "${option[x86-build]}")
if [ -z "${option[arm64]}" ]; then
  architecture=x64 native=$x64/bin product=product template=x64
  native_condition='NOT (KUV_ARCHITECTURE ~= "ARM64")'
  native_message='This package is for x64 processors. On ARM64, the logon screen cannot load this filter.'
else
  architecture=arm64 native=$(realpath -m "${option[arm64]}") product='product for ARM64' template=Arm64
  native_condition='KUV_ARCHITECTURE ~= "ARM64"'
  native_message='This package is for ARM64 processors. On others, install the package for x64.'
fi
version=${option[version]}
help_link=${option[help-link]}
[[ $help_link =~ ^https?://[^[:space:]\"]+$ ]] || fail "not an HTTP or HTTPS address: $help_link"
need_programs wixl msibuild faketime python3

# The package contains these programs for administrators in the folder of the DLL.
tools=(KuvFilterCheck KuvFilterSetup)
# Below the staging folder, and in the same order the identifiers in the package.
programs=("$architecture/KuvCredFilter.dll" x86/KuvCredFilter.dll
  "$architecture/KuvFilterCheck.exe" "$architecture/KuvFilterSetup.exe")
identifiers=(Filter64.dll Filter32.dll Check.exe Setup.exe)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
log=$work/log

cd "$root"
# build_in FOLDER PRESET TARGET...: builds the targets. It does not configure an existing tree again, because tests may
# be running in it.
build_in() {
  local folder=$1 preset=$2
  shift 2
  [ -e "$folder/build.ninja" ] || cmake --preset "$preset" -B "$folder" || return
  cmake --build "$folder" --target "$@"
}
if [ "$build" = yes ]; then
  [ "$architecture" != x64 ] || quietly "$log" build_in "$x64" mingw-x64-release KuvCredFilter "${tools[@]}"
  quietly "$log" build_in "$x86" mingw-x86-release KuvCredFilter
fi

# pe_image OPTION...: prints the version or the processor of a program.
pe_image() { python3 -B "$root/Scripts/pe_image.py" "$@"; }
[ -n "$version" ] || version=$(pe_image "$native/KuvCredFilter.dll")
[[ $version =~ ^([0-9]+)\.([0-9]+)\.([0-9]+)\.([0-9]+)$ ]] || fail "not a version of four numbers: $version"
# The limits of Windows Installer.
((BASH_REMATCH[1] < 256 && BASH_REMATCH[2] < 256 && BASH_REMATCH[3] < 65535 && BASH_REMATCH[4] < 65536)) ||
  fail "a field of version $version is too large"
version_order=$(printf '%05d.%05d.%05d.%05d' "${BASH_REMATCH[@]:1}")
next_version=${BASH_REMATCH[1]}.${BASH_REMATCH[2]}.$((BASH_REMATCH[3] + 1))

# The files under their names in the package.
stage=$work/stage
mkdir -p "$stage/$architecture" "$stage/x86" "$stage/en-US"
cp "$native/KuvCredFilter.dll" "$stage/$architecture"
for tool in "${tools[@]}"; do
  cp "$native/$tool.exe" "$stage/$architecture"
done
cp "$x86/bin/KuvCredFilter.dll" "$stage/x86"
built_version=$(pe_image "$stage/${programs[0]}")
for program in "${programs[@]}"; do
  found=$(pe_image --machine "$stage/$program")
  [ "$found" = "${program%%/*}" ] || fail "${program#*/} is for $found, not for ${program%%/*}"
  found=$(pe_image "$stage/$program")
  [ "$found" = "$built_version" ] || fail "$program has the version $found, and ${programs[0]} $built_version"
done
cp Packaging/PolicyDefinitions/Kuvant.admx "$stage"
# With Windows line endings, whatever those of the checkout are.
sed 's/\r*$/\r/' Packaging/Recovery/RemoveFilter.reg >"$stage/RemoveFilter.reg"
cp Packaging/PolicyDefinitions/en-US/Kuvant.adml "$stage/en-US"
cp Packaging/Installer/Kuvant.ico "$stage"
[ ${#sign[@]} = 0 ] || Scripts/sign.sh "${sign[@]}" "${programs[@]/#/$stage/}"
find "$stage" -type f -exec chmod 644 {} + -exec touch -d "@$epoch" {} +

# identifier TEXT: prints a GUID derived from the text.
identifier() {
  python3 -c 'import sys, uuid; print("{%s}" % str(uuid.uuid5(uuid.UUID(sys.argv[1]), sys.argv[2])).upper())' \
    "$upgrade_code" "$1"
}
# A product code for each version, a package code for each content.
product_code=$(identifier "$product $version")
contents=$(cd "$stage" && find . -type f -print0 | sort -z | xargs -0 sha256sum)
package_code=$(identifier "package $version $help_link $contents $(cat "$root/Packaging/Installer"/{KuvCredFilter.wxs,Tables.sql})")

# wixl writes the times of the files and the current time in local time.
export TZ=UTC
msi=$work/package.msi
cd "$stage"
# wixl does not know ARM64. The architecture affects only the summary information, which is written below.
quietly "$log" faketime -f "$(date -d "@$epoch" '+%F %T')" wixl --arch x64 --output "$msi" \
  --define Version="$version" --define VersionOrder="$version_order" --define NextVersion="$next_version" \
  --define ProductCode="$product_code" --define UpgradeCode="{$upgrade_code}" \
  --define HelpLink="$help_link" --define Native="$architecture" \
  --define NativeCondition="$native_condition" --define NativeMessage="$native_message" "$root/Packaging/Installer/KuvCredFilter.wxs"

# wixl treats each file as one without a version. A repair would then not replace a corrupted file that has a version.
# Windows Installer expects either a version or a hash.
mapfile -t queries < <(grep -Ev '^(--|$)' "$root/Packaging/Installer/Tables.sql")
for number in "${!programs[@]}"; do
  file_version=$(pe_image "$stage/${programs[$number]}")
  [ -n "$file_version" ] || continue
  id=${identifiers[$number]}
  queries+=("UPDATE \`File\` SET \`Version\` = '$file_version', \`Language\` = '1033' WHERE \`File\` = '$id'"
    "DELETE FROM \`MsiFileHash\` WHERE \`File_\` = '$id'")
done
quietly "$log" msibuild "$msi" -q "${queries[@]}"
quietly "$log" msibuild "$msi" -s "Kuv Credential Provider Filter" Kuvant "$template;1033" "$package_code"

[ ${#sign[@]} = 0 ] || "$root/Scripts/sign.sh" "${sign[@]}" "$msi"
mkdir -p "$output"
result=$output/KuvCredFilter-$version-$architecture.msi
# The package appears only when it is complete, and everyone can read it.
chmod 644 "$msi"
cp "$msi" "$result.new"
mv "$result.new" "$result"
say "$result ($(stat -c %s "$result") bytes, $([ ${#sign[@]} = 0 ] && echo unsigned || echo signed))"
say "product code $product_code"
say "upgrade code {$upgrade_code}"
# The hashes in the form that sha256sum --check reads, with the names of the package and of the staged files.
(cd "$output" && sha256sum "$(basename "$result")")
(cd "$stage" && find . -type f -printf '%P\0' | sort -z | xargs -0 sha256sum)
