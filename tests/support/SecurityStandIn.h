#pragma once

#include "Sandbox.h"

#include <QString>

using namespace Qt::StringLiterals;

// A stand-in for macOS's /usr/bin/security with a real store of its own in `<sandbox>/keychain`:
// `-i` reads commands from standard input, double-quoted words with \\ and \" escapes;
// add-generic-password (-U -s -a -l -T -w) keeps the password and the trusted applications (-T);
// find-generic-password -s -a [-w] finds the item and with -w prints its password. Every call's
// arguments go to `<sandbox>/keychain/calls.log`. Written to `<sandbox>/bin/security`.
inline QString writeSecurityStandIn(const Sandbox &sandbox)
{
    const QString path = sandbox.root() + u"/bin/security"_s;
    const QString store = sandbox.root() + u"/keychain"_s;
    Sandbox::writeFile(path,
                       QString(uR"SH(#!/bin/bash
store='%1'
mkdir -p "$store"
printf '%s\n' "$*" >> "$store/calls.log"
item() { printf '%s/%s' "$store" "$(printf '%s|%s' "$1" "$2" | base64 | tr -d '\n=/+')"; }
split() { # the words of one `security -i` line, into the array `words`
  words=(); local w= quoted=0 started=0 i c line=$1
  for ((i = 0; i < ${#line}; i++)); do
    c=${line:i:1}
    if ((quoted)); then
      if [ "$c" = '\' ]; then i=$((i + 1)); w+=${line:i:1}
      elif [ "$c" = '"' ]; then quoted=0
      else w+=$c; fi
    elif [ "$c" = '"' ]; then quoted=1; started=1
    elif [ "$c" = ' ' ]; then ((started)) && words+=("$w"); w=; started=0
    else w+=$c; started=1; fi
  done
  ((started)) && words+=("$w")
  return 0
}
run_command() {
  local cmd=$1 s= a= w= print=0 update=0 trusted=()
  shift
  while [ $# -gt 0 ]; do
    case $1 in
      -s) s=$2; shift ;; -a) a=$2; shift ;; -l) shift ;; -T) trusted+=("$2"); shift ;;
      -w) if [ "$cmd" = add-generic-password ]; then w=$2; shift; else print=1; fi ;;
      -U) update=1 ;;
      *) echo "security: unknown option $1"; return 2 ;;
    esac
    shift
  done
  local file; file=$(item "$s" "$a")
  case $cmd in
    add-generic-password)
      if [ -f "$file.password" ] && ((!update)); then
        echo "security: SecKeychainItemCreateFromContent (<default>): The item already exists in the keychain."
        return 45
      fi
      printf '%s' "$w" > "$file.password"
      printf '%s\n' "${trusted[@]}" > "$file.trusted" ;;
    find-generic-password)
      if [ ! -f "$file.password" ]; then
        echo "security: SecKeychainSearchCopyNext: The item could not be found in the keychain." >&2
        return 44
      fi
      if ((print)); then cat "$file.password"; echo; else printf 'keychain: "login.keychain-db"\n'; fi ;;
    *) echo "security: unknown command $cmd"; return 2 ;;
  esac
}
if [ "$1" = -i ]; then
  while IFS= read -r line; do split "$line"; run_command "${words[@]}"; done
  exit 0
fi
run_command "$@"
)SH"_s.arg(store))
                           .toUtf8(),
                       0755);
    return path;
}
