#!/usr/bin/env bash
# The test bed of the Windows backend: a Wine prefix of its own whose audio
# driver is winepulse, and a private PulseAudio daemon
# (scripts/pulse-test-server.sh) that Wine is pointed at.
#
#   wine-audio-bed.sh start DIR   a fresh prefix in DIR/prefix, the daemon in DIR/pulse
#   wine-audio-bed.sh stop DIR    ends the daemon and the prefix's wineserver
#
# The tests run programs with WINEPREFIX=DIR/prefix and
# PULSE_SERVER=unix:DIR/pulse/native. The prefix is slow to make (a minute on
# a busy machine), so one run of the tests shares it.
set -euo pipefail

usage() {
    echo "usage: $0 start DIR | stop DIR" >&2
    exit 2
}

[ $# -eq 2 ] || usage
here=$(cd "$(dirname "$0")" && pwd)
dir=$(realpath -m "$2")
export WINEPREFIX=$dir/prefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml,winedbg.exe=d"

start() {
    stop
    mkdir -p "$dir"
    "$here/pulse-test-server.sh" start "$dir/pulse" >/dev/null
    export PULSE_SERVER=unix:$dir/pulse/native
    wineboot -i >"$dir/wineboot.log" 2>&1
    # winepulse is Wine's choice when a server answers; named here so that a
    # missing server fails the tests instead of moving them to ALSA.
    wine reg add 'HKCU\Software\Wine\Drivers' /v Audio /d pulse /f >>"$dir/wineboot.log" 2>&1
    wineserver -w
}

stop() {
    if [ -d "$WINEPREFIX" ]; then
        wineserver -k 2>/dev/null || true
    fi
    if [ -d "$dir/pulse" ]; then
        "$here/pulse-test-server.sh" stop "$dir/pulse"
    fi
    rm -rf "$WINEPREFIX"
}

case "$1" in
    start) start ;;
    stop) stop ;;
    *) usage ;;
esac
