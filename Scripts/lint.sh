#!/usr/bin/env bash
# Checks the form of the sources, the cheap checks first. The compiler's warnings cover the tests.
#
#   Scripts/lint.sh [CHECK...]       without CHECK: all of them, in this order
#   Scripts/lint.sh --fix-format     formats the C++ sources
#
# words        banned words in the text of all files (Scripts/banned-words.txt)
# structure    circles of folders and the number of sources in a folder
# shell        shellcheck on all shell scripts
# python       flake8 on all Python scripts
# runtime      headers that the DLL must not include
# format       clang-format on all C++ sources
# docs         warnings of the library reference, which doxygen makes from the comments of the headers
# cppcheck     cppcheck on what ships
# tidy         clang-tidy on what ships (takes minutes)
#
# docs and tidy require the configured release preset: tidy reads its compile commands.
#
# The findings of shellcheck, flake8, clang-format, doxygen, cppcheck, and clang-tidy differ between their versions. The
# sources follow the versions of Debian 12. Other systems skip these checks.
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$root"

build=build/mingw-x64-release
mapfile -t sources < <(git ls-files '*.cpp' '*.h')

check_words() {
  python3 -B Scripts/check-words.py --self-test
  python3 -B Scripts/check-words.py
}

check_structure() {
  python3 -B Scripts/check-structure.py --self-test
  python3 -B Scripts/check-structure.py
}

check_shell() {
  local scripts
  mapfile -t scripts < <(git ls-files '*.sh' .ci/run)
  shellcheck "${scripts[@]}"
  say "shellcheck has no findings in ${#scripts[@]} scripts"
}

check_python() {
  local scripts
  mapfile -t scripts < <(git ls-files '*.py')
  flake8 "${scripts[@]}"
  say "flake8 has no findings in ${#scripts[@]} scripts"
}

# The DLL is compiled with the headers of one flavor of the runtime and linked with the other (cmake/mingw-common.cmake).
# The flavors differ in what these headers define.
check_runtime() {
  local shipped
  mapfile -t shipped < <(git ls-files 'Src/*.cpp' 'Src/*.h')
  if grep -nE '#include <(condition_variable|fstream|future|shared_mutex|thread)>' "${shipped[@]}"; then
    fail "the DLL must not use these headers"
  fi
  say "the DLL uses no headers that differ between the compiler flavors"
}

check_format() {
  clang-format --dry-run --Werror "${sources[@]}"
  say "the format of ${#sources[@]} files is correct"
}

check_docs() {
  quietly "$build/docs.log" cmake --build "$build" --target docs
  say "the library reference has no warnings"
}

check_cppcheck() {
  cppcheck --quiet --error-exitcode=1 -j "$(nproc)" --enable=warning,style,performance,portability \
    --suppressions-list=Scripts/cppcheck-suppressions.txt --std=c++20 --language=c++ --platform=win64 \
    --library=windows -D_WIN32 -D_WIN64 -D__GNUC__ -D_WIN32_WINNT=0x0601 -ISrc -ITools -IExamples Src Tools Examples
  say "cppcheck has no findings"
}

# tidy COMMANDS PATTERN: runs clang-tidy on the sources that match. A pattern without a match fails.
tidy() {
  run-clang-tidy -quiet -p "$1" -j "$(nproc)" "${arguments[@]}" "$2" >"$log" 2>&1 && grep -q '^clang-tidy' "$log"
}

check_tidy() {
  local log=$build/clang-tidy.log folder
  # clang uses the headers of the cross compiler, in its order. The runtime functions that the DLL defines itself are
  # declared as imported there.
  local arguments=(-extra-arg-before=--target=x86_64-w64-mingw32 -extra-arg=-Wno-unknown-warning-option
    -extra-arg=-Wno-inconsistent-dllimport)
  while read -r folder; do
    arguments+=("-extra-arg=-isystem$folder")
  done < <(x86_64-w64-mingw32-g++-posix -E -x c++ /dev/null -v 2>&1 |
    sed -n '/^#include </,/^End/p' | grep '^ ' | grep -v '/gcc/.*/include$' | xargs -n1 realpath)

  # Most of the time is spent on the platform's headers, so the sources of a folder are checked as one. If that has
  # findings, each source is checked by itself, to separate findings in the sources from those of joining them.
  Scripts/join-units.py "$build" "$build/lint" Src Tools Examples
  if ! tidy "$build/lint" "$PWD/$build/lint/.*"; then
    say "clang-tidy checks each source by itself"
    if ! tidy "$build/lint/each" "$PWD/(Src|Tools|Examples)/.*"; then
      grep -vE '^(clang-tidy|\[|[0-9]+ warnings)' "$log" >&2 || true
      fail "clang-tidy has findings"
    fi
  fi
  say "clang-tidy has no findings"
}

all=(words structure shell python runtime format docs cppcheck tidy)
with_tools=" shell python format docs cppcheck tidy "
checks=("$@")
# shellcheck source=/dev/null
system=$(. /etc/os-release && echo "$ID ${VERSION_ID-}")
[ ${#checks[@]} != 0 ] || checks=("${all[@]}")
for check in "${checks[@]}"; do
  case $check in
  --fix-format)
    [ "$system" = "debian 12" ] || fail "the format of the sources is that of clang-format in Debian 12; this is $system"
    clang-format -i "${sources[@]}"
    exit
    ;;
  --help)
    usage_text "${BASH_SOURCE[0]}"
    exit
    ;;
  esac
  [[ " ${all[*]} " == *" $check "* ]] || fail "unknown check $check; --help lists the checks"
  if [ "$system" != "debian 12" ] && [[ $with_tools == *" $check "* ]]; then
    say "$check is skipped: the sources follow the tools of Debian 12, and those of $system have other findings"
    continue
  fi
  "check_$check"
done
