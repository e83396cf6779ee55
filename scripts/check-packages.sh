#!/usr/bin/env bash
# Makes the packages and runs the program from them as a user would:
# the .deb of a native build unpacked into a clean folder (dpkg -x), the .zip
# of a MinGW build under Wine. Usage: check-packages.sh NATIVE_BUILD [MINGW_BUILD]
set -euo pipefail
native=$(realpath "$1")
mingw=${2:+$(realpath "$2")}
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

(cd "$native" && cpack -G DEB >/dev/null)
deb=$(ls "$native"/kvormicrophone_*.deb)
echo "== $(basename "$deb")"
depends=$(dpkg-deb --field "$deb" Depends)
echo "Depends: $depends"
for library in libpulse0 libfmt9 libstdc++6; do
    grep -q "$library" <<<"$depends" || { echo "the package does not depend on $library"; exit 1; }
done
dpkg -x "$deb" "$scratch/root"
program=$scratch/root/usr/bin/kvormicrophone
listing=$("$program" list)
grep -q "FrequencyToneTest" <<<"$listing" || { echo "list does not name the tone test"; exit 1; }
"$program" run FrequencyToneTest IntegratedMicrophoneTest --param FrequencyList=440,1000 \
    --audio sim --base-dir "$scratch/base"
test -s "$scratch/root/usr/share/man/man1/kvormicrophone.1"*
echo "the .deb runs from a clean folder"

if [ -n "$mingw" ]; then
    (cd "$mingw" && cpack -G ZIP >/dev/null)
    zip=$(ls "$mingw"/kvormicrophone-*-windows-x64.zip)
    echo "== $(basename "$zip")"
    mkdir "$scratch/windows"
    (cd "$scratch/windows" && unzip -q "$zip")
    exe=$(find "$scratch/windows" -name kvormicrophone.exe)
    test -s "$(dirname "$exe")/../share/kvormicrophone/IMTVoice.wav"
    WINEDEBUG=-all wine "$exe" run IntegratedMicrophoneTest --audio sim \
        --base-dir "Z:${scratch//\//\\}\\wbase" </dev/null
    echo "the .zip runs under Wine"
fi
