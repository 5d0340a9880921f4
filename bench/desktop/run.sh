#!/usr/bin/env bash
# Builds and runs the desktop benchmark (Release, benchmarks on) in its own build folder.
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
root="$(cd "$here/../.." && pwd)"
build="${VELORA_BENCH_BUILD:-$root/build-bench-desktop}"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DVELORA_BENCH=ON -DVELORA_TESTS=OFF >/dev/null
ninja -C "$build" -j2 bench_desktop
QT_QPA_PLATFORM=offscreen "$build/bench/desktop/bench_desktop"
