#!/usr/bin/env bash
# What a tone check costs under Wine with --audio wasapi beyond the audio it
# must play (1 s of tone and 0.5 s of settling per check), the program's peak
# memory, and how long a Ctrl-C (SIGINT) takes to end a run. A measurement,
# not a test: it prints figures and asserts nothing.
#
#   bench/wine-tone-overhead.sh build/mingw/src/kvormicrophone.exe [TONES]
#
# Two runs on the built-in pair of a private daemon, one with 1 tone and one
# with TONES (default 6); their difference cancels Wine's start-up. Wine lists
# the built-in pair twice (the pair itself and the "PulseAudio" endpoints that
# follow the defaults), so every tone is checked on 2 x 2 pairs.
set -euo pipefail

program=$(realpath "$1")
tones=${2:-6}
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap '"$here/../scripts/wine-audio-bed.sh" stop "$work/bed" >/dev/null 2>&1; rm -rf "$work"' EXIT

"$here/../scripts/wine-audio-bed.sh" start "$work/bed"
export WINEPREFIX=$work/bed/prefix WINEDEBUG=-all PULSE_SERVER=unix:$work/bed/pulse/native
for module in $(pactl list short modules | grep -E 'ext_headphones|ext_mic' | cut -f1); do
    pactl unload-module "$module" 2>/dev/null || true  # ext_mic goes with ext_headphones
done
mkdir -p "$work/base"
cd "$work/base"
base_dir="Z:${work//\//\\}\\base"  # Wine's drive Z: is the Unix root

frequencies() {  # the first N of a list of tones
    echo "440,1000,2000,3000,4000,5000,6000,7000,8000,9000" | cut -d, -f"1-$1"
}

measure() {  # tones -> "seconds peak_kib"
    local start end
    start=$(date +%s.%N)
    /usr/bin/time -f "%M" -o "$work/rss" wine "$program" run FrequencyToneTest --audio wasapi \
        --base-dir "$base_dir" --param FrequencyList="$(frequencies "$1")" >"$work/out.$1" 2>&1 || true
    end=$(date +%s.%N)
    grep -q "FrequencyToneTest: PASS" "$work/out.$1" || { tail -3 "$work/out.$1" >&2; }
    echo "$(echo "$end - $start" | bc -l) $(cat "$work/rss")"
}

# From SIGINT, sent while the second tone plays, to the program's exit.
measure_stop() {
    wine "$program" run FrequencyToneTest --audio wasapi --base-dir "$base_dir" \
        --param FrequencyList="$(frequencies 6)" >"$work/out.stop" 2>&1 &
    local pid=$! sent ended
    until grep -qs "Playing a 1000 Hz tone" "$work/out.stop"; do sleep 0.05; done
    sleep 0.5
    sent=$(date +%s.%N)
    kill -INT "$pid"
    wait "$pid" || true
    ended=$(date +%s.%N)
    echo "$(echo "($ended - $sent) * 1000" | bc -l) $(grep "^FrequencyToneTest:" "$work/out.stop")"
}

wine "$program" devices --audio wasapi >/dev/null 2>&1  # Wine's own first start is not measured
read -r one rssOne <<<"$(measure 1)"
read -r many rssMany <<<"$(measure "$tones")"
checks=$(((tones - 1) * 4))
overhead=$(echo "($many - $one) / $checks * 1000 - 1500" | bc -l)
printf "1 tone: %.2f s, %d tones: %.2f s\n" "$one" "$tones" "$many"
printf "per tone check beyond 1.5 s of audio: %.0f ms (target <= 100 ms)\n" "$overhead"
read -r stopMs stopResult <<<"$(measure_stop)"
printf "Ctrl-C to exit: %.0f ms (%s; target < 1000 ms)\n" "$stopMs" "$stopResult"
printf "peak memory: %d KiB with 1 tone, %d KiB with %d tones (target < 65536 KiB)\n" \
    "$rssOne" "$rssMany" "$tones"
