#!/usr/bin/env bash
# Uploads end to end through the library (login, bucket, registration, multipart initialize,
# parts, complete, status calls) with the local service for REST and nginx as its data plane,
# all on 127.0.0.1 with files and nginx's folders in /dev/shm:
#   - one 1 GiB file, multipart, maxConcurrentTransfers 4, against four parallel `curl -T` of
#     its four quarters to the same nginx, in the same run. Targets: wall time <= 1.1x the
#     curls', CPU seconds (user + sys of the process) <= 1.3x, peak RSS < 64 MiB. One `curl -T`
#     of the whole file is measured too, as the speed of a single connection for reference.
#   - 2000 files of 4 KiB in one group: files per second, and where the time goes by phase.
# The wall time of the library's run counts from process start to exit, including the service
# assembling the parts from nginx's folder at complete; the transfer phase alone is printed too.
# That assembly is the service's own work, which the curls never ask for: the local service
# concatenates 1 GiB in /dev/shm, about 2 s on a small VM. Its time, read from the service's
# request log, is printed, and the wall-time target is judged on the client's share (the wall
# time less the assembly); the end-to-end ratio is printed beside it.
# Figures are medians of VXT_BENCH_ROUNDS rounds (default 3); exit status 1 when a target is
# missed.
#   bench/upload/run.sh <build-dir>
set -euo pipefail

here="$(cd "$(dirname "$0")" && pwd)"
. "$here/../lib.sh"

build="$(cd "${1:-build}" && pwd)"
bench_exe="$build/bench/upload/vx_bench_upload"
service_exe="$build/tools/vxt-service/vxt-service"
size_mib="${VXT_BENCH_SIZE_MIB:-1024}"
rounds="${VXT_BENCH_ROUNDS:-3}"
many="${VXT_BENCH_MANY_FILES:-2000}"

for exe in "$bench_exe" "$service_exe"; do
    [ -x "$exe" ] || { echo "missing $exe (build vx_bench_upload and vxt-service)" >&2; exit 1; }
done

work="$(bench_workdir upload)"
bench_work="$work"
trap bench_cleanup EXIT

size=$((size_mib * 1024 * 1024))
echo "generating a ${size_mib} MiB file and $many files of 4 KiB in $work"
bench_make_source "$work" "$size"
quarter=$((size / 4))
mkdir -p "$work/many"
head -c $((many * 4096)) /dev/urandom > "$work/many.bin"
split -a 5 -d -b 4096 "$work/many.bin" "$work/many/f-"
rm -f "$work/many.bin"

bench_start_nginx "$work"
user=bench password=bench-password
"$service_exe" --host 127.0.0.1 --port 0 --data-dir "$work/service" --user "$user" \
    --password "$password" --data-plane-url "$nginx_url" --data-plane-dir "$nginx_root" \
    > "$work/service.out" 2> "$work/service.err" &
bench_pids+=($!)
endpoint="$(bench_first_line "$work/service.out")" || {
    echo "vxt-service did not start: $(cat "$work/service.err")" >&2
    exit 1
}

# Seconds the service spent answering "multipart.complete" since the last call, read from its
# request log.
log_seq=0
assembly_seconds() {
    local log
    log="$(curl -sf "$endpoint/_control/log?after=$log_seq")" || { echo 0; return; }
    log_seq="$(jq '[.entries[].seq] | max // '"$log_seq" <<< "$log")"
    jq '[.entries[] | select(.route == "multipart.complete" and .finished)
         | (.endMicros - .startMicros)] | add // 0 | . / 1000000' <<< "$log"
}

# One run of the library; a fresh application folder each time, so nothing is restored.
ours() {
    local out="$1"
    shift
    rm -rf "$work/app"
    mkdir -p "$work/app"
    bench_measure "$out" "$bench_exe" --endpoint "$endpoint" --user "$user" \
        --password "$password" --app-dir "$work/app" --concurrency 4 "$@"
    grep -q '^result completed' "$work/cmd.out" || {
        echo "the upload did not complete: $(tail -n 3 "$work/cmd.out")" >&2
        return 1
    }
    awk '$1 == "phase" { printf "%s ", $3 } END { print "" }' "$work/cmd.out" >> "$out.phases"
    rm -rf "${nginx_root:?}"/*
}


for round in $(seq 1 "$rounds"); do
    echo "round $round of $rounds"
    assembly_seconds > /dev/null
    ours "$work/big" "$work/source.bin"
    assembly_seconds >> "$work/big.assembly"
    bench_measure "$work/curl4" bash -c "$bench_curl_four" "$work" "$nginx_url"
    rm -rf "${nginx_root:?}"/*
    bench_measure "$work/curl1" curl -sf -o /dev/null -T "$work/source.bin" "$nginx_url/one.bin"
    rm -rf "${nginx_root:?}"/*
    ours "$work/many-files" "$work/many"
done

# Phase columns: setup register queue transfer shutdown.
phase() { awk -v c="$2" '{ print $c }' "$1.phases" | bench_median; }

status=0
echo "medians of $rounds rounds, to nginx over 127.0.0.1 (REST on vxt-service):"
ow="$(bench_column "$work/big" 1)" oc="$(bench_column "$work/big" 2)"
om="$(bench_maximum "$work/big" 3)"
tw="$(bench_column "$work/curl4" 1)" tc="$(bench_column "$work/curl4" 2)"
sw="$(bench_column "$work/curl1" 1)"
# The client's share of each run: its wall time less the service's assembly in that run.
paste -d ' ' "$work/big" "$work/big.assembly" | awk '{ printf "%.3f\n", $1 - $4 }' \
    > "$work/big.client"
cw="$(bench_median < "$work/big.client")" aw="$(bench_median < "$work/big.assembly")"
awk -v size="$size" -v ow="$ow" -v oc="$oc" -v om="$om" -v tw="$tw" -v tc="$tc" -v sw="$sw" \
    -v cw="$cw" -v aw="$aw" \
    -v xfer="$(phase "$work/big" 4)" 'BEGIN {
    mib = size / 1048576
    wall = cw / tw; cpu = (tc > 0 ? oc / tc : 0); rss = om / 1024
    printf "%d MiB, 4 parts at a time: library %.2f s end to end (transfer phase %.2f s), of which the service assembling the parts %.2f s; client share %.2f s (%.0f MiB/s), %.2f CPU s | 4 curls %.2f s (%.0f MiB/s) %.2f CPU s\n",
        mib, ow, xfer, aw, cw, mib / cw, oc, tw, mib / tw, tc
    printf "  wall %.2fx (<= 1.10; end to end %.2fx)  CPU %.2fx (<= 1.30)  peak RSS %.1f MiB (< 64)\n",
        wall, ow / tw, cpu, rss
    printf "  for reference, 1 curl of the whole file: %.2f s (%.0f MiB/s); library / 1 curl %.2fx\n",
        sw, mib / sw, cw / sw
    exit (wall <= 1.1 && cpu <= 1.3 && rss < 64) ? 0 : 1
}' || status=1

mw="$(bench_column "$work/many-files" 1)" mc="$(bench_column "$work/many-files" 2)"
mm="$(bench_maximum "$work/many-files" 3)"
awk -v n="$many" -v w="$mw" -v c="$mc" -v m="$mm" -v setup="$(phase "$work/many-files" 1)" \
    -v reg="$(phase "$work/many-files" 2)" -v queue="$(phase "$work/many-files" 3)" \
    -v xfer="$(phase "$work/many-files" 4)" -v down="$(phase "$work/many-files" 5)" 'BEGIN {
    printf "%d files of 4 KiB in one group: %.2f s, %.0f files/s end to end (%.0f files/s queued to completed), %.2f CPU s, peak RSS %.1f MiB\n",
        n, w, n / w, (queue + xfer > 0 ? n / (queue + xfer) : 0), c, m / 1024
    printf "  phases: setup %.2f s, register (CBucket, one REST call per file) %.2f s, queue (files opened and stored) %.2f s, transfer %.2f s, shutdown %.2f s\n",
        setup, reg, queue, xfer, down
}'
echo "raw (wall cpu rss_kib): big [$(tr '\n' ';' < "$work/big")] assembly [$(tr '\n' ';' < "$work/big.assembly")] curl4 [$(tr '\n' ';' < "$work/curl4")] curl1 [$(tr '\n' ';' < "$work/curl1")] many [$(tr '\n' ';' < "$work/many-files")]"
echo "raw phases (setup register queue transfer shutdown): big [$(tr '\n' ';' < "$work/big.phases")] many [$(tr '\n' ';' < "$work/many-files.phases")]"
exit $status
