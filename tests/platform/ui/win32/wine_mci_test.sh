#!/usr/bin/env bash
# Runs the MCI tests under Wine against a private PulseAudio server, in a Wine
# prefix of their own.
#
#   wine_mci_test.sh PULSE_TEST_SERVER.sh WIN_MCI_TESTS.exe
set -uo pipefail

pulse=$(realpath "$1")
tests=$(realpath "$2")
work=$(mktemp -d "${TMPDIR:-/tmp}/kvo-wine-mci.XXXXXX")
export WINEPREFIX=$work/prefix WINEDEBUG=-all
export WINEDLLOVERRIDES="winedbg.exe=d;mscoree,mshtml="
cleanup() {
    wineserver -k 2>/dev/null
    "$pulse" stop "$work/pulse" >/dev/null 2>&1
    rm -rf "$work"
}
trap cleanup EXIT

PULSE_SERVER=$("$pulse" start "$work/pulse") || exit 1
export PULSE_SERVER
unset DISPLAY
wineboot -i >/dev/null 2>&1
wineserver -w
wine "$tests" --gtest_brief=1 2>&1 | tr -d '\r'
exit "${PIPESTATUS[0]}"
