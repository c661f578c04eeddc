# Shared helpers of the benchmark scripts; source it:  . "$(dirname "$0")/../lib.sh"
#
#   bench_workdir NAME         make a fresh work folder (in /dev/shm when possible, so that no
#                              disk takes part) and print it
#   bench_start_nginx DIR      start nginx on a free 127.0.0.1 port with a generated
#                              configuration under DIR/nginx; sets nginx_pid, nginx_url and
#                              nginx_root (the folder it serves and stores PUT bodies in)
#   bench_stop_nginx           stop it (also done by bench_cleanup)
#   bench_first_line FILE      wait (bounded) until FILE has a first line and print it
#   bench_measure OUT CMD...   run CMD under /usr/bin/time, append "wall cpu maxrss_kib" to OUT
#   bench_median, bench_column FILE N, bench_maximum FILE N
#                              medians and maxima of such measurement files
#   bench_json_string KEY      value of a string key in compact JSON on stdin
#
# A script that starts processes of its own lists their PIDs in bench_pids; bench_cleanup (run
# it from the script's EXIT trap) stops them, stops nginx and removes bench_work, unless
# VXT_BENCH_KEEP=1 asks to keep it (logs, configuration, the last application folder).

nginx_exe=/usr/sbin/nginx
nginx_pid=""
nginx_url=""
nginx_root=""
bench_pids=()
bench_work=""

bench_workdir() {
    local base=/dev/shm
    [ -d "$base" ] && [ -w "$base" ] || base=/tmp
    mktemp -d "$base/vxt-bench-$1.XXXXXX"
}

bench_stop_nginx() {
    if [ -n "$nginx_pid" ]; then
        kill "$nginx_pid" 2>/dev/null || true
        wait "$nginx_pid" 2>/dev/null || true
        nginx_pid=""
    fi
}

bench_cleanup() {
    local pid
    for pid in "${bench_pids[@]}"; do
        kill "$pid" 2>/dev/null || true
        wait "$pid" 2>/dev/null || true
    done
    bench_stop_nginx
    if [ "${VXT_BENCH_KEEP:-0}" = 1 ]; then
        echo "kept $bench_work"
    elif [ -n "$bench_work" ]; then
        rm -rf "$bench_work"
    fi
    return 0
}

bench_start_nginx() {
    local dir="$1/nginx" port attempt
    [ -x "$nginx_exe" ] || { echo "missing $nginx_exe (scripts/install-deps)" >&2; return 1; }
    mkdir -p "$dir/root" "$dir/body"
    nginx_root="$dir/root"
    # A free port: retried when another process takes the one picked.
    for attempt in 1 2 3 4 5; do
        port=$((20000 + RANDOM % 30000))
        cat > "$dir/nginx.conf" <<CONF
daemon off;
master_process off;
worker_processes 1;
pid $dir/nginx.pid;
error_log $dir/error.log;
events { worker_connections 256; }
http {
    access_log off;
    client_body_temp_path $dir/body;
    proxy_temp_path $dir/body;
    fastcgi_temp_path $dir/body;
    uwsgi_temp_path $dir/body;
    scgi_temp_path $dir/body;
    sendfile on;
    tcp_nopush on;
    client_max_body_size 0;
    server {
        listen 127.0.0.1:$port;
        root $dir/root;
        location / {
            dav_methods PUT;
            create_full_put_path on;
        }
    }
}
CONF
        "$nginx_exe" -p "$dir/" -e "$dir/error.log" -c "$dir/nginx.conf" &
        nginx_pid=$!
        for _ in $(seq 1 100); do
            curl -s -o /dev/null "http://127.0.0.1:$port/" && break
            kill -0 "$nginx_pid" 2>/dev/null || break
            sleep 0.05
        done
        if curl -s -o /dev/null "http://127.0.0.1:$port/"; then
            nginx_url="http://127.0.0.1:$port"
            return 0
        fi
        wait "$nginx_pid" 2>/dev/null || true
        nginx_pid=""
    done
    echo "nginx did not start: $(cat "$dir/error.log")" >&2
    return 1
}

bench_first_line() {
    for _ in $(seq 1 200); do
        if [ -s "$1" ]; then
            head -n 1 "$1"
            return 0
        fi
        sleep 0.05
    done
    return 1
}

bench_measure() {
    local out="$1" dir
    shift
    dir="$(dirname "$out")"
    /usr/bin/time -f '%e %U %S %M' -o "$dir/time.txt" "$@" > "$dir/cmd.out" 2>&1 || {
        echo "failed: $* ($(tail -n 3 "$dir/cmd.out"))" >&2
        return 1
    }
    awk '{ printf "%s %.3f %s\n", $1, $2 + $3, $4 }' "$dir/time.txt" >> "$out"
}

bench_median() { sort -g | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }
bench_column() { awk -v c="$2" '{ print $c }' "$1" | bench_median; }
bench_maximum() { awk -v c="$2" '{ print $c }' "$1" | sort -g | tail -n 1; }

bench_json_string() { sed -n "s/.*\"$1\":\"\\([^\"]*\\)\".*/\\1/p"; }

# bench_make_source <dir> <bytes>: <dir>/source.bin of random bytes and its four quarters,
# <dir>/quarter-0.bin .. quarter-3.bin, which the parallel curl runs send.
bench_make_source() {
    local dir="$1" bytes="$2" quarter i
    head -c "$bytes" /dev/urandom > "$dir/source.bin"
    quarter=$((bytes / 4))
    for i in 0 1 2 3; do
        dd if="$dir/source.bin" of="$dir/quarter-$i.bin" bs=1M iflag=skip_bytes,count_bytes \
            skip=$((i * quarter)) count="$quarter" status=none
    done
}

# A script for `bash -c "$bench_curl_four" DIR URL`: four curls in parallel, each sending one of
# DIR/quarter-N.bin to URL/four.bin-N; it ends when all have, failing if any failed.
bench_curl_four='pids=""
for i in 0 1 2 3; do
    curl -sf -o /dev/null -T "$0/quarter-$i.bin" "$1/four.bin-$i" & pids="$pids $!"
done
status=0
for p in $pids; do wait $p || status=1; done
exit $status'
