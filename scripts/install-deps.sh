#!/usr/bin/env bash
# Installs the Debian packages the build needs. With no argument: the native
# build and its tests. "windows" adds the MinGW-w64 cross compiler and Wine.
set -euo pipefail

# chromium and imagemagick: the browser tests render the HTML report and check its screenshot.
native=(cmake ninja-build g++ pkg-config libfmt-dev nlohmann-json3-dev libcli11-dev googletest
        libbenchmark-dev libfftw3-dev clang-format sox tmux pulseaudio libpulse-dev
        help2man dpkg-dev unzip python3-jsonschema libxml2-utils chromium imagemagick)
# The Windows dialogs' tests run Wine on a virtual X display, worked with
# xdotool, with screenshots checked by ImageMagick.
windows=(mingw-w64 g++-mingw-w64-x86-64-posix wine wine64 xvfb xdotool imagemagick x11-utils)

packages=("${native[@]}")
for extra in "$@"; do
    case "$extra" in
        windows) packages+=("${windows[@]}") ;;
        *) echo "install-deps.sh: unknown package set '$extra' (known: windows)" >&2; exit 2 ;;
    esac
done

missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=()
[ "$(id -u)" -ne 0 ] && sudo=(sudo)
"${sudo[@]}" apt-get update
DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y --no-install-recommends "${missing[@]}"
