#!/usr/bin/env bash
# The interactive MicrophoneTest in real Win32 dialogs, under Wine on a virtual
# X display, worked from outside: mouse clicks and keys through X (xdotool),
# the dialog's state read with window messages (dialogdriver.exe), screenshots
# of the dialogs at 100 % and 150 % scaling.
#
#   wine_dialog_test.sh PROGRAM.exe DIALOGDRIVER.exe WIN32_DIALOG_TESTS.exe SCENARIO_DIR
#
# KVO_TEST_DISPLAY picks the X display (default :92); KVO_SCREENSHOT_DIR, when
# set, receives copies of the screenshots (docs/images of the project).
set -uo pipefail

program=$(realpath "$1")
driver=$(realpath "$2")
unit_tests=$(realpath "$3")
scenarios=$(realpath "$4")
display=${KVO_TEST_DISPLAY:-:92}
caption=MicrophoneTest
failures=0

work=$(mktemp -d "${TMPDIR:-/tmp}/kvo-wine-ui.XXXXXX")
export WINEPREFIX=$work/prefix WINEDEBUG=-all
export WINEDLLOVERRIDES="winedbg.exe=d;mscoree,mshtml="
xvfb_pid=
cleanup() {
    wineserver -k 2>/dev/null
    [ -n "$xvfb_pid" ] && kill "$xvfb_pid" 2>/dev/null
    rm -rf "$work"
}
trap cleanup EXIT

ok() { echo "ok - $*"; }
not_ok() {
    echo "not ok - $*"
    failures=$((failures + 1))
}
check() {  # check DESCRIPTION COMMAND...
    local description=$1
    shift
    if "$@"; then ok "$description"; else not_ok "$description"; fi
}

drive() { DISPLAY=$display wine "$driver" "$@" 2>>"$work/driver.log" | tr -d '\r'; }

# A person's mouse click on the centre of a control, once it is enabled.
click() {
    local position
    position=$(drive wait-enabled "$caption" "$1") || return 1
    # shellcheck disable=SC2086
    DISPLAY=$display xdotool mousemove $position click 1
}

# A key typed into the dialog: a click on its caption bar gives it the focus first.
key() {
    DISPLAY=$display xdotool key "$@"
}

# Starts the program in the background; its --json output goes to $run/out.json.
start_program() {  # start_program NAME ARGS...
    run=$work/$1
    shift
    mkdir -p "$run"
    (cd "$run" && DISPLAY=$display exec wine "$program" run MicrophoneTest --audio sim --ui win32 \
        --json --base-dir "$(winepath -w "$run")" "$@" >"$run/out.json" 2>"$run/err.txt") &
    program_pid=$!
    drive wait "$caption" >/dev/null
}

# Waits for the program and prints its exit status; a stuck one is ended.
finish_program() {
    local waited=0
    while kill -0 "$program_pid" 2>/dev/null && [ $waited -lt 600 ]; do
        sleep 0.1
        waited=$((waited + 1))
    done
    kill "$program_pid" 2>/dev/null && echo "program did not end" >>"$run/err.txt"
    wait "$program_pid"
}

# A screenshot of the dialog alone; blank when it has hardly any colours.
screenshot() {  # screenshot FILE
    local id colours
    id=$(DISPLAY=$display xdotool search --name "^$caption\$" | head -1)
    DISPLAY=$display import -window "$id" "$1" 2>/dev/null || DISPLAY=$display import -window root "$1"
    colours=$(convert "$1" -format %k info:)
    echo "  $(basename "$1"): $(convert "$1" -format '%wx%h' info:), $colours colours"
    [ -n "${KVO_SCREENSHOT_DIR:-}" ] && cp "$1" "$KVO_SCREENSHOT_DIR/"
    [ "$colours" -gt 32 ]
}

state_is() {  # state_is PATTERN: the dialog's state line matches the extended regular expression
    local state
    state=$(drive state "$caption")
    echo "  state: $state"
    [[ $state =~ $1 ]]
}

# ---- the Wine prefix and the display
wineboot -i >/dev/null 2>&1
# Dialogs need Wine's own window frames: the X11 driver must not hand them to a window manager.
wine reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d N /f >/dev/null 2>&1
wineserver -w

echo "# without a display"
(unset DISPLAY; timeout 120 wine "$program" run MicrophoneTest --audio sim --ui win32 \
    >"$work/nodisplay.out" 2>"$work/nodisplay.err" </dev/null)
status=$?
echo "  exit $status, stderr: $(cat "$work/nodisplay.err")"
check "no display: BADPARAMS (5)" [ "$status" -eq 5 ]
check "no display: one line naming --ui win32" \
    bash -c "[ \$(wc -l <'$work/nodisplay.err') -eq 1 ] && grep -q -- '--ui win32' '$work/nodisplay.err'"

# Wine's desktop process keeps the display it started with: start afresh with one.
wineserver -k
wineserver -w

Xvfb "$display" -screen 0 1280x1024x24 -nolisten tcp >/dev/null 2>&1 &
xvfb_pid=$!
for _ in $(seq 100); do
    DISPLAY=$display xdpyinfo >/dev/null 2>&1 && break
    sleep 0.1
done
# From here on every Wine process, the registry tool's too, uses the display.
export DISPLAY=$display

echo "# the dialog window on its own"
DISPLAY=$display wine "$unit_tests" --gtest_brief=1 2>&1 | tr -d '\r' | tail -20
unit_status=${PIPESTATUS[0]}
check "Win32 dialog unit tests" [ "$unit_status" -eq 0 ]

echo "# Vista and later: Record, Play and Pass clicked with the mouse"
start_program pass
drive wait-enabled "$caption" 1000 >/dev/null  # the device lists have arrived from the engine
check "progress dialog: Record on once the lists are filled, Play and Pass off, Fail on" \
    state_is "record=1 play=0 pass=0 fail=1 close=1 progress=0 inputs=[1-9]"
click 1000
drive wait-progress "$caption" 100
check "after recording: progress 100, Play on" state_is "play=1 .*progress=100"
check "progress dialog screenshot (resource 102) is not blank" screenshot "$work/dialog-102.png"
size100=$(drive size "$caption")
click 1001
click 1013
finish_program
status=$?
check "Pass: exit 0 (PASS)" [ "$status" -eq 0 ]
check "Pass: the run's result is PASS" grep -q '"result":"PASS"' "$run/out.json"

echo "# Windows XP: the MCI dialog worked from the keyboard alone"
start_program xp --machine "$(winepath -w "$scenarios/windows-xp.json")"
check "MCI dialog: Record on and focused, Play, Pass and Fail off" \
    state_is "record=1 play=0 pass=0 fail=0 close=1 .*focus=1000"
check "MCI dialog has no troubleshooting heading" bash -c "! DISPLAY=$display wine '$driver' has $caption 1030"
DISPLAY=$display xdotool mousemove 5 5 click 1  # nothing there: the keys below go to the dialog
drive_focus() {  # brings the dialog to the front with a click on its caption bar
    local id
    id=$(DISPLAY=$display xdotool search --name "^$caption\$" | head -1)
    eval "$(DISPLAY=$display xdotool getwindowgeometry --shell "$id")"
    DISPLAY=$display xdotool mousemove $((X + WIDTH / 2)) $((Y + 8)) click 1
}
drive_focus
key Return  # Record
drive wait-enabled "$caption" 1001 >/dev/null
check "MCI dialog after recording: Play on and focused, progress 100" \
    state_is "play=1 .*progress=100 .*focus=1001"
key Return  # Play
drive wait-enabled "$caption" 1013 >/dev/null
# Pass and Fail come on only once the MCI device has played the file to its end.
check "MCI dialog after playing: Pass and Fail on" state_is "pass=1 fail=1"
key Tab     # Play -> Pass
key Return  # Pass
finish_program
status=$?
check "MCI dialog, keyboard only: exit 0 (PASS)" [ "$status" -eq 0 ]
check "MCI dialog, keyboard only: the run's result is PASS" grep -q '"result":"PASS"' "$run/out.json"
saved=$(grep -o 'Saving to .*kvorecord.wav' "$run/logs/kvormicrophone.log" | head -1 | sed 's/^Saving to //')
wav=$(winepath -u "$saved" 2>/dev/null)
echo "  recording: $saved -> $wav ($(stat -c %s "$wav" 2>/dev/null) bytes)"
check "MCI dialog saved kvorecord.wav in %TEMP% as a WAVE file" \
    bash -c "[ -s '$wav' ] && [ \"\$(head -c 4 '$wav')\" = RIFF ] && [ \"\$(dd if='$wav' bs=1 skip=8 count=4 2>/dev/null)\" = WAVE ]"

echo "# Windows XP with UseTroubleshooterDialog=true: resource 104"
start_program xp104 --machine "$(winepath -w "$scenarios/windows-xp.json")" \
    --param UseTroubleshooterDialog=true
check "troubleshooting dialog has its heading" drive has "$caption" 1030
check "troubleshooting dialog screenshot (resource 104) is not blank" screenshot "$work/dialog-104.png"
size104=$(drive size "$caption")
click 2
finish_program
status=$?
check "troubleshooting dialog, Close: exit 6 (USERABORTED)" [ "$status" -eq 6 ]

echo "# 150 % scaling"
wineserver -w
wine reg add 'HKCU\Control Panel\Desktop' /v LogPixels /t REG_DWORD /d 144 /f >/dev/null 2>&1
wineserver -k
wineserver -w
start_program size150
size150=$(drive size "$caption")
click 1000
drive wait-progress "$caption" 100
check "150 %: progress dialog screenshot is not blank" screenshot "$work/dialog-102-150.png"
click 2
finish_program >/dev/null
start_program xp104-150 --machine "$(winepath -w "$scenarios/windows-xp.json")" \
    --param UseTroubleshooterDialog=true
check "150 %: troubleshooting dialog screenshot is not blank" screenshot "$work/dialog-104-150.png"
click 2
finish_program >/dev/null
echo "  window sizes: 102 at 100 % $size100, at 150 % $size150; 104 at 100 % $size104"
scaled() {  # the 150 % window is 1.35 to 1.65 times as wide and as high
    local w1 h1 w2 h2
    read -r w1 h1 <<<"$size100"
    read -r w2 h2 <<<"$size150"
    [ $((w2 * 100 / w1)) -ge 135 ] && [ $((w2 * 100 / w1)) -le 165 ] &&
        [ $((h2 * 100 / h1)) -ge 135 ] && [ $((h2 * 100 / h1)) -le 165 ]
}
check "150 %: the dialog grows with the scaling" scaled

if [ $failures -ne 0 ]; then
    echo "$failures check(s) failed; driver log:"
    cat "$work/driver.log"
    for f in "$work"/*/err.txt; do echo "== $f"; cat "$f"; done
    exit 1
fi
echo "all checks passed"
