#!/usr/bin/env bash
# The image cache benchmark alone; see bench/run.sh.
exec bash "$(dirname "${BASH_SOURCE[0]}")/../run.sh" cache "$@"
