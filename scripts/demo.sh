#!/usr/bin/env bash
# The main job, shown: a host in C plays a file and records it, a host in C++ draws what it sees.
#
#   scripts/demo.sh [FILE]
#
# Without a file it makes a clip with moving picture, sound and a time code. What comes of it lies
# in build/demo/.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
bin="$root/build/bin"
out="$root/build/demo"
mkdir -p "$out"

source_file=${1:-}
if [ -z "$source_file" ]; then
    source_file="$out/clip.mov"
    if [ ! -s "$source_file" ]; then
        echo "== making a clip: moving picture, sound, time code from 10:00:00:00"
        ffmpeg -v error -y -f lavfi -i testsrc2=size=1280x720:rate=25 \
            -f lavfi -i 'aevalsrc=0.2*sin(2*PI*440*t)*lt(mod(t\,1)\,0.2)|0.2*sin(2*PI*660*t)*lt(mod(t\,1)\,0.2):s=48000' \
            -t 12 -c:v libx264 -preset veryfast -pix_fmt yuv420p -c:a aac -b:a 128k \
            -timecode 10:00:00:00 -f mov "$source_file.part"
        mv "$source_file.part" "$source_file"
    fi
fi

echo "== a host in C: play, record ten seconds at 960x540 and 30 a second, seek, rate 2, loop"
rm -f "$out/recording.mp4" "$out/jumps.mp4" "$out/sheet.png"
"$bin/player_host" "$source_file" "$out/recording.mp4" "$out/jumps.mp4"

if [ -s "$out/recording.mp4" ]; then
    echo "== a host in C++: a contact sheet of the recording"
    "$bin/contact_sheet" "$out/recording.mp4" "$out/sheet.png"
    echo "== done: build/demo/recording.mp4, build/demo/sheet.png"
fi

# ----------------------------------------------------------------------------- the mixer's scene
make_once() {
    local file=$1
    shift
    [ -s "$file" ] || ffmpeg -v error -y "$@" "$file"
}
echo "== making a second clip, a still with alpha and a mask"
make_once "$out/second.mp4" -f lavfi -i mandelbrot=size=960x540:rate=25 \
    -f lavfi -i 'aevalsrc=0.15*sin(2*PI*330*t)|0.15*sin(2*PI*330*t):s=48000' \
    -t 8 -c:v libx264 -preset veryfast -pix_fmt yuv420p -c:a aac -b:a 128k
make_once "$out/logo.png" -f lavfi -i color=white:size=220x100 -frames:v 1 -vf \
    "format=rgba,geq=r='255-X':g='200':b='X':a='255*lt(hypot(max(0\,abs(X-110)-60)\,max(0\,abs(Y-50)-5))\,42)'"
make_once "$out/mask.png" -f lavfi -i color=black:size=1280x720 -frames:v 1 -vf \
    "format=gray,geq=lum='255*between(Y\,560\,640)*clip((X-200)/400\,0\,1)*clip((1240-X)/200\,0\,1)'"

# A file with sound only has no picture to mix; the scene then shows the clip made here.
main_clip=$source_file
[ -s "$out/recording.mp4" ] || main_clip="$out/second.mp4"
echo "== a host in C: picture in picture, a still, a downstream key, recorded from the mixer"
rm -f "$out/programme.mp4" "$out/programme.png"
"$bin/mixer_host" "$main_clip" "$out/second.mp4" "$out/logo.png" "$out/mask.png" \
    "$out/programme.mp4"
"$bin/contact_sheet" "$out/programme.mp4" "$out/programme.png"
echo "== done: build/demo/programme.mp4, build/demo/programme.png"

# ----------------------------------------------------------------------------------- titles
echo "== a host in C: a lower third with a clock, a crawl and a logo from a project file"
rm -f "$out/titles.mp4" "$out/titles.png"
# Paths in a project are those of the working folder.
(cd "$out" && "$bin/title_host" "$(realpath "$main_clip")" "$root/examples/titles.xml" titles.mp4)
"$bin/contact_sheet" "$out/titles.mp4" "$out/titles.png"
echo "== done: build/demo/titles.mp4, build/demo/titles.png"

# --------------------------------------------------------------------------------- switcher
echo "== making a stinger: a band with alpha that runs over the picture"
make_once "$out/stinger.mov" -f lavfi -i color=black:size=1280x720:rate=25 -t 1 -vf \
    "format=rgba,geq=r='30+X/12':g='80':b='200-X/12':a='255*clip((1000-abs(X-(T*4-1.5)*1280))/150\,0\,1)'" \
    -c:v qtrle
echo "== a host in C: cut, fade, wipe, a lower third and a stinger over two clips, with sound"
rm -f "$out/switched.mp4" "$out/switched.png"
(cd "$out" && "$bin/switcher_host" "$(realpath "$main_clip")" second.mp4 stinger.mov \
    "$root/examples/titles.xml" switched.mp4)
"$bin/contact_sheet" "$out/switched.mp4" "$out/switched.png"
echo "== done: build/demo/switched.mp4, build/demo/switched.png"

# ----------------------------------------------------------------------------- vision mixer
# An X server without a screen where there is no display; its number, in `display`.
start_xvfb() {
    Xvfb -displayfd 1 -screen 0 1600x900x24 -nolisten tcp -noreset \
        >"$out/display" 2>"$out/xvfb.log" &
    xvfb=$!
    for _ in $(seq 100); do
        display=$(head -n 1 "$out/display")
        [ -n "$display" ] && return
        sleep 0.1
    done
    echo "== Xvfb gave no display: $(cat "$out/xvfb.log")"
    return 1
}

if [ ! -x "$bin/vision_mixer" ]; then
    echo "== no vision mixer: it was built without Xlib or libpng"
elif [ -z "${DISPLAY:-}" ] && ! command -v Xvfb >/dev/null; then
    echo "== no vision mixer: there is neither a display nor Xvfb"
else
    echo "== a host in C: a vision mixer, its keys pressed by a script, with screenshots of its window"
    rm -f "$out"/mixer_*.png "$out/mixer_session.mp4"
    xvfb=
    display=
    if [ -z "${DISPLAY:-}" ]; then
        trap 'kill $xvfb 2>/dev/null || true' EXIT
        start_xvfb
    fi
    (
        cd "$out"
        [ -n "$display" ] && export DISPLAY=":$display"
        "$bin/vision_mixer" --script "$root/examples/mixer_session.txt" \
            --titles "$root/examples/titles.xml" --record mixer_session.mp4 \
            "$(realpath "$main_clip")" second.mp4
    )
    if [ -n "$xvfb" ]; then
        kill "$xvfb"
        wait "$xvfb" || true
        trap - EXIT
    fi
    "$bin/contact_sheet" "$out/mixer_session.mp4" "$out/mixer_session.png"
    echo "== done: build/demo/mixer_session.mp4, build/demo/mixer_session.png, build/demo/mixer_*.png"
fi

# ----------------------------------------------------------------------------------- Lottie
if ldd "$root/build/lib/libquolsdk.so" 2>/dev/null | grep -q thorvg; then
    echo "== a host in C: a Lottie lower third, its texts and its colour changed on air"
    mkdir -p "$out/template"
    cp "$(fc-match -f '%{file}' 'DejaVu Sans')" "$out/template/Roboto-Regular.ttf"
    rm -f "$out/lottie.mp4" "$out/lottie.png"
    (cd "$out" && "$bin/lottie_host" "$(realpath "$main_clip")" "$root/examples/lowerthird.json" \
        lottie.mp4)
    "$bin/contact_sheet" "$out/lottie.mp4" "$out/lottie.png"
    echo "== done: build/demo/lottie.mp4, build/demo/lottie.png"
else
    echo "== no Lottie lower third: the library was built without ThorVG"
fi

# ---------------------------------------------------------------------------------- network
echo "== two hosts in C: one plays the clip to \"VTP Output\", the other receives and records it"
rm -f "$out/received.mp4" "$out/received.png"
stream="demo $$"
"$bin/output_host" 6 "$main_clip" "$stream" >"$out/sender.log" 2>&1 &
sender=$!
if ! "$bin/live_host" 30 "$out/received.mp4" "$stream"; then # until the sender goes
    wait "$sender" || true
    echo "== nothing was received; the sender said:"
    cat "$out/sender.log"
    exit 1
fi
wait "$sender"
"$bin/contact_sheet" "$out/received.mp4" "$out/received.png"
echo "== done: build/demo/received.mp4, build/demo/received.png"

# ------------------------------------------------------------------------------------- live
# A port of this machine that nobody listens on.
free_port() {
    local port
    for port in $(shuf -i 20000-32000 -n 50); do
        (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null || break
    done
    echo "$port"
}

server="$root/build/rtmp-server"
if [ -x "$server/nginx" ]; then
    folder="$out/server"
    port=$(free_port)
    mkdir -p "$folder"
    cat >"$folder/nginx.conf" <<END
load_module "$server/ngx_rtmp_module.so";
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
    "$server/nginx" -p "$folder" -e "$folder/error.log" -c "$folder/nginx.conf" &
    nginx=$!
    player=
    trap 'kill $nginx $player 2>/dev/null || true' EXIT
    for _ in $(seq 50); do
        (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null && break
        sleep 0.1
    done

    echo "== two hosts in C and a local server: one goes live and records, the other plays the stream"
    rm -f "$out/live.mp4" "$out/played.mp4" "$out/played.png"
    "$bin/streamplay_host" 10 "$out/played.mp4" "rtmp://127.0.0.1:$port/live/demo" \
        >"$out/player.log" 2>&1 &
    player=$!
    "$bin/stream_host" 8 "$main_clip" "$out/live.mp4" "rtmp://127.0.0.1:$port/live" demo
    if ! wait "$player"; then
        echo "== nothing was played; the player said:"
        cat "$out/player.log"
        exit 1
    fi
    kill "$nginx"
    wait "$nginx" || true
    trap - EXIT
    "$bin/contact_sheet" "$out/played.mp4" "$out/played.png"
    echo "== done: build/demo/live.mp4 as it was sent, build/demo/played.mp4 as it arrived"
else
    echo "== nobody goes live: there is no RTMP server to go live to"
fi

echo "== a host in C: recordings of 25 pictures a second joined and converted"
parts=("$out/programme.mp4")
[ -x "$server/nginx" ] && parts+=("$out/live.mp4")
rm -f "$out/joined.mp4" "$out/joined.png"
"$bin/convert" -preset veryfast "${parts[@]}" "$out/joined.mp4"
"$bin/contact_sheet" "$out/joined.mp4" "$out/joined.png"
echo "== done: build/demo/joined.mp4, build/demo/joined.png"
