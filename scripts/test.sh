#!/usr/bin/env bash
# Builds everything and runs every test suite.
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
build="${VELORA_BUILD_DIR:-$here/build}"
bash "$here/scripts/build.sh" -DVELORA_TESTS=ON
cmake --build "$build"
cd "$build"
QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j 2
