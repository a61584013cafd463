#!/usr/bin/env bash
# Runs a Windows program under Wine in a given prefix.
#
#   Scripts/wine.sh PREFIX PROGRAM [ARGUMENT...]
#   Scripts/wine.sh PREFIX --start    creates the prefix and keeps its server running
#   Scripts/wine.sh PREFIX --stop     stops that server
#
# The first use creates the prefix, as Windows 10 without network or display. The program runs in the current folder, with
# administrative rights; the output and the exit code are those of the program.
set -euo pipefail

prefix=$(realpath -m "$1")
shift

for loader in "$(command -v wine64 || true)" /usr/lib/wine/wine64 ""; do
  [ -x "$loader" ] && break
done
if [ -z "$loader" ]; then
  echo "wine.sh: Wine is not installed; Scripts/setup.sh installs it" >&2
  exit 127
fi
for server in /usr/lib/wine/wineserver64 /usr/lib/wine/wineserver "$(command -v wineserver || true)"; do
  [ -x "$server" ] && break
done

export WINEPREFIX=$prefix WINEARCH=win64 WINELOADER=$loader WINESERVER=$server
export WINEDEBUG=${WINEDEBUG:--all}
# No installers for .NET and the HTML engine, no menu entries on the host.
export WINEDLLOVERRIDES="mscoree=;mshtml=;winemenubuilder.exe="
export HOME=${HOME:-$prefix}
unset DISPLAY WAYLAND_DISPLAY
# Newer versions of Wine look for a display here, and write an error message if this folder is not set.
export XDG_RUNTIME_DIR=$prefix

# Newer versions of Wine, such as 10, give a program administrative rights only if its manifest requires them or if its
# parent has them. The parent is a copy of Wine's start program with such a manifest. A prefix belongs to the version of Wine
# that made it.
launcher=$prefix/administrator.exe

make_launcher() {
  local version
  version=$("$loader" --version)
  version=${version#wine-}
  [ "${version%%.*}" -gt 8 ] || return 0
  cp "$prefix/drive_c/windows/system32/start.exe" "$launcher"
  cat >"$launcher.manifest" <<'END'
<?xml version="1.0" encoding="UTF-8" standalone="yes"?>
<assembly xmlns="urn:schemas-microsoft-com:asm.v1" manifestVersion="1.0">
  <trustInfo xmlns="urn:schemas-microsoft-com:asm.v3"><security><requestedPrivileges>
    <requestedExecutionLevel level="requireAdministrator" uiAccess="false"/>
  </requestedPrivileges></security></trustInfo>
</assembly>
END
}

make_prefix() {
  [ -e "$prefix/.ready" ] && return
  mkdir -p "$prefix"
  exec 9>"$prefix/.lock"
  flock 9
  if [ ! -e "$prefix/.ready" ]; then
    "$loader" wineboot --init >/dev/null 2>&1 9>&- </dev/null
    "$loader" reg add 'HKCU\Software\Wine' /v Version /d win10 /f >/dev/null 2>&1 9>&- </dev/null
    "$server" -w 9>&-
    make_launcher 9>&-
    touch "$prefix/.ready"
  fi
  exec 9>&-
}

make_prefix
case ${1-} in
--start)
  # 2: a server is already running.
  "$server" -p >/dev/null 2>&1 </dev/null || [ $? = 2 ]
  "$loader" wineboot >/dev/null 2>&1 </dev/null
  ;;
--stop)
  "$server" -k >/dev/null 2>&1 || true
  "$server" -w >/dev/null 2>&1 || true
  ;;
*)
  command=("$@")
  if [ -e "$launcher" ]; then
    # The start program would treat a path of this host as an option.
    if [[ $1 == */* && $1 != [A-Za-z]:* ]]; then
      program=$(realpath -ms "$1")
      command[0]=Z:${program//\//\\}
    fi
    command=("$launcher" /exec "${command[@]}")
  fi
  # The first program that needs a window station starts a desktop process, which inherits standard error and outlives
  # the program. Standard error goes to a file, so that no reader waits for the end of a pipe.
  errors=$(mktemp "$prefix/stderr.XXXXXX")
  status=0
  "$loader" "${command[@]}" 2>"$errors" || status=$?
  cat "$errors" >&2
  rm -f "$errors"
  exit "$status"
  ;;
esac
