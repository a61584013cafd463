#!/usr/bin/env bash
# Installs what the build needs and the 32-bit Wine, builds what ships for 32 bits with its tests, and runs these.
#
#   Scripts/test-x86.sh [--or-check]
#
# --or-check: if the 32-bit Wine cannot be installed on this machine, only builds, and checks the DLL as a file.
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$root"

preset=mingw-x86-release

# in_wine_root COMMAND...: runs a command in the Debian of Scripts/setup.sh, in this folder.
in_wine_root() {
  # shellcheck disable=SC2016  # the inner shells expand them
  as_root unshare --mount --pid --fork --kill-child bash -euc '
    root=$1 folder=$2 user=$3
    shift 3
    mkdir -p "$root$folder"
    mount --bind "$folder" "$root$folder"
    mount --rbind /dev "$root/dev"
    mount -t proc proc "$root/proc"
    exec chroot --userspec="$user" "$root" env -i HOME=/tmp PATH=/usr/bin:/bin \
      bash -c '\''cd "$0" && exec "$@"'\'' "$folder" "$@"
  ' bash "$wine_root" "$root" "$(id -u):$(id -g)" "$@"
}

or_check=no
case $* in
"") ;;
--or-check) or_check=yes ;;
*)
  usage_text "${BASH_SOURCE[0]}"
  exit 2
  ;;
esac

status=0
Scripts/setup.sh --x86 || status=$?
case $status,$or_check in
0,*) runs=yes ;;
"$no_wine32,yes") runs=no ;;
*) exit "$status" ;;
esac
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
ctest --preset "$preset" --tests-regex '^Binary\.'
if [ "$runs" = no ]; then
  say "NOT RUN: the 32-bit tests, because the 32-bit Wine cannot be installed here (above)"
elif [ -d "$wine_root" ]; then
  in_wine_root ctest --preset "$preset" --exclude-regex '^Binary\.'
else
  ctest --preset "$preset" --exclude-regex '^Binary\.'
fi
