#!/usr/bin/env bash
# Installs what the build needs, then configures, builds and runs every test.
# VELMORA_PRESET picks another preset (asan, tsan); default: dev.
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/install-deps.sh

preset=${VELMORA_PRESET:-dev}
cmake --preset "$preset"
cmake --build --preset "$preset"
ctest --preset "$preset"
