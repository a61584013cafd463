#!/usr/bin/env bash
# Signs programs and packages for Windows (Authenticode, SHA-256), or verifies their signatures.
#
#   Scripts/sign.sh KEY [OPTION...] FILE...
#   Scripts/sign.sh --verify [--ca FILE] [--tsa-ca FILE] FILE...
#
# KEY is one of
#   --pkcs12 FILE                      key and certificates in one file
#   --cert FILE --key FILE             certificates (the signer's first) and key, PEM
#   --pkcs11-module FILE --key URI --cert FILE [--pkcs11-engine FILE]
#                                      a key on a hardware token
# OPTION is any of
#   --password-file FILE   a file whose first line is the password of the key or the PIN of the token
#   --timestamp URL        time-stamp server (RFC 3161); the signature stays valid after the certificate expires
#   --description TEXT     the description that Windows shows (default: Kuv Credential Provider Filter)
#   --url URL              the link that Windows shows
#   --ca FILE              trusted roots for the signature, PEM (default: those of this system)
#   --tsa-ca FILE          trusted roots for the time stamp, PEM
#
# The script signs a temporary copy in the same folder, verifies it and then replaces the file. If that fails, the file
# is unchanged. An existing signature is replaced. The first failure ends the run.
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

# usage TEXT...: reports wrong usage and ends the script with exit code 2.
usage() {
  say "$*; --help lists the options" >&2
  exit 2
}

declare -A option=([description]="Kuv Credential Provider Filter")
verify='' files=()
while [ $# -gt 0 ]; do
  case $1 in
  --help)
    usage_text "${BASH_SOURCE[0]}"
    exit
    ;;
  --verify) verify=yes ;;
  --pkcs12 | --cert | --key | --pkcs11-module | --pkcs11-engine | --password-file | --timestamp | --description | --url | \
    --ca | --tsa-ca)
    [ $# -ge 2 ] || usage "$1 requires a value"
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

[ ${#files[@]} != 0 ] || usage "no file to sign or verify"
need_programs osslsigncode
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
# check FILE NAME: prints who signed the file, or what is wrong with it. osslsigncode treats a time stamp that it cannot
# verify as missing, and then accepts the signature while the certificate is valid.
check() {
  local stamp=''
  if osslsigncode verify "${trust[@]}" -in "$1" >"$work/log" 2>&1; then
    if grep -q 'Timestamp Server Signature verification: ok' "$work/log"; then
      stamp=', with a time stamp'
    elif grep -q 'Timestamp Server Signature verification' "$work/log" || given timestamp; then
      cat "$work/log" >&2
      say "the time stamp of $2 is not valid" >&2
      return 1
    fi
    printf '%s: signed by %s%s\n' "$2" \
      "$(sed -n "/Signer's certificate:/,/Subject/s|.*Subject: *||p" "$work/log" | head -n 1)" "$stamp"
    return
  fi
  if grep -qE 'No signature found|has no signature' "$work/log"; then
    say "$2 is not signed" >&2
  elif grep -qiE '(unsupported input|unrecognized) file type' "$work/log"; then
    say "$2 is not a program or a package and cannot be signed" >&2
  else
    cat "$work/log" >&2
    say "the signature of $2 is not valid" >&2
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
    usage "--pkcs12 contains key and certificates; do not use it with --cert, --key or --pkcs11-module"
  fi
  key=(-pkcs12 "${option[pkcs12]}")
else
  if ! given cert || ! given key; then usage "a key is required: --pkcs12, or --cert and --key"; fi
  if given pkcs11-module; then
    ! given pkcs11-engine || key+=(-pkcs11engine "${option[pkcs11-engine]}")
    key+=(-pkcs11module "${option[pkcs11-module]}")
  else
    [ -r "${option[key]}" ] || fail "cannot read ${option[key]} (--key)"
  fi
  key+=(-certs "${option[cert]}" -key "${option[key]}")
fi
# From a file, because other users can see the command line.
! given password-file || key+=(-readpass "${option[password-file]}")
details=(-n "${option[description]}")
! given url || details+=(-i "${option[url]}")
! given timestamp || details+=(-ts "${option[timestamp]}")

for file in "${files[@]}"; do
  unfinished=$(mktemp --dry-run "$file.XXXXXX")
  if ! osslsigncode sign "${key[@]}" -h sha256 "${details[@]}" -in "$file" -out "$unfinished" >"$work/log" 2>&1; then
    cat "$work/log" >&2
    fail "$file was not signed"
  fi
  check "$unfinished" "$file" || fail "$file was not signed: its new signature could not be verified"
  chmod --reference="$file" "$unfinished"
  mv -f "$unfinished" "$file"
  unfinished=''
done
