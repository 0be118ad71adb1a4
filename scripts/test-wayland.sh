#!/usr/bin/env bash
# The window-level tests and the headless demo on a real Wayland compositor: weston with its
# headless backend, started here, and Qt's wayland platform. Builds the preset's tree first
# (nothing to do after scripts/test.sh) and prints CTest's summary.
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/install-deps.sh
preset=${VELMORA_PRESET:-dev}
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"

runtime=$(mktemp -d /tmp/velmora-wayland-XXXXXX)
chmod 700 "$runtime"
XDG_RUNTIME_DIR=$runtime weston --backend=headless-backend.so --socket=wayland-velmora --idle-time=0 \
    --width=1600 --height=1200 >"$runtime/weston.log" 2>&1 &
weston=$!
trap 'kill "$weston" 2>/dev/null || true; rm -rf "$runtime"' EXIT
for _ in $(seq 100); do
    [ -S "$runtime/wayland-velmora" ] && break
    sleep 0.1
done
[ -S "$runtime/wayland-velmora" ] || { echo "weston did not start:"; cat "$runtime/weston.log"; exit 1; }
echo "weston (headless) on $runtime/wayland-velmora"

# The socket by its absolute path: every test process gets a private XDG_RUNTIME_DIR.
export WAYLAND_DISPLAY=$runtime/wayland-velmora VELMORA_TEST_PLATFORM=wayland
status=0
ctest --preset "$preset" \
    -R '^(tst_controller|tst_presenter_windows|tst_overlayplacement|tst_bannercontroller|tst_bannerimageview|tst_hostmisuse|install_find_package|tst_facade)$' ||
    status=$?

# The demo's scripted session, which ends by counting the host notifications it saw.
out=$PWD/build/demo-wayland
QT_QPA_PLATFORM=wayland VELMORA_DEMO_HEADLESS=1 VELMORA_DEMO_OUT=$out ./scripts/demo.sh >"$runtime/demo.log" 2>&1 ||
    status=$?
grep -h "host notifications seen\|MISSING" "$out/notifications.log" || true
grep -h "FAILED" "$runtime/demo.log" || true
grep -q "demo: 9 of the 9 host notifications seen" "$out/notifications.log" || status=1
exit "$status"
