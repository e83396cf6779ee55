#!/usr/bin/env bash
# The program as `cmake --install` lays it out: it runs from its prefix, finds
# its sound file there, and brings its manual page and bash completion.
# Usage: installed-program.sh BUILD_DIR
set -u
build=$1
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
failures=0
check() {  # description command...
    local description=$1
    shift
    if ! "$@"; then
        echo "FAILED: $description"
        failures=$((failures + 1))
    fi
}

cmake --install "$build" --prefix "$prefix" >/dev/null || { echo "FAILED: cmake --install"; exit 1; }
program=$prefix/bin/kvormicrophone

check "the program is in bin/" test -x "$program"
check "its sound file is in share/kvormicrophone/" test -s "$prefix/share/kvormicrophone/IMTVoice.wav"
version=$("$program" --version)
check "--version prints the version and exits 0" \
    bash -c '[[ $1 =~ ^kvormicrophone\ [0-9]+\.[0-9]+\.[0-9]+$ ]]' _ "$version"

# A run from the installed tree plays the sound file it found beside bin/.
base=$prefix/run
"$program" run IntegratedMicrophoneTest --audio sim --base-dir "$base" >"$prefix/run.txt" 2>&1
status=$?
check "the amplitude test passes from the installed tree (exit $status)" test "$status" -eq 0
check "it names the log in its last line" \
    grep -q "kvormicrophone.log" <(tail -n 1 "$prefix/run.txt")

man=$prefix/share/man/man1/kvormicrophone.1
check "the manual page is installed" test -s "$man"
check "the manual page holds the options' help" grep -q -- 'base\\-dir' "$man"
check "the manual page describes analyze" grep -q '^analyze$' "$man"
check "the manual page holds analyze's option" grep -q -- 'frequency\\fR HZ' "$man"
check "the manual page names the version" grep -q "kvormicrophone ${version#kvormicrophone }" "$man"

completion=$prefix/share/bash-completion/completions/kvormicrophone
check "the bash completion is installed" test -s "$completion"
complete_words() {  # words... (the last is the one being completed)
    bash -c '
        source "$1"
        shift
        COMP_WORDS=("$@")
        COMP_CWORD=$(($# - 1))
        _kvormicrophone
        echo "${COMPREPLY[*]}"' _ "$completion" "$program" "$@"
}
check "commands complete" test "$(complete_words d)" = "devices"
check "analyze completes as a command" test "$(complete_words an)" = "analyze"
check "analyze completes WAV files" \
    test "$(complete_words analyze "$prefix/share/kvormicrophone/IMT")" = \
    "$prefix/share/kvormicrophone/IMTVoice.wav"
check "analyze's options complete" test "$(complete_words analyze x.wav --fr)" = "--frequency"
check "test names complete after run" test "$(complete_words run Freq)" = "FrequencyToneTest"
check "audio systems complete from the build's own list" \
    bash -c '[[ " $1 " == *" sim "* ]]' _ "$(complete_words devices --audio '')"
check "parameters complete with their name" \
    test "$(complete_words run FrequencyToneTest --param Freq)" = "FrequencyList="
check "run's options complete" test "$(complete_words run X --base)" = "--base-dir"
check "the meter's microphones complete from the chosen audio system" \
    test "$(complete_words meter --audio sim --device '')" = "mic-array headset-mic"

[ "$failures" -eq 0 ] && echo "installed program: all checks passed"
exit $((failures > 0))
