#!/usr/bin/env bash
# The start-up benchmark alone; see bench/run.sh.
exec bash "$(dirname "${BASH_SOURCE[0]}")/../run.sh" startup "$@"
