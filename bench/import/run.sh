#!/usr/bin/env bash
# The import benchmark: Velora's decode + store against vipsthumbnail and ImageMagick on generated
# 6000x4000 JPEGs (plus a few HEIC and PNG). Built with -DVELORA_BENCH=ON by the shared runner;
# arguments go to bench_import (--count N, --rounds R, --keep DIR, --only jpg|heic|png).
set -euo pipefail
here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
exec bash "$here/../run.sh" import "$@"
