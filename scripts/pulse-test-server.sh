#!/usr/bin/env bash
# A private PulseAudio daemon for the pulse backend's tests: its own runtime
# directory, no user or system configuration, a unix socket only.
#
#   pulse-test-server.sh start DIR [deaf]   prints the PULSE_SERVER value to use
#   pulse-test-server.sh stop DIR
#
# Devices: "int_speaker" (null sink, form factor internal, the default sink)
# and "int_mic" (form factor internal, the default source), which hears
# int_speaker's monitor, or in "deaf" mode the monitor of "unused_output",
# a sink nothing plays into; plus an external pair, "ext_headphones" and
# "ext_mic" (its monitor).
set -euo pipefail

usage() {
    echo "usage: $0 start DIR [deaf] | stop DIR" >&2
    exit 2
}

[ $# -ge 2 ] || usage
command=$1
dir=$(realpath -m "$2")
mode=${3:-normal}

environment() {
    export HOME=$dir XDG_CONFIG_HOME=$dir/config XDG_RUNTIME_DIR=$dir/run
    export PULSE_RUNTIME_PATH=$dir/run/pulse PULSE_STATE_PATH=$dir/state
    export PULSE_SERVER=unix:$dir/native
    unset PULSE_SINK PULSE_SOURCE
}

start() {
    [ "$mode" = normal ] || [ "$mode" = deaf ] || usage
    mkdir -p "$dir/run/pulse" "$dir/state" "$dir/config"
    chmod 700 "$dir/run" "$dir/run/pulse"
    environment
    local root=()
    # A container runs the tests as root; the daemon then needs to be told that
    # this is still a per-user instance.
    [ "$(id -u)" -eq 0 ] && root=(--system=false)
    pulseaudio -n "${root[@]}" --daemonize=yes --use-pid-file=yes --exit-idle-time=-1 \
        --disallow-module-loading=no --disallow-exit=no --log-target="file:$dir/pulseaudio.log" \
        -L "module-native-protocol-unix auth-anonymous=1 socket=$dir/native"
    for _ in $(seq 50); do
        pactl info >/dev/null 2>&1 && break
        sleep 0.1
    done
    load() { pactl load-module "$@" >/dev/null; }
    load module-null-sink sink_name=int_speaker rate=48000 \
        sink_properties="'device.description=\"Built-in Speaker\" device.form_factor=internal'"
    load module-null-sink sink_name=ext_headphones rate=48000 \
        sink_properties="'device.description=\"USB Headphones\" device.form_factor=headphone'"
    local heard=int_speaker
    if [ "$mode" = deaf ]; then
        load module-null-sink sink_name=unused_output rate=48000 \
            sink_properties="'device.description=\"Unused Output\" device.form_factor=speaker'"
        heard=unused_output
    fi
    load module-remap-source source_name=int_mic master="$heard.monitor" \
        source_properties="'device.description=\"Built-in Microphone\" device.form_factor=internal'"
    load module-remap-source source_name=ext_mic master=ext_headphones.monitor \
        source_properties="'device.description=\"USB Microphone\" device.form_factor=microphone'"
    pactl set-default-sink int_speaker
    pactl set-default-source int_mic
    # An idle null sink renders in 2 s blocks, so a new capture would wait that
    # long for its first packet. A low-latency listener on every monitor keeps
    # the sinks rendering every 10 ms, as sound hardware does; it plays nothing.
    local sink
    for sink in $(pactl list short sinks | cut -f2); do
        setsid parec --latency-msec=10 -d "$sink.monitor" >/dev/null 2>&1 </dev/null &
    done
    echo "$PULSE_SERVER"
}

stop() {
    environment
    local pidfile=$PULSE_RUNTIME_PATH/pid
    if [ -f "$pidfile" ]; then
        local pid
        pid=$(cat "$pidfile")
        kill "$pid" 2>/dev/null || true
        # Gone, or a zombie nobody reaps (PID 1 of a container may not).
        for _ in $(seq 50); do
            [ -r "/proc/$pid/stat" ] && [ "$(cut -d' ' -f3 "/proc/$pid/stat")" != Z ] || break
            sleep 0.1
        done
    fi
    rm -rf "$dir"
}

case "$command" in
    start) start ;;
    stop) stop ;;
    *) usage ;;
esac
