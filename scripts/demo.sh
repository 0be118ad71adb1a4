#!/usr/bin/env bash
# Builds the demo host and the development ad server, serves the sample ads on loopback,
# runs the demo against them and says where its screenshots and log are. Without a display
# the demo runs a scripted session under a virtual X server (so video frames are captured).
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/install-deps.sh
preset=${VELMORA_PRESET:-dev}
# VELMORA_BUILD_DIR picks another build folder for the same preset.
build=${VELMORA_BUILD_DIR:-build/$preset}
cmake --preset "$preset" -B "$build" >/dev/null
cmake --build "$build" --target velmora-demo velmora-adserver

out=${VELMORA_DEMO_OUT:-$PWD/build/demo-output}
mkdir -p "$out"
# Only what an earlier run left: the folder may be one the user named.
rm -rf "$out"/[0-9]*.png "$out/notifications.log" "$out"/adserver.* "$out/cache" "$out/config"

"$build/tools/adserver/velmora-adserver" --root examples/sample-ads --port 0 --log "$out/adserver.log" \
    > "$out/adserver.out" 2>&1 &
server=$!
trap 'kill $server 2>/dev/null || true' EXIT
for _ in $(seq 50); do
    grep -q '^listening on' "$out/adserver.out" 2>/dev/null && break
    sleep 0.1
done
url=$(sed -n 's/^listening on //p' "$out/adserver.out")
[ -n "$url" ] || { echo "the development ad server did not start:"; cat "$out/adserver.out"; exit 1; }
echo "development ad server: $url (serving examples/sample-ads)"

export VELMORA_AD_SERVER_URL=$url
export VELMORA_STORE_LOOKUP_URL=$url
# A private cache and settings folder, so every run starts like a fresh installation.
export XDG_CACHE_HOME=$out/cache XDG_CONFIG_HOME=$out/config

demo=("$build/examples/demo/velmora-demo" --out "$out")
status=0
if [ -n "${DISPLAY:-}" ] && [ -z "${VELMORA_DEMO_HEADLESS:-}" ]; then
    "${demo[@]}" || status=$?
    echo
    echo "notification log: $out/notifications.log"
else
    # The video is an ordinary widget of the splash screen: offscreen grabs hold it.
    QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen} "${demo[@]}" --headless || status=$?
    echo
    echo "screenshots:      $out/*.png"
    ls "$out"/*.png 2>/dev/null | sed 's/^/  /'
    echo "notification log: $out/notifications.log"
    [ "$status" -eq 0 ] || echo "the scripted session FAILED (exit code $status); see the log"
fi
exit "$status"
