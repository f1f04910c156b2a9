#!/usr/bin/env bash
# The main job, shown: a show of a minute, by the script examples/show.txt.
#
#   scripts/demo.sh [CAMERA1 [CAMERA2]]
#
# Clips stand in for the cameras; what is not named is made here. SHOW names another script. What
# comes of it lies in build/demo/.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
out="$root/build/demo"
script=$(realpath "${SHOW:-$root/examples/show.txt}")
mkdir -p "$out"
. "$root/scripts/demo/media.sh"
. "$root/scripts/demo/servers.sh"

camera1=${1:+$(realpath "$1")}
camera2=${2:+$(realpath "$2")}
echo "== making what is missing: clips, a stinger, a logo"
[ -n "$camera1" ] || make_clip
[ -n "$camera2" ] || make_second_clip
make_stinger
make_logo
make_template_font

options=()
start_display || echo "== no monitor wall: there is no display to draw it on"
if start_rtmp_server; then
    options+=(--live "$server_url/show")
else
    echo "== nobody goes live: there is no RTMP server to go live to"
fi
plays_lottie || echo "== no opening: the library was built without ThorVG"

echo "== a minute on air"
cd "$out" # where the titles' logo, the template's font and the screenshots are looked for
rm -f show.mp4 show.png show_*.png
result=0
# What the library says of itself goes into the log alone.
"$root/build/bin/show" --titles "$root/examples/titles.xml" \
    --opening "$root/examples/opening.json" --stinger stinger.mov "${options[@]}" \
    "$script" "${camera1:-clip.mov}" "${camera2:-second.mp4}" 2>&1 |
    (
        trap '' INT # a Ctrl-C is for the show, which then finishes its recording and tells of it
        tee show.log | grep --line-buffered -Ev '^(\[L|\[quolsdk\]|L[A-Z])'
    ) || result=$?
if [ "$result" -ne 0 ]; then
    echo "== the show was not whole; all that was said: build/demo/show.log"
    exit "$result"
fi
echo "== done: build/demo/show.mp4, its contact sheet show.png, the wall in show_*.png"
