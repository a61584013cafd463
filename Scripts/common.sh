# shellcheck shell=bash
# Functions and folders of the other scripts, which source this file. `root` is the folder of the repository.
# shellcheck disable=SC2034  # for the scripts that source this file
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
script=$(basename "$0")
# The folder of what Scripts/setup.sh builds, and in it the Debian that contains the 32-bit Wine, if it is needed.
deps=${KUV_DEPS_DIR:-$root/build/deps}
wine_root=$deps/wine-root
# The exit code of Scripts/setup.sh if everything but the 32-bit Wine is installed.
no_wine32=3

# say TEXT...: prints a message that names the script.
say() { printf '%s: %s\n' "$script" "$*"; }

# fail TEXT...: prints the message to standard error and ends the script with exit code 1.
fail() {
  say "$@" >&2
  exit 1
}

# quietly LOG COMMAND...: runs a command and shows its output only if it fails: its last 30 lines, on standard error.
# The output goes to the file LOG. A pipe would stay open as long as the Wine services that a first program starts.
quietly() {
  local log=$1 status=0
  shift
  "$@" >"$log" 2>&1 </dev/null || status=$?
  [ "$status" != 0 ] || return 0
  tail -n 30 "$log" >&2
  say "failed with exit code $status: $*" >&2
  return "$status"
}

# build_preset PRESET [CMAKE-BUILD-OPTION...]: configures and builds a preset.
build_preset() {
  local preset=$1
  shift
  cmake --preset "$preset" && cmake --build --preset "$preset" "$@"
}

# use_wine BUILD: sets `wine`, the command for programs in the Wine prefix of a build tree.
# shellcheck disable=SC2034  # for the scripts that source this file
use_wine() { wine=("$root/Scripts/wine.sh" "$1/wine"); }

# keep_wine BUILD: starts the Wine server of the prefix and stops it when the script ends.
keep_wine() {
  use_wine "$1"
  "${wine[@]}" --start
  trap '"${wine[@]}" --stop' EXIT
}

# windows_path FILE: prints the path of a file of this host for Windows programs.
windows_path() { printf 'Z:%s' "${1//\//\\}"; }

# as_root COMMAND...: runs a command as root.
as_root() {
  if [ "$(id -u)" = 0 ]; then
    "$@"
  elif command -v sudo >/dev/null; then
    sudo "$@"
  else
    fail "this command needs root, and sudo is not installed: $*"
  fi
}

# usage_text FILE: prints the comment at the head of a script, for --help.
usage_text() { sed -n '2,/^set/{/^set/d;s/^# \{0,1\}//p}' "$1"; }

# need_programs NAME...: ends the script if a program is not installed.
need_programs() {
  local program
  for program; do
    command -v "$program" >/dev/null || fail "$program is not installed; Scripts/setup.sh installs it"
  done
}
