#!/usr/bin/env bash
# Builds and runs the import benchmark: Velora's decode + store against vipsthumbnail and
# ImageMagick on generated 6000x4000 JPEGs (plus a few HEIC and PNG). Extra arguments go to
# bench_import (--count N, --keep DIR).
set -euo pipefail
here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
src="$(cd "$here/../.." && pwd)"
build="${VELORA_BUILD_DIR:-$src/build}"
cmake -S "$src" -B "$build" -G Ninja -DVELORA_BENCH=ON >/dev/null
ninja -C "$build" -j"${JOBS:-2}" bench_import
exec "$build/bench/import/bench_import" "$@"
