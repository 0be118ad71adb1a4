#!/usr/bin/env bash
# Runs a command beside a private PulseAudio with a null sink (PULSE_SERVER points to it),
# so that a test can ask what plays without a sound card or the user's own server. Without
# pulseaudio on the machine the command runs alone.
set -euo pipefail
if ! command -v pulseaudio > /dev/null || ! command -v pactl > /dev/null; then
    echo "with-sound-server: no pulseaudio here; running without a sound server" >&2
    exec "$@"
fi
dir=$(mktemp -d)
cat > "$dir/server.pa" <<PA
load-module module-null-sink sink_name=velmora_null
load-module module-native-protocol-unix socket=$dir/native auth-anonymous=1
set-default-sink velmora_null
PA
XDG_RUNTIME_DIR=$dir HOME=$dir pulseaudio -n --daemonize=no --exit-idle-time=-1 --use-pid-file=0 \
    --disable-shm=1 -F "$dir/server.pa" --log-target=file:"$dir/server.log" &
server=$!
trap 'kill $server 2> /dev/null; wait $server 2> /dev/null; rm -rf "$dir"' EXIT
export PULSE_SERVER=unix:$dir/native
for _ in $(seq 50); do
    pactl info > /dev/null 2>&1 && break
    sleep 0.1
done
"$@"
