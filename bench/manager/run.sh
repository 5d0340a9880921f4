#!/usr/bin/env bash
# The manager window benchmark alone; see bench/run.sh.
exec bash "$(dirname "${BASH_SOURCE[0]}")/../run.sh" manager "$@"
