#!/usr/bin/env bash
# Is the local service fast enough not to limit a benchmark? A 1 GiB PUT and a 1 GiB GET, with
# curl, against vxt-service and against nginx started from a generated configuration, in one run.
# The service passes when each of its transfers reaches at least 80% of nginx's speed.
#   bench/service/run.sh <build-dir>
set -euo pipefail

here="$(cd "$(dirname "$0")" && pwd)"
. "$here/../lib.sh"

build="$(cd "${1:-build}" && pwd)"
service_exe="$build/tools/vxt-service/vxt-service"
size_mib="${VXT_BENCH_SIZE_MIB:-1024}"
rounds="${VXT_BENCH_ROUNDS:-3}"
threshold=80

[ -x "$service_exe" ] || { echo "missing $service_exe (build the vxt-service target)" >&2; exit 1; }

work="$(mktemp -d /tmp/vxt-bench-service.XXXXXX)"
bench_work="$work"
trap bench_cleanup EXIT

echo "generating a ${size_mib} MiB file"
head -c "$((size_mib * 1024 * 1024))" /dev/urandom > "$work/source.bin"

# The service.
"$service_exe" --host 127.0.0.1 --port 0 --data-dir "$work/service" > "$work/service.out" 2>&1 &
bench_pids+=($!)
base="$(bench_first_line "$work/service.out")" || { echo "vxt-service did not start" >&2; exit 1; }
bucket_json="$(curl -sf -X POST "$base/_control/buckets" -d '{}')"
bucket="$(echo "$bucket_json" | bench_json_string bucketId)"
token="$(echo "$bucket_json" | bench_json_string token)"

bench_start_nginx "$work"
nginx="$nginx_url"

# curl's own speed figure, in bytes per second.
put_speed() { curl -sf -o /dev/null -w '%{speed_upload}' -T "$work/source.bin" "$@"; }
get_speed() { curl -sf -o /dev/null -w '%{speed_download}' "$@"; }

best() { tr ' ' '\n' | sort -g | tail -n 1; }

svc_put=() svc_get=() ngx_put=() ngx_get=()
for round in $(seq 1 "$rounds"); do
    # A fresh file registration per round: each PUT URL is for one file.
    reg="$(curl -sf -X POST "$base/_control/buckets/$bucket/uploads" \
        -d "{\"name\":\"r$round.bin\",\"size\":$((size_mib * 1024 * 1024))}")"
    url="$(echo "$reg" | bench_json_string url)"
    file_id="$(echo "$reg" | bench_json_string fileId)"
    key="$(echo "$reg" | sed -n 's/.*"x-vx-upload-key","\([^"]*\)".*/\1/p')"
    svc_put+=("$(put_speed -H "x-vx-upload-key: $key" -H 'Content-Type: application/octet-stream' "$url")")
    ngx_put+=("$(put_speed "$nginx/r$round.bin")")
    svc_get+=("$(get_speed -L "$base/api/v2/bucket/$bucket/file/$file_id/download?action=DOWNLOAD&token=$token")")
    ngx_get+=("$(get_speed "$nginx/r$round.bin")")
    rm -f "$nginx_root/r$round.bin" "$work/service/objects/b/$bucket/$file_id"
done

mib() { awk -v b="$1" 'BEGIN { printf "%.0f", b / 1048576 }'; }
status=0
report() {
    local what="$1" service="$2" reference="$3"
    local ratio
    ratio="$(awk -v s="$service" -v r="$reference" 'BEGIN { printf "%.0f", 100 * s / r }')"
    local verdict=ok
    if [ "$ratio" -lt "$threshold" ]; then verdict="BELOW ${threshold}%"; status=1; fi
    printf '%-4s vxt-service %6s MiB/s   nginx %6s MiB/s   ratio %3s%%   %s\n' \
        "$what" "$(mib "$service")" "$(mib "$reference")" "$ratio" "$verdict"
}
echo "best of $rounds rounds, ${size_mib} MiB, curl over 127.0.0.1:"
report PUT "$(echo "${svc_put[*]}" | best)" "$(echo "${ngx_put[*]}" | best)"
report GET "$(echo "${svc_get[*]}" | best)" "$(echo "${ngx_get[*]}" | best)"
echo "all rounds (bytes/s): service PUT ${svc_put[*]}; nginx PUT ${ngx_put[*]}; service GET ${svc_get[*]}; nginx GET ${ngx_get[*]}"
exit $status
