#!/usr/bin/env bash
# Runs a test program with an emulator, for CTest. Where Wine loses its server, a program may end with 0 before its
# first line; so it counts as passed only if it says so too.
#
#   Scripts/run-test.sh EMULATOR... PROGRAM [ARGUMENT...]
set -uo pipefail

output=$(mktemp)
trap 'rm -f "$output"' EXIT
"$@" | tee "$output"
status=$?
case " $* " in
*" --gtest_list_tests "*) [ -s "$output" ] ;;
*) [ "$status" != 0 ] || grep -q '^\[  PASSED  \]' "$output" ;;
esac || {
  echo "run-test.sh: ended with $status, but not as a test program does" >&2
  exit 99
}
exit "$status"
