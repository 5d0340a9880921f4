#!/usr/bin/env bash
# Builds and runs Velora. Without a display, renders the snapshot pictures headless instead.
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
build="${VELORA_BUILD_DIR:-$here/build}"
bash "$here/scripts/build.sh"
cmake --build "$build" --target velora
app="$build/shell/velora"
if [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; then
  exec "$app" "$@"
fi
out="${VELORA_SNAPSHOT_DIR:-$here/snapshots}"
echo "No display found: rendering the snapshot pictures headless."
VELORA_SNAPSHOT_DIR="$out" QT_QPA_PLATFORM=offscreen "$app"
echo "Snapshot pictures are in $out"
