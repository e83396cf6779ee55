#!/usr/bin/env bash
# Makes IMTVoice.wav, the loud voice stimulus of the integrated microphone test:
# about six seconds of speech from espeak-ng, as 16-bit mono PCM at 44100 Hz,
# normalised to -1 dBFS so that it is loud without clipping.
# Needs Debian's espeak-ng and sox. Run from anywhere; writes beside this script.
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
tmp="$(mktemp -d)"
trap 'rm -rf "$tmp"' EXIT

text="Testing the integrated microphone. One, two, three, four, five. \
The quick brown fox jumps over the lazy dog. Testing, testing, one, two, three."

espeak-ng -v en-us -s 150 -a 200 -w "$tmp/speech.wav" "$text"
sox "$tmp/speech.wav" -r 44100 -b 16 -c 1 -e signed-integer "$tmp/resampled.wav" gain -n -6
# Pad or cut to exactly 6 seconds, then normalise.
sox "$tmp/resampled.wav" "$tmp/fixed.wav" pad 0 6 trim 0 6 2>/dev/null
sox "$tmp/fixed.wav" -b 16 "$here/IMTVoice.wav" gain -n -1
soxi "$here/IMTVoice.wav"
