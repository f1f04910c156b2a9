#!/usr/bin/env bash
# The small hosts in C of examples/, one after the other: each shows one thing.
#
#   scripts/hosts.sh [FILE]
#
# Without a file they play a clip that is made here. What comes of it lies in build/demo/.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
bin="$root/build/bin"
out="$root/build/demo"
mkdir -p "$out"
. "$root/scripts/demo/media.sh"
. "$root/scripts/demo/servers.sh"

echo "== making what they play, where it is missing"
source_file=${1:-}
if [ -z "$source_file" ]; then
    make_clip
    source_file="$out/clip.mov"
fi
make_second_clip
make_logo
make_stinger
make_template_font
make_once "$out/mask.png" -f lavfi -i color=black:size=1280x720 -frames:v 1 -vf \
    "format=gray,geq=lum='255*between(Y\,560\,640)*clip((X-200)/400\,0\,1)*clip((1240-X)/200\,0\,1)'"

# A contact sheet of a recording, beside it.
sheet() {
    "$bin/contact_sheet" "$out/$1.mp4" "$out/$1.png"
    echo "== done: build/demo/$1.mp4, build/demo/$1.png"
}

play() {
    echo "== a host in C: play, record ten seconds at 960x540 and 30 a second, seek, rate 2, loop"
    rm -f "$out/recording.mp4" "$out/jumps.mp4" "$out/recording.png"
    "$bin/player_host" "$source_file" "$out/recording.mp4" "$out/jumps.mp4"
    [ ! -s "$out/recording.mp4" ] || sheet recording
}

mix() {
    echo "== a host in C: picture in picture, a still, a downstream key, recorded from the mixer"
    rm -f "$out/programme.mp4" "$out/programme.png"
    "$bin/mixer_host" "$main_clip" "$out/second.mp4" "$out/logo.png" "$out/mask.png" \
        "$out/programme.mp4"
    sheet programme
}

# Paths in a project, and those of fonts, are those of the working folder.
title() {
    echo "== a host in C: a lower third with a clock, a crawl and a logo from a project file"
    rm -f "$out/titles.mp4" "$out/titles.png"
    (cd "$out" && "$bin/title_host" "$main_clip" "$root/examples/titles.xml" titles.mp4)
    sheet titles
}

switch() {
    echo "== a host in C: cut, fade, a lower third and a stinger over two clips, with sound"
    rm -f "$out/switched.mp4" "$out/switched.png"
    (cd "$out" && "$bin/switcher_host" "$main_clip" second.mp4 stinger.mov \
        "$root/examples/titles.xml" switched.mp4)
    sheet switched
}

mix_in_a_window() {
    if [ ! -x "$bin/vision_mixer" ]; then
        echo "== no vision mixer: it was built without Xlib or libpng"
        return
    fi
    if ! start_display; then
        echo "== no vision mixer: there is neither a display nor Xvfb"
        return
    fi
    echo "== a host in C: a vision mixer, its keys pressed by a script, with screenshots of its window"
    rm -f "$out"/mixer_*.png "$out/mixer_session.mp4"
    (cd "$out" && "$bin/vision_mixer" --script "$root/examples/mixer_session.txt" \
        --titles "$root/examples/titles.xml" --record mixer_session.mp4 "$main_clip" second.mp4)
    sheet mixer_session
    echo "== and build/demo/mixer_*.png"
}

show_lottie() {
    if ! plays_lottie; then
        echo "== no Lottie lower third: the library was built without ThorVG"
        return
    fi
    echo "== a host in C: a Lottie lower third, its texts and its colour changed on air"
    rm -f "$out/lottie.mp4" "$out/lottie.png"
    (cd "$out" && "$bin/lottie_host" "$main_clip" "$root/examples/lowerthird.json" lottie.mp4)
    sheet lottie
}

repeat() {
    echo "== a host in C: a replay of the last ten seconds at half speed, and exported as they were"
    rm -f "$out/slow.mp4" "$out/slow.png" "$out/export.mov"
    "$bin/replay_host" 12 "$out" "$main_clip"
    sheet slow
    echo "== and build/demo/export.mov"
}

# Waits for a program, by its number; where it has failed, what it said.
finish() {
    local program=$1 log=$2
    wait "$program" && return
    echo "== failed; it said:"
    cat "$log"
    return 1
}

send_and_receive() {
    local stream="demo $$" sender received=0
    echo "== two hosts in C: one plays the clip to \"VTP Output\", the other receives and records it"
    rm -f "$out/received.mp4" "$out/received.png"
    "$bin/output_host" 6 "$main_clip" "$stream" >"$out/sender.log" 2>&1 &
    sender=$!
    servers+=("$sender")
    "$bin/live_host" 30 "$out/received.mp4" "$stream" || received=$? # until the sender goes
    finish "$sender" "$out/sender.log"
    [ "$received" -eq 0 ]
    sheet received
}

go_live() {
    local player
    if ! start_rtmp_server; then
        echo "== nobody goes live: there is no RTMP server to go live to"
        return
    fi
    echo "== two hosts in C and a local server: one goes live and records, the other plays the stream"
    rm -f "$out/live.mp4" "$out/played.mp4" "$out/played.png"
    "$bin/streamplay_host" 10 "$out/played.mp4" "$server_url/demo" >"$out/player.log" 2>&1 &
    player=$!
    servers+=("$player")
    "$bin/stream_host" 8 "$main_clip" "$out/live.mp4" "$server_url" demo
    finish "$player" "$out/player.log"
    sheet played
    echo "== and build/demo/live.mp4 as it was sent"
    parts+=("$out/live.mp4")
}

join_recordings() {
    echo "== a host in C: recordings of 25 pictures a second joined and converted"
    rm -f "$out/joined.mp4" "$out/joined.png"
    "$bin/convert" -preset veryfast "${parts[@]}" "$out/joined.mp4"
    sheet joined
}

play
# A file with sound only has no picture to mix; the others then show the clip made here.
main_clip=$(realpath "$source_file")
[ -s "$out/recording.mp4" ] || main_clip="$out/second.mp4"
mix
title
switch
mix_in_a_window
show_lottie
repeat
send_and_receive
parts=("$out/programme.mp4")
go_live
join_recordings
