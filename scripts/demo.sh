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
