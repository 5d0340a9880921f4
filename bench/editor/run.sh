#!/usr/bin/env bash
# The editor benchmark alone; see bench/run.sh. Arguments go to bench_editor (--runs N).
exec bash "$(dirname "${BASH_SOURCE[0]}")/../run.sh" editor "$@"
