#!/usr/bin/env bash
# End-to-end runs of the Windows program under Wine with --audio wasapi, on a
# private PulseAudio daemon that each case starts (hearing or deaf microphone)
# and the Wine prefix of scripts/wine-audio-bed.sh.
#
#   wine-e2e.sh CASE PROGRAM.exe BED_DIR
#
# Wine tells no built-in device from an external one (every sink is
# "Speakers", every source "Microphone", and there is no device topology), so
# the backend counts them all as built in; the cases that need one built-in
# pair take the daemon's external pair away first.
set -uo pipefail

[ $# -eq 3 ] || { echo "usage: $0 CASE PROGRAM.exe BED_DIR" >&2; exit 2; }
case_name=$1
program=$(realpath "$2")
bed=$(realpath "$3")
scripts=$(cd "$(dirname "$0")/../../../../scripts" && pwd)
export WINEPREFIX=$bed/prefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml,winedbg.exe=d"

work=$(mktemp -d)
server=
cleanup() {
    [ -n "$server" ] && "$scripts/pulse-test-server.sh" stop "$work/pulse"
    rm -rf "$work"
}
trap cleanup EXIT
mkdir -p "$work/base"
# Wine's drive Z: is the Unix root.
base_dir="Z:${work//\//\\}\\base"

failures=0
check() {  # check DESCRIPTION COMMAND...
    local description=$1
    shift
    if "$@"; then
        echo "ok: $description"
    else
        echo "FAILED: $description"
        failures=$((failures + 1))
    fi
}
has() { grep -qE -- "$1" <<<"$output"; }
# The line after the first that matches PATTERN matches EXPECTED.
followed_by() { grep -A1 -E -- "$1" <<<"$output" | sed -n 2p | grep -qE -- "$2"; }

start_server() {  # [deaf]
    server=$("$scripts/pulse-test-server.sh" start "$work/pulse" "$@") || { echo "no daemon"; exit 1; }
    export PULSE_SERVER=$server
}

# Only the built-in pair (and, deaf, the output it does not hear) stays.
drop_external_pair() {
    local module
    for module in $(pactl list short modules | grep -E 'ext_headphones|ext_mic' | cut -f1); do
        pactl unload-module "$module" 2>/dev/null || true  # ext_mic goes with ext_headphones
    done
}

# Levels a user might have left, none at the defaults.
set_user_levels() {
    pactl set-sink-volume int_speaker 65%
    pactl set-source-volume int_mic 80%
}

levels() {
    local kind
    for kind in sinks sources; do
        pactl list "$kind" | grep -E '^\s*(Name|Mute|Volume):'
    done
}

status=0
output=
run_program() {  # arguments...; sets status and output
    # Only "run" writes files, so only it takes a base folder.
    local where=()
    [ "$1" = run ] && where=(--base-dir "$base_dir")
    output=$(cd "$work/base" && timeout 300 wine "$program" "$@" --audio wasapi "${where[@]}" 2>&1)
    status=$?
    echo "--- kvormicrophone $* (exit $status)"
    echo "$output"
}

# Wine's audio threads drop samples when a loaded machine starves them, and a
# dropout smears a tone's peak into a FAIL. A FAIL verdict is run again, up to
# three runs in all; a program that cannot pass never passes any of them.
run_tone_test_until_pass() {  # arguments for run...
    local attempt
    for attempt in 1 2 3; do
        run_program run FrequencyToneTest "$@"
        [ "$status" -eq 1 ] || return 0
        echo "--- a FAIL verdict on run $attempt"
    done
}

# One daemon whose built-in microphone hears the built-in speaker, for every
# command in turn; the user's levels must be back after each.
case_hearing() {
    start_server
    run_program devices
    check "devices exits 0" test "$status" -eq 0
    check "names the system" has "^Audio system: Windows Core Audio under Wine"
    check "lists the microphone, active and built in" \
        followed_by 'Capture endpoint "Built-in Microphone"' "State: active, integrated"
    check "lists the external speaker" has 'Render endpoint "USB Headphones"'
    check "a monitor is no built-in microphone" \
        followed_by 'endpoint "Monitor of Built-in Speaker"' "State: active, external"
    check "shared formats" has "Formats \(shared\):.*48000 Hz 16 bit 2 ch"
    check "volume with its dB range" has "Volume: .*range -100.00 to 0.00 dB"
    run_program devices --json
    check "devices --json exits 0" test "$status" -eq 0
    check "json names the backend" has '"audioSystem": "wasapi"'

    drop_external_pair
    set_user_levels
    local before
    before=$(levels)
    run_tone_test_until_pass --param FrequencyList=440,1000,4000
    check "tone test PASS" test "$status" -eq 0
    check "says PASS" has "^FrequencyToneTest: PASS"
    check "played every tone" has "Playing a 4000 Hz tone"
    check "no WAV kept" test -z "$(find "$work/base/logs" -name '*.wav')"
    check "shows where the log is, in Windows' own separators" has 'Log: .*\\logs\\kvormicrophone\.log '
    check "levels back after the tone test" test "$(levels)" = "$before"

    run_program run IntegratedMicrophoneTest
    check "a verdict (PASS or FAIL)" test "$status" -eq 0 -o "$status" -eq 1
    check "tested the built-in microphone" has "Built-in Microphone"
    check "levels back after the amplitude test" test "$(levels)" = "$before"

    # Ctrl-C: Wine turns SIGINT into the console's CTRL_C_EVENT.
    (cd "$work/base" && exec timeout 300 wine "$program" run FrequencyToneTest --audio wasapi \
        --base-dir "$base_dir" --param FrequencyList=440,1000,2000,3000,4000 >"$work/out" 2>&1) &
    local pid=$!
    for _ in $(seq 600); do
        grep -q "Playing a 1000 Hz tone" "$work/out" && break
        sleep 0.1
    done
    # timeout hands the signal on to the program, once.
    kill -INT "$pid" 2>/dev/null
    wait "$pid"
    status=$?
    output=$(cat "$work/out")
    echo "--- stopped run (exit $status)"
    echo "$output"
    check "Ctrl-C is USERABORTED" test "$status" -eq 6
    check "never reached the last tone" bash -c "! grep -q 'Playing a 4000 Hz tone' '$work/out'"
    check "levels back after Ctrl-C" test "$(levels)" = "$before"

    # The meter hears a half-scale sine played into the speaker the microphone
    # listens to; Wine's first packet can take about 2 s.
    local sine
    sine=$(pactl load-module module-sine sink=int_speaker frequency=1000)
    run_program meter --seconds 5
    pactl unload-module "$sine"
    check "meter exits 0" test "$status" -eq 0
    check "shows the microphone's volume and mute" has ": volume [0-9]+ % .*, (not )?muted, "
    check "hears the sine (not silence)" has "^(M|L) -([3-9]|[1-3][0-9])\.[0-9] dBFS peak -"
    check "levels unchanged by the meter" test "$(levels)" = "$before"
}

case_deaf() {
    start_server deaf
    drop_external_pair
    set_user_levels
    local before
    before=$(levels)
    run_program run FrequencyToneTest --param FrequencyList=440,1000,4000
    check "FAIL" test "$status" -eq 1
    check "names the tones not heard" has "error +FAIL_FREQUENCY_TONE_TEST: .*\(Hz\):.*440"
    check "keeps the failing recordings" test -s "$work/base/logs/440.wav"
    check "the user's levels are back" test "$(levels)" = "$before"
}

# A card whose name says SST runs the tone test on the legacy wave API: here
# a speaker named so that plays into the built-in speaker, at its rate.
case_legacy() {
    start_server
    drop_external_pair
    pactl load-module module-remap-sink sink_name=sst_speaker master=int_speaker rate=48000 \
        sink_properties="'device.description=\"Intel SST Speaker\"'" >/dev/null
    set_user_levels
    local before
    before=$(levels)
    run_tone_test_until_pass --param FrequencyList=440,1000 --log-level 1
    check "PASS" test "$status" -eq 0
    check "played every tone" has "Playing a 1000 Hz tone"
    check "no wave device failed" bash -c "! grep -qE 'CANNOTRUN|DEVICE_MISCONFIGURED' <<<\"\$0\"" "$output"
    check "took the legacy API" grep -q "Using windows legacy audio API" "$work/base/logs/kvormicrophone.log"
    check "the user's levels are back" test "$(levels)" = "$before"
}

"case_${case_name//-/_}"
echo "$failures check(s) failed"
[ "$failures" -eq 0 ]
