# Servers of this machine for the demo and the hosts; to be sourced, with `out` as the folder for
# what they write. `servers` are those that run.
servers=()
trap stop_servers EXIT

stop_servers() {
    local server
    for server in "${servers[@]}"; do
        kill "$server" 2>/dev/null || true
        wait "$server" 2>/dev/null || true
    done
    servers=()
}

# An X server without a screen where there is no display, as DISPLAY. Fails where there is neither.
start_display() {
    local number=
    [ -z "${DISPLAY:-}" ] || return 0
    command -v Xvfb >/dev/null || return 1
    : >"$out/display" # of an earlier one
    Xvfb -displayfd 1 -screen 0 1600x900x24 -nolisten tcp -noreset \
        >"$out/display" 2>"$out/xvfb.log" &
    servers+=($!)
    for _ in $(seq 100); do
        number=$(head -n 1 "$out/display")
        [ -n "$number" ] && break
        sleep 0.1
    done
    [ -n "$number" ] || {
        echo "== Xvfb gave no display: $(cat "$out/xvfb.log")"
        return 1
    }
    export DISPLAY=":$number"
}

# A port of this machine that nobody listens on.
free_port() {
    local port
    for port in $(shuf -i 20000-32000 -n 50); do
        (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null || break
    done
    echo "$port"
}

# An RTMP server; `server_url` is its address. Fails where there is none.
start_rtmp_server() {
    local prefix="$root/build/rtmp-server" folder="$out/server" port
    [ -x "$prefix/nginx" ] || return 1
    port=$(free_port)
    mkdir -p "$folder"
    cat >"$folder/nginx.conf" <<END
load_module "$prefix/ngx_rtmp_module.so";
daemon off;
master_process off;
pid "$folder/pid";
error_log "$folder/error.log";
events {}
rtmp {
    access_log off;
    server {
        listen 127.0.0.1:$port;
        application live {
            live on;
        }
    }
}
END
    "$prefix/nginx" -p "$folder" -e "$folder/error.log" -c "$folder/nginx.conf" &
    servers+=($!)
    for _ in $(seq 50); do
        (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null && break
        sleep 0.1
    done
    server_url="rtmp://127.0.0.1:$port/live"
}
