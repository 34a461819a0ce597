# zsh -f zsh_complete.zsh FPATH_DIR OUT LINE...: for each LINE, types it, then Tab, then Enter in a
# real interactive zsh (in a pseudo-terminal) whose completion system loads moxley's completion from
# FPATH_DIR. `moxley` there is a function that appends its arguments, one a line, and "<end>" to OUT:
# what Tab completed.
zmodload zsh/zpty
wait_for() { # wait_for TEXT: reads the terminal until TEXT shows, at most 120 s
  local chunk seen=''
  for i in {1..480}; do
    while zpty -rt z chunk; do seen+=$chunk; done
    [[ $seen == *$1* ]] && return 0
    sleep 0.25
  done
  print -u2 "zsh_complete: no '$1' in: $seen"
  return 1
}
ends() { [[ -f $out ]] && grep -c '^<end>$' $out || print 0 }
fpath_dir=$1 out=$2
shift 2
zpty z zsh -f -i
zpty -w z "PS1='%% '; fpath=($fpath_dir \$fpath); autoload -U compinit; compinit -u -D;"\
" moxley() { print -rl -- \"\$@\" '<end>' >> $out }; print READY\$((6*7))"
wait_for READY42 || exit 1
for line in "$@"; do
  before=$(ends)
  # Enter waits in the terminal's queue until the completion has finished.
  zpty -w -n z "$line"$'\t\n'
  for i in {1..480}; do (( $(ends) > before )) && break; sleep 0.25; done
  (( $(ends) > before )) || { print -u2 "zsh_complete: nothing ran for '$line'"; zpty -d z; exit 1 }
done
zpty -d z
