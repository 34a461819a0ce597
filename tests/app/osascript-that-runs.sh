#!/bin/bash
# A stand-in osascript that does what the real one does with Moxley's one kind of script: it
# records the source, takes the shell command out of
#   do shell script "..." with administrator privileges
# (undoing the string literal's backslash escapes) and runs it with sh. With a file
# osascript.fail beside it, it fails instead, printing that file to standard error.
here=$(dirname "$0")
printf '%s' "$2" > "$here/osascript.source"
printf '%s\n' "$@" >> "$here/osascript.calls"
if [ -f "$here/osascript.fail" ]; then cat "$here/osascript.fail" >&2; exit 1; fi
command=$(printf '%s' "$2" | perl -0777 -ne '
  if (/\Ado shell script "((?:[^"\\]|\\.)*)" with administrator privileges\z/s) {
    my $c = $1; $c =~ s/\\(.)/$1/gs; print $c;
  } else { exit 3 }') || { echo "0:5: syntax error: Expected end of line. (-2741)" >&2; exit 1; }
output=$(sh -c "$command" 2>&1) || { echo "0:${#2}: execution error: $output (1)" >&2; exit 1; }
exit 0
