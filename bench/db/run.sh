#!/usr/bin/env bash
# Single-row inserts and updates per second through the table classes, in WAL with
# synchronous=NORMAL and in SQLite's default journal, in one run. Passes when updates in WAL
# are at least 20 times as fast.
#   bench/db/run.sh <build-dir> [seconds-per-figure]
set -euo pipefail

build="$(cd "${1:-build}" && pwd)"
exe="$build/bench/db/vx_bench_db"
[ -x "$exe" ] || { echo "missing $exe (build the vx_bench_db target)" >&2; exit 1; }

# On the build folder's disk, where a real fsync costs what it costs: /tmp may be in memory.
work="$(mktemp -d "$build/vxt-bench-db.XXXXXX")"
trap 'rm -rf "$work"' EXIT
"$exe" "$work" "${2:-3}"
