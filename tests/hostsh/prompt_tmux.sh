#!/usr/bin/env bash
# The interactive prompt as a person meets it: hostsh runs in a detached tmux
# pane with a HOME of its own; keys are sent and the screen is read back.
# Checks history across sessions (up arrow), completion of commands, node
# names, attribute names and flags, the did-you-mean line and Ctrl-C.
#   prompt_tmux.sh HOSTSH
set -euo pipefail
hostsh=$(realpath "$1")
dir=$(mktemp -d)
sock="$dir/tmux.sock"
tmux_() { tmux -S "$sock" -f /dev/null "$@"; }
cleanup() {
  tmux_ kill-server 2>/dev/null || true
  rm -rf "$dir"
}
trap cleanup EXIT
failures=0
passes=0

screen() { tmux_ capture-pane -p -J -t prompt 2>/dev/null; }

# Polls the screen until the text shows (as a fixed string; with -x as a
# whole line), up to 30 s.
wait_for() {
  local how=-qF
  if [[ $1 == -x ]]; then
    how=-qxF
    shift
  fi
  local deadline=$((SECONDS + 30))
  until screen | grep "$how" -- "$1"; do
    if ((SECONDS >= deadline)) || ! tmux_ has-session -t prompt 2>/dev/null; then
      echo "FAIL: '$1' never appeared; the screen was:"
      screen | sed '/^$/d; s/^/  | /'
      failures=$((failures + 1))
      return 1
    fi
    sleep 0.1
  done
}

check() {  # check NAME [-x] TEXT: the screen shows TEXT
  local name=$1
  shift
  if wait_for "$@"; then
    echo "ok: $name"
    passes=$((passes + 1))
  else
    echo "FAIL: $name"
  fi
}

# hostsh's exit status lands in $dir/status when it leaves (a sanitized
# build's leak report at exit shows there too).
start() {
  rm -f "$dir/status"
  tmux_ new-session -d -s prompt -x 120 -y 40 \
    "cd '$dir' && HOME='$dir' '$hostsh'; echo \$? >'$dir/status'"
  wait_for "hostsh> "
}

# Waits for the session to end (the pane's program left).
wait_gone() {
  local deadline=$((SECONDS + 30))
  while tmux_ has-session -t prompt 2>/dev/null; do
    if ((SECONDS >= deadline)); then
      echo "FAIL: hostsh did not leave"
      failures=$((failures + 1))
      return 1
    fi
    sleep 0.1
  done
  if [[ $(cat "$dir/status" 2>/dev/null) != 0 ]]; then
    echo "FAIL: hostsh left with status $(cat "$dir/status" 2>/dev/null)"
    failures=$((failures + 1))
    return 1
  fi
  passes=$((passes + 1))
}

# First session: a line to remember, then leave.
start
tmux_ send-keys -t prompt "joint -n shoulder; joint -n elbow" Enter
check "commands run" -x "elbow"
tmux_ send-keys -t prompt "exit" Enter
wait_gone && echo "ok: exit leaves"
if grep -qF "shoulder" "$dir/.hostsh_history"; then
  echo "ok: history saved in HOME"
  passes=$((passes + 1))
else
  echo "FAIL: no history file in HOME"
  failures=$((failures + 1))
fi

# Second session: the up arrow brings the lines of the first one back, newest
# (exit) first.
start
tmux_ send-keys -t prompt Up
check "up arrow recalls the last line" "hostsh> exit"
tmux_ send-keys -t prompt Up
check "up arrow recalls the last session's line" "hostsh> joint -n shoulder; joint -n elbow"
tmux_ send-keys -t prompt Enter
check "recalled line runs" -x "elbow"
tmux_ send-keys -t prompt C-l
tmux_ send-keys -t prompt "sele" Tab "-r sho" Tab
check "completes a command and a node name" "hostsh> select -r shoulder"
tmux_ send-keys -t prompt C-u "getAttr elbow.rotateO" Tab
check "completes an attribute name" "hostsh> getAttr elbow.rotateOrder"
tmux_ send-keys -t prompt C-u "xform -q -t -precis" Tab "2 elbow" Enter
check "completes a flag" "hostsh> xform -q -t -precision 2 elbow"
tmux_ send-keys -t prompt "mvoe 1 2 3" Enter
check "suggests the command meant" "Error: Unknown command 'mvoe'. Did you mean 'move'?"
# Ctrl-C drops the line being typed; the session goes on.
tmux_ send-keys -t prompt "print dropped" C-c "print kept" Enter
check "goes on after Ctrl-C" -x "kept"
if screen | grep -qxF "dropped"; then
  echo "FAIL: Ctrl-C ran the line"
  failures=$((failures + 1))
fi
tmux_ send-keys -t prompt "quit" Enter
wait_gone && echo "ok: quit leaves"

echo "$passes passed, $failures failed"
exit $((failures > 0))
