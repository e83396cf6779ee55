#!/usr/bin/env bash
# Peak memory of re-analysing a long recording, against the size of its audio
# data: once through the tone test's setting (a file in logs/) and once through
# `kvormicrophone analyze`. A measurement, not a test: it prints figures and
# asserts nothing.
#
#   bench/reanalysis-memory.sh build/release/src/kvormicrophone [MEGABYTES]
#
# The recording is a 1000 Hz tone in 16-bit stereo at 48 kHz, MEGABYTES of data
# (default 100, about 8.7 minutes; the reader takes at most 120 MB).
set -euo pipefail

program=$(realpath "$1")
megabytes=${2:-100}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

bytes=$((megabytes * 1000 * 1000))
seconds=$(awk -v b="$bytes" 'BEGIN { printf "%.4f", b / (48000 * 2 * 2) }')
mkdir -p "$work/logs"
sox -D -n -r 48000 -b 16 -c 2 "$work/logs/1000.wav" synth "$seconds" sine 1000 vol 0.3
data=$(($(stat -c %s "$work/logs/1000.wav") - 44))

peak_kib() {  # command... : the peak resident set of its run, in KiB
    /usr/bin/time -v "$@" 2>"$work/time.txt" >"$work/out.txt" || true
    awk -F': ' '/Maximum resident set size/ { print $2 }' "$work/time.txt"
}

report() {  # label kib [data bytes]
    awk -v label="$1" -v kib="$2" -v data="${3:-$data}" 'BEGIN {
        printf "%-34s peak RSS %7.1f MB   data %6.1f MB   ratio %.2f\n",
               label, kib * 1024 / 1e6, data / 1e6, kib * 1024 / data }'
}

printf 'Recording: %s s of 16-bit stereo at 48 kHz\n' "$seconds"
report "run FrequencyToneTest (setting)" "$(peak_kib "$program" run FrequencyToneTest --audio sim \
    --base-dir "$work" --setting kvormicrophone.FrequencyAnalysisWaveFile.value=1000.wav)"
grep -E 'Hz .*(PASS|FAIL)' "$work/out.txt" | head -n 1
report "analyze logs/1000.wav" "$(peak_kib "$program" analyze "$work/logs/1000.wav")"
grep -E 'Hz .*(PASS|FAIL)' "$work/out.txt" | head -n 1
# A one-second recording, for comparison: mostly the program itself.
sox -D -n -r 48000 -b 16 -c 2 "$work/1000.wav" synth 1 sine 1000 vol 0.3
report "analyze of a 1 s recording" "$(peak_kib "$program" analyze "$work/1000.wav")" 192000
