# Helpers of the keyboard tests, sourced by keys.sh and keys_windows.sh;
# fail is each script's own.

# Runs a check until it passes, RETRIES times (default 20) half a second
# apart: a loaded machine takes its time to repaint, open a dialog, write
# a file or end. Fails with what the check said last.
retry() {
  local what=$1 said
  shift
  for _ in $(seq "${RETRIES:-20}"); do
    said=$("$@" 2>&1) && return 0
    sleep 0.5
  done
  fail "$what: $said"
}
is() { [ "$1" = "$2" ] || { echo "\"$1\", not \"$2\""; return 1; }; }
title() { is "$(xdotool getwindowname "$1")" "$2"; }
active() { is "$(xdotool getactivewindow getwindowname 2>/dev/null)" "$1"; }
