#!/bin/sh
# The console front end in a real terminal: start the interactive test in a
# tmux session of its own, press its keys as a person would, read the screen.
set -eu
program=$1
scenarios=$(cd "$(dirname "$0")/../../scenarios" && pwd)
work=$(mktemp -d)
socket="kvo-console-$$"
tmux_() { tmux -L "$socket" "$@"; }
cleanup() {
    tmux_ kill-server 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT

screen() { tmux_ capture-pane -p -t test; }
fail() {
    echo "$1"
    screen
    exit 1
}
# Waits (at most about 30 s) until the screen shows the text.
wait_for() {
    tries=0
    until screen | grep -qF -- "$1"; do
        tries=$((tries + 1))
        if [ "$tries" -gt 300 ]; then
            fail "the screen never showed: $1"
        fi
        sleep 0.1
    done
}
# Starts `kvormicrophone run MicrophoneTest --audio sim` with the given
# arguments in a fresh session. When the program has ended, the shell prints
# its exit status and whether the terminal echoes typed keys again. Its state
# folder is the scratch folder, never the user's, which another run may hold. The shell
# itself outlives a Ctrl-C meant for the program. (A second Ctrl-C, which ends
# the program at once, is tested on a pseudo-terminal by the StopSignal test.)
# A tmux server that dies while it starts ("server exited unexpectedly", seen on
# loaded machines) is the terminal's failure, not the program's: start it again.
start() {
    tmux_ kill-session -t test 2>/dev/null || true
    attempt=1
    until tmux_ new-session -d -s test -x 120 -y 40 \
        "trap : INT; cd '$work' && TMPDIR='$work' XDG_STATE_HOME='$work' '$program' run MicrophoneTest --audio sim --ui console $*; \
echo \"exit status \$?\"; stty -a | tr ' ;' '\n\n' | grep -qx -- -echo && echo 'echo off' || echo 'echo on'; sleep 60"; do
        [ "$attempt" -lt 3 ] || exit 1
        attempt=$((attempt + 1))
        tmux_ kill-server 2>/dev/null || true
        sleep 1
    done
}

# A refused recording: after the message the screen shows Record offered again.
# Then record, play and pass.
start "--machine '$scenarios/capture-fails-once.json'"
wait_for "Microphone Array"
wait_for "[r] Record"
screen | grep -qF -- "[-] Play" || fail "Play is enabled before anything was recorded"
tmux_ send-keys -t test r
wait_for "The recording device is in use."
wait_for "[press Enter]"
tmux_ send-keys -t test Enter
wait_for "[r] Record"
tmux_ send-keys -t test r
wait_for "[p] Play"
wait_for "100%"
tmux_ send-keys -t test p
wait_for "[s] Pass"
tmux_ send-keys -t test s
wait_for "echo o"
screen | grep -qF "MicrophoneTest: PASS" || fail "no PASS on the screen"
screen | grep -qF "exit status 0" || fail "the program did not exit with 0"
screen | grep -qF "echo on" || fail "the terminal does not echo after the dialog"

# Before Vista, one Ctrl-C while nothing is recorded or played ends the test,
# and the terminal echoes again.
start "--machine '$scenarios/windows-xp.json'"
wait_for "[r] Record"
tmux_ send-keys -t test C-c
wait_for "echo o"
screen | grep -qF "MicrophoneTest: USERABORTED" || fail "no USERABORTED after Ctrl-C"
screen | grep -qF "exit status 6" || fail "the program did not exit with 6 after Ctrl-C"
screen | grep -qF "echo on" || fail "the terminal does not echo after Ctrl-C"

echo "console front end: PASS"
