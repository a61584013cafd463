#!/usr/bin/env bash
# Signs programs and packages for Windows (Authenticode, SHA-256), or checks their signatures.
#
#   Scripts/sign.sh KEY [OPTION...] FILE...
#   Scripts/sign.sh --verify [--ca FILE] [--tsa-ca FILE] FILE...
#
# KEY is one of
#   --pkcs12 FILE                      key and certificates in one file
#   --cert FILE --key FILE             certificates (the signer's first) and key, PEM
#   --pkcs11-module FILE --key URI --cert FILE [--pkcs11-engine FILE]
#                                      a key that does not leave its token
# OPTION
#   --password-file FILE   holds the key's password, or the token's PIN, in its first line
#   --timestamp URL        time-stamp server (RFC 3161): the signature outlives the certificate
#   --description TEXT     what the user is shown (default: Kuv Credential Provider Filter)
#   --url URL              where to learn more
#   --ca FILE              roots, PEM, that the signature must lead to (default: those of this system)
#   --tsa-ca FILE          the same for the time stamp
#
# Every file is signed into a temporary one beside it, which is verified and then takes its place: a file is signed
# or as it was. A signature that it has is replaced. The first failure ends the run.
set -euo pipefail

fail() {
  printf 'sign.sh: %s\n' "$*" >&2
  exit 1
}
usage() {
  printf 'sign.sh: %s; --help tells the options\n' "$*" >&2
  exit 2
}

declare -A option=([description]="Kuv Credential Provider Filter")
verify='' files=()
while [ $# -gt 0 ]; do
  case $1 in
  --help)
    sed -n '2,/^set/{/^set/d;s/^# \{0,1\}//p}' "${BASH_SOURCE[0]}"
    exit
    ;;
  --verify) verify=yes ;;
  --pkcs12 | --cert | --key | --pkcs11-module | --pkcs11-engine | --password-file | --timestamp | --description | --url | \
    --ca | --tsa-ca)
    [ $# -ge 2 ] || usage "$1 takes a value"
    option[${1#--}]=$2
    shift
    ;;
  --)
    shift
    files+=("$@")
    break
    ;;
  -*) usage "unknown option $1" ;;
  *) files+=("$1") ;;
  esac
  shift
done
given() { [ -n "${option[$1]+x}" ]; }

[ ${#files[@]} != 0 ] || usage "no file is named"
command -v osslsigncode >/dev/null || fail "osslsigncode is not installed; Scripts/setup.sh installs it"
for name in pkcs12 cert pkcs11-module pkcs11-engine password-file ca tsa-ca; do
  ! given "$name" || [ -r "${option[$name]}" ] || fail "cannot read ${option[$name]} (--$name)"
done
for file in "${files[@]}"; do
  if ! [ -f "$file" ] || ! [ -r "$file" ]; then fail "cannot read $file"; fi
done

work=$(mktemp -d)
unfinished=''
trap 'rm -rf "$work" ${unfinished:+"$unfinished"}' EXIT

trust=()
! given ca || trust+=(-CAfile "${option[ca]}")
! given tsa-ca || trust+=(-TSA-CAfile "${option[tsa-ca]}")
# check FILE NAME: tells who signed the file, or what is wrong with it. The program takes a time stamp that it cannot verify
# for none, and the signature for good as long as the certificate is.
check() {
  local stamp=''
  if osslsigncode verify "${trust[@]}" -in "$1" >"$work/log" 2>&1; then
    if grep -q 'Timestamp Server Signature verification: ok' "$work/log"; then
      stamp=', with a time stamp'
    elif grep -q 'Timestamp Server Signature verification' "$work/log" || given timestamp; then
      cat "$work/log" >&2
      printf 'sign.sh: the time stamp of %s does not hold\n' "$2" >&2
      return 1
    fi
    printf '%s: signed by %s%s\n' "$2" \
      "$(sed -n "/Signer's certificate:/,/Subject/s|.*Subject: *||p" "$work/log" | head -n 1)" "$stamp"
    return
  fi
  if grep -qE 'No signature found|has no signature' "$work/log"; then
    printf 'sign.sh: %s is not signed\n' "$2" >&2
  elif grep -qiE '(unsupported input|unrecognized) file type' "$work/log"; then
    printf 'sign.sh: %s is no program and no package: it cannot be signed\n' "$2" >&2
  else
    cat "$work/log" >&2
    printf 'sign.sh: the signature of %s does not hold\n' "$2" >&2
  fi
  return 1
}

if [ -n "$verify" ]; then
  status=0
  for file in "${files[@]}"; do
    check "$file" "$file" || status=1
  done
  exit "$status"
fi

key=()
if given pkcs12; then
  if given cert || given key || given pkcs11-module; then
    usage "--pkcs12 holds key and certificates: no other is needed"
  fi
  key=(-pkcs12 "${option[pkcs12]}")
else
  if ! given cert || ! given key; then usage "a key is needed: --pkcs12, or --cert and --key"; fi
  if given pkcs11-module; then
    ! given pkcs11-engine || key+=(-pkcs11engine "${option[pkcs11-engine]}")
    key+=(-pkcs11module "${option[pkcs11-module]}")
  else
    [ -r "${option[key]}" ] || fail "cannot read ${option[key]} (--key)"
  fi
  key+=(-certs "${option[cert]}" -key "${option[key]}")
fi
# From a file: a process list shows what stands on a command line.
! given password-file || key+=(-readpass "${option[password-file]}")
told=(-n "${option[description]}")
! given url || told+=(-i "${option[url]}")
! given timestamp || told+=(-ts "${option[timestamp]}")

for file in "${files[@]}"; do
  unfinished=$(mktemp --dry-run "$file.XXXXXX")
  if ! osslsigncode sign "${key[@]}" -h sha256 "${told[@]}" -in "$file" -out "$unfinished" >"$work/log" 2>&1; then
    cat "$work/log" >&2
    fail "$file was not signed"
  fi
  check "$unfinished" "$file" || fail "$file was not signed: its new signature could not be verified"
  chmod --reference="$file" "$unfinished"
  mv -f "$unfinished" "$file"
  unfinished=''
done
