#!/usr/bin/env bash
# Speed, CPU and memory of the upload channels against curl, in one run, to one nginx on
# 127.0.0.1 (files and nginx's body buffers in /dev/shm, so that no disk takes part):
#   - one channel sending a 1 GiB file, against `curl -T` of the same file;
#   - four channels sending four ranges of it, against four parallel curls of the four quarters;
#   - one channel limited to 10 MB/s for 30 seconds, with the bytes of every second.
# Targets: throughput >= 0.9x curl's, CPU seconds per GiB <= 1.2x curl's, peak resident memory
# of the benchmark process < 64 MiB. Figures are medians of VXT_BENCH_ROUNDS rounds (default 3);
# the exit status is 1 when a target is missed.
#   bench/channels/run.sh <build-dir>
set -euo pipefail

here="$(cd "$(dirname "$0")" && pwd)"
. "$here/../lib.sh"

build="$(cd "${1:-build}" && pwd)"
bench_exe="$build/bench/channels/vx_bench_channels"
size_mib="${VXT_BENCH_SIZE_MIB:-1024}"
rounds="${VXT_BENCH_ROUNDS:-3}"
throttle_seconds="${VXT_BENCH_THROTTLE_SECONDS:-30}"

[ -x "$bench_exe" ] || { echo "missing $bench_exe (build the vx_bench_channels target)" >&2; exit 1; }

work="$(bench_workdir channels)"
bench_work="$work"
trap bench_cleanup EXIT

size=$((size_mib * 1024 * 1024))
echo "generating a ${size_mib} MiB file in $work"
bench_make_source "$work" "$size"
quarter=$((size / 4))

mkdir -p "$work/app"
bench_start_nginx "$work"
nginx="$nginx_url"

# Runs a command under /usr/bin/time; appends "wall cpu maxrss_kib" to the file named first.
measure() {
    bench_measure "$@"
    rm -f "$nginx_root"/*
}


for round in $(seq 1 "$rounds"); do
    echo "round $round of $rounds"
    measure "$work/ours1" "$bench_exe" --url "$nginx/one.bin" --file "$work/source.bin" \
        --work "$work/app"
    measure "$work/curl1" curl -sf -o /dev/null -T "$work/source.bin" "$nginx/one.bin"
    measure "$work/ours4" "$bench_exe" --url "$nginx/four.bin" --file "$work/source.bin" \
        --work "$work/app" --channels 4
    measure "$work/curl4" bash -c "$bench_curl_four" "$work" "$nginx"
done


status=0
compare() {
    local what="$1" ours="$2" theirs="$3"
    local ow oc om tw tc
    ow="$(bench_column "$ours" 1)" oc="$(bench_column "$ours" 2)" om="$(bench_maximum "$ours" 3)"
    tw="$(bench_column "$theirs" 1)" tc="$(bench_column "$theirs" 2)"
    awk -v what="$what" -v size="$size" -v ow="$ow" -v oc="$oc" -v om="$om" -v tw="$tw" \
        -v tc="$tc" 'BEGIN {
        gib = size / 1073741824
        os = size / 1048576 / ow; ts = size / 1048576 / tw
        ocg = oc / gib; tcg = tc / gib
        speed = os / ts; cpu = (tcg > 0 ? ocg / tcg : 0); rss = om / 1024
        printf "%-12s channels %7.1f MiB/s %6.2f CPU s/GiB | curl %7.1f MiB/s %6.2f CPU s/GiB | speed %.2fx (>= 0.90) CPU %.2fx (<= 1.20) peak RSS %.1f MiB (< 64)\n",
            what, os, ocg, ts, tcg, speed, cpu, rss
        exit (speed >= 0.9 && cpu <= 1.2 && rss < 64) ? 0 : 1
    }' || status=1
}
echo "medians of $rounds rounds, ${size_mib} MiB to nginx over 127.0.0.1 (wall, user+sys, max RSS):"
compare "one range" "$work/ours1" "$work/curl1"
compare "four ranges" "$work/ours4" "$work/curl4"
echo "raw (wall cpu rss_kib): ours1 [$(tr '\n' ';' < "$work/ours1")] curl1 [$(tr '\n' ';' < "$work/curl1")]"
echo "raw (wall cpu rss_kib): ours4 [$(tr '\n' ';' < "$work/ours4")] curl4 [$(tr '\n' ';' < "$work/curl4")]"

echo "one channel limited to 10000000 B/s for $throttle_seconds s (bytes moved in each second):"
"$bench_exe" --url "$nginx/throttled.bin" --file "$work/source.bin" --work "$work/app" \
    --limit 10000000 --seconds "$throttle_seconds"
exit $status
