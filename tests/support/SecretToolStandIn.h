#pragma once

#include "Sandbox.h"

#include <QString>

using namespace Qt::StringLiterals;

// A stand-in secret-tool with a real store of its own in `<sandbox>/secrets`: "store" reads the
// secret from standard input, "lookup" prints it; every call's arguments go to
// `<sandbox>/secrets/calls.log`. Written to `<sandbox>/bin/secret-tool`; gives that path.
inline QString writeSecretToolStandIn(const Sandbox &sandbox)
{
    const QString path = sandbox.root() + u"/bin/secret-tool"_s;
    const QString store = sandbox.root() + u"/secrets"_s;
    Sandbox::writeFile(path,
                       QString(uR"SH(#!/bin/bash
store='%1'
mkdir -p "$store"
printf '%s\n' "$*" >> "$store/calls.log"
cmd=$1; shift
[ "$1" = "${1#--label=}" ] || shift
key=$(printf '%s|' "$@" | base64 | tr -d '\n=/+')
case $cmd in
  store) cat > "$store/$key" ;;
  lookup) [ -f "$store/$key" ] && cat "$store/$key" || exit 1 ;;
  *) exit 2 ;;
esac
)SH"_s.arg(store))
                           .toUtf8(),
                       0755);
    return path;
}
