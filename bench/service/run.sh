#!/usr/bin/env bash
# Is the local service fast enough not to limit a benchmark? A 1 GiB PUT and a 1 GiB GET, with
# curl, against vxt-service and against nginx started from a generated configuration, in one run.
# The service passes when each of its transfers reaches at least 80% of nginx's speed.
#   bench/service/run.sh <build-dir>
set -euo pipefail

build="$(cd "${1:-build}" && pwd)"
service_exe="$build/tools/vxt-service/vxt-service"
nginx_exe=/usr/sbin/nginx
size_mib="${VXT_BENCH_SIZE_MIB:-1024}"
rounds="${VXT_BENCH_ROUNDS:-3}"
threshold=80

[ -x "$service_exe" ] || { echo "missing $service_exe (build the vxt-service target)" >&2; exit 1; }
[ -x "$nginx_exe" ] || { echo "missing $nginx_exe (scripts/install-deps)" >&2; exit 1; }

work="$(mktemp -d /tmp/vxt-bench-service.XXXXXX)"
service_pid=""
nginx_pid=""
cleanup() {
    [ -n "$service_pid" ] && kill "$service_pid" 2>/dev/null && wait "$service_pid" 2>/dev/null
    [ -n "$nginx_pid" ] && kill "$nginx_pid" 2>/dev/null && wait "$nginx_pid" 2>/dev/null
    rm -rf "$work"
}
trap cleanup EXIT

# Waits (bounded) until a file has a first line; prints it.
first_line() {
    for _ in $(seq 1 200); do
        if [ -s "$1" ]; then head -n 1 "$1"; return 0; fi
        sleep 0.05
    done
    return 1
}

# Value of a string key in compact JSON.
json_string() { sed -n "s/.*\"$1\":\"\\([^\"]*\\)\".*/\\1/p"; }

echo "generating a ${size_mib} MiB file"
head -c "$((size_mib * 1024 * 1024))" /dev/urandom > "$work/source.bin"

# The service.
"$service_exe" --host 127.0.0.1 --port 0 --data-dir "$work/service" > "$work/service.out" 2>&1 &
service_pid=$!
base="$(first_line "$work/service.out")" || { echo "vxt-service did not start" >&2; exit 1; }
bucket_json="$(curl -sf -X POST "$base/_control/buckets" -d '{}')"
bucket="$(echo "$bucket_json" | json_string bucketId)"
token="$(echo "$bucket_json" | json_string token)"

# nginx, on a free port: retried when another process takes the one picked.
mkdir -p "$work/nginx/root" "$work/nginx/body"
for attempt in 1 2 3 4 5; do
    port=$((20000 + RANDOM % 30000))
    cat > "$work/nginx/nginx.conf" <<CONF
daemon off;
master_process off;
worker_processes 1;
pid $work/nginx/nginx.pid;
error_log $work/nginx/error.log;
events { worker_connections 64; }
http {
    access_log off;
    client_body_temp_path $work/nginx/body;
    proxy_temp_path $work/nginx/body;
    fastcgi_temp_path $work/nginx/body;
    uwsgi_temp_path $work/nginx/body;
    scgi_temp_path $work/nginx/body;
    sendfile on;
    tcp_nopush on;
    client_max_body_size 0;
    server {
        listen 127.0.0.1:$port;
        root $work/nginx/root;
        location / {
            dav_methods PUT;
            create_full_put_path on;
        }
    }
}
CONF
    "$nginx_exe" -p "$work/nginx/" -e "$work/nginx/error.log" -c "$work/nginx/nginx.conf" &
    nginx_pid=$!
    for _ in $(seq 1 100); do
        curl -s -o /dev/null "http://127.0.0.1:$port/" && break
        kill -0 "$nginx_pid" 2>/dev/null || break
        sleep 0.05
    done
    if curl -s -o /dev/null "http://127.0.0.1:$port/"; then break; fi
    wait "$nginx_pid" 2>/dev/null || true
    nginx_pid=""
done
[ -n "$nginx_pid" ] || { echo "nginx did not start: $(cat "$work/nginx/error.log")" >&2; exit 1; }
nginx="http://127.0.0.1:$port"

# curl's own speed figure, in bytes per second.
put_speed() { curl -sf -o /dev/null -w '%{speed_upload}' -T "$work/source.bin" "$@"; }
get_speed() { curl -sf -o /dev/null -w '%{speed_download}' "$@"; }

best() { tr ' ' '\n' | sort -g | tail -n 1; }

svc_put=() svc_get=() ngx_put=() ngx_get=()
for round in $(seq 1 "$rounds"); do
    # A fresh file registration per round: each PUT URL is for one file.
    reg="$(curl -sf -X POST "$base/_control/buckets/$bucket/uploads" \
        -d "{\"name\":\"r$round.bin\",\"size\":$((size_mib * 1024 * 1024))}")"
    url="$(echo "$reg" | json_string url)"
    file_id="$(echo "$reg" | json_string fileId)"
    key="$(echo "$reg" | sed -n 's/.*"x-vx-upload-key","\([^"]*\)".*/\1/p')"
    svc_put+=("$(put_speed -H "x-vx-upload-key: $key" -H 'Content-Type: application/octet-stream' "$url")")
    ngx_put+=("$(put_speed "$nginx/r$round.bin")")
    svc_get+=("$(get_speed -L "$base/api/v2/bucket/$bucket/file/$file_id/download?action=DOWNLOAD&token=$token")")
    ngx_get+=("$(get_speed "$nginx/r$round.bin")")
    rm -f "$work/nginx/root/r$round.bin" "$work/service/objects/b/$bucket/$file_id"
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
