#!/usr/bin/env bash
# The library page benchmark alone; see bench/run.sh.
exec bash "$(dirname "${BASH_SOURCE[0]}")/../run.sh" library "$@"
