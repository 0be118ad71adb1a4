#!/usr/bin/env bash
# Builds the demo host and the development ad server, serves the sample ads and runs the
# demo. Filled in with the demo itself; for now it builds and runs the tests' prerequisites.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
cmake --preset dev
cmake --build --preset dev
echo "The demo host is not part of this build yet."
