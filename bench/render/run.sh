#!/usr/bin/env bash
# The render benchmark alone; see bench/run.sh. Arguments go to bench_render (--best, --runs N,
# --only "STYLE LAYOUT", --dump DIR, --caption TEXT, --vertical).
exec bash "$(dirname "${BASH_SOURCE[0]}")/../run.sh" render "$@"
