#!/usr/bin/env bash
# Configures once and builds with Ninja into build/ (or $VELORA_BUILD_DIR).
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
build="${VELORA_BUILD_DIR:-$here/build}"
bash "$here/scripts/deps.sh"
if [ ! -f "$build/build.ninja" ]; then
  launcher=()
  # Rebuilds of other checkouts reuse each other's objects when ccache is there.
  command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
  cmake -S "$here" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "${launcher[@]}" "$@" >/dev/null
fi
