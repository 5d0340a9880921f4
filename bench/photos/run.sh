#!/usr/bin/env bash
# The photos benchmark: opening the picker on a 20 000-photo Shotwell library to its first screen of
# thumbnails, against a plain read of the table and the same thumbnails decoded in a row; memory of
# the open sheet. Arguments go to bench_photos (--photos N, --runs R, --snapshot FILE.png).
set -euo pipefail
here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
exec bash "$here/../run.sh" photos "$@"
