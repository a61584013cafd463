#!/usr/bin/env bash
# Runs a test program with an emulator, for CTest. If Wine loses its server, a program can end with exit code 0 before
# its first line of output. A program therefore counts as passed only if it also reports that.
#
#   Scripts/run-test.sh EMULATOR... PROGRAM [ARGUMENT...]
set -uo pipefail

output=$(mktemp)
trap 'rm -f "$output"' EXIT
"$@" | tee "$output"
status=$?
if [ "$status" != 0 ] && [ ! -s "$output" ]; then
  echo "run-test.sh: the program ended with exit code $status, without any output" >&2
fi
case " $* " in
*" --gtest_list_tests "*) [ -s "$output" ] ;;
*) [ "$status" != 0 ] || grep -q '^\[  PASSED  \]' "$output" ;;
esac || {
  echo "run-test.sh: the program ended with exit code $status, but did not report its result" >&2
  exit 99
}
exit "$status"
