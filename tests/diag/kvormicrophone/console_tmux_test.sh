#!/bin/sh
# The console front end in a real terminal: start the interactive test in a
# tmux session of its own, press its keys as a person would, read the screen.
set -eu
program=$1
work=$(mktemp -d)
socket="kvo-console-$$"
tmux_() { tmux -L "$socket" "$@"; }
cleanup() {
    tmux_ kill-server 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT

screen() { tmux_ capture-pane -p -t test; }
# Waits (at most about 30 s) until the screen shows the text.
wait_for() {
    tries=0
    until screen | grep -qF -- "$1"; do
        tries=$((tries + 1))
        if [ "$tries" -gt 300 ]; then
            echo "the screen never showed: $1"
            screen
            exit 1
        fi
        sleep 0.1
    done
}

tmux_ new-session -d -s test -x 120 -y 40 \
    "cd '$work' && TMPDIR='$work' '$program' run MicrophoneTest --audio sim --ui console; echo \"exit status \$?\"; sleep 60"

wait_for "Microphone Array"
wait_for "[r] Record"
screen | grep -qF -- "[-] Play" || { echo "Play is enabled before anything was recorded"; screen; exit 1; }
tmux_ send-keys -t test r
wait_for "[p] Play"
wait_for "100%"
tmux_ send-keys -t test p
wait_for "[s] Pass"
tmux_ send-keys -t test s
wait_for "exit status"
screen | grep -qF "MicrophoneTest: PASS" || { echo "no PASS on the screen"; screen; exit 1; }
screen | grep -qF "exit status 0" || { echo "the program did not exit with 0"; screen; exit 1; }
echo "console front end: PASS"
