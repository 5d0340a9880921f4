#!/usr/bin/env bash
# Builds the benchmarks (Release) once into build-bench/ and runs them:
#   bash bench/run.sh              all of them
#   bash bench/run.sh render       one (import, render or desktop); further arguments go to it
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${VELORA_BENCH_BUILD:-$root/build-bench}"
bash "$root/scripts/deps.sh"
if [ ! -f "$build/build.ninja" ]; then
  cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DVELORA_BENCH=ON -DVELORA_TESTS=OFF >/dev/null
fi
which=("${1:-all}")
[ "${which[0]}" = all ] && which=(import render desktop photos)
[ $# -gt 0 ] && shift
targets=()
for b in "${which[@]}"; do targets+=("bench_$b"); done
ninja -C "$build" -j2 "${targets[@]}"
for b in "${which[@]}"; do
  echo "== $b"
  QT_QPA_PLATFORM=offscreen "$build/bench/$b/bench_$b" "$@"
done
