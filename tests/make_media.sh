#!/usr/bin/env bash
# Makes the clips that the tests play: make_media.sh FOLDER
#
# Everything comes out of FFmpeg's own generators, so the clips are the same wherever the suite
# runs and nothing of anybody's is in them. They are as small and as short as what they are there
# for allows: a player tested in real time takes as long as its clips.
set -euo pipefail

if [ $# -ne 1 ]; then
    echo "usage: make_media.sh FOLDER" >&2
    exit 2
fi
mkdir -p "$1"
cd "$1"

make() {
    ffmpeg -nostdin -hide_banner -loglevel error -y "$@"
}

# Stamps that depend on the day and on FFmpeg's version stay out; one thread, so that an encoder's
# choices do not depend on the machine.
exact=(-fflags +bitexact -flags:v +bitexact -flags:a +bitexact -threads 1)
x264=(-c:v libx264 -preset ultrafast -x264-params threads=1)
aac=(-c:a aac -b:a 96k)

# A picture that differs from frame to frame, and a tone. picture SIZE RATE SECONDS; tone SECONDS.
picture() {
    echo "testsrc2=size=$1:rate=$2:duration=$3"
}
tone() {
    echo "aevalsrc=0.25*sin(2*PI*440*t)|0.125*sin(2*PI*880*t):sample_rate=48000:duration=$1"
}

# --------------------------------------------------------------------------- ordinary clips

# The clip of most tests: 100 pictures, pictures out of order in the stream (two B pictures in a
# row), sound, a time code.
make -f lavfi -i "$(picture 320x180 25 4)" -f lavfi -i "$(tone 4)" \
    "${x264[@]}" -bf 2 -g 12 -pix_fmt yuv420p "${aac[@]}" \
    -timecode 10:00:00:00 "${exact[@]}" h264_aac.mp4

# One key picture for all of it: a seek has to decode its way to the target.
make -f lavfi -i "$(picture 320x180 25 6)" -f lavfi -i "$(tone 6)" \
    "${x264[@]}" -bf 2 -g 250 -sc_threshold 0 -pix_fmt yuv420p "${aac[@]}" \
    "${exact[@]}" long_gop.mp4

# The time code in the container's own metadata, sound without compression.
make -f lavfi -i "$(picture 320x180 25 2)" -f lavfi -i "$(tone 2)" \
    -c:v mpeg2video -b:v 4M -g 12 -pix_fmt yuv422p -c:a pcm_s16le \
    -timecode 01:02:03:04 "${exact[@]}" av_tc.mxf

# The first time stamp lies above one second, as in any transport stream.
make -f lavfi -i "$(picture 320x180 25 3)" -f lavfi -i "$(tone 3)" \
    "${x264[@]}" -bf 2 -g 12 -pix_fmt yuv420p "${aac[@]}" "${exact[@]}" h264.ts

# Not a whole number of frames a second; a time code counts 29 of them all the same.
make -f lavfi -i "$(picture 320x180 30000/1001 3)" -f lavfi -i "$(tone 3)" \
    "${x264[@]}" -bf 2 -g 15 -pix_fmt yuv420p "${aac[@]}" \
    -timecode 01:00:00:00 "${exact[@]}" rate2997.mp4

# ------------------------------------------------------------------- codecs and containers

make -f lavfi -i "$(picture 320x180 25 1)" -f lavfi -i "$(tone 1)" \
    -c:v libx265 -preset ultrafast -x265-params log-level=error:pools=none:frame-threads=1 \
    -pix_fmt yuv420p -tag:v hvc1 "${aac[@]}" "${exact[@]}" hevc.mp4
# Program streams start at half a second and carry few time stamps.
make -f lavfi -i "$(picture 320x180 25 1)" -f lavfi -i "$(tone 1)" \
    -c:v mpeg2video -b:v 4M -g 12 -c:a mp2 -b:a 192k "${exact[@]}" mpeg2.mpg
# Full-range colours; the container knows no time stamps at all.
make -f lavfi -i "$(picture 320x180 25 1)" -f lavfi -i "$(tone 1)" \
    -c:v mjpeg -q:v 4 -c:a pcm_s16le "${exact[@]}" mjpeg.avi
# What an editing room delivers: 10 bits, 4:2:2, a time code track.
make -f lavfi -i "$(picture 320x180 25 1)" -f lavfi -i "$(tone 1)" \
    -c:v prores_ks -profile:v 2 -pix_fmt yuv422p10le -c:a pcm_s16le \
    -timecode 00:59:59:00 "${exact[@]}" prores.mov
# Time stamps in milliseconds only, sound in planar float that starts before zero.
make -f lavfi -i "$(picture 320x180 25 1)" -f lavfi -i "$(tone 1)" \
    -c:v libvpx-vp9 -deadline realtime -cpu-used 8 -b:v 500k -c:a libopus -b:a 96k \
    "${exact[@]}" vp9_opus.webm

# ------------------------------------------------------------------------- forms of picture

make -f lavfi -i "$(picture 320x180 25 1)" "${x264[@]}" -pix_fmt yuv420p "${exact[@]}" silent.mp4
# More than 8 bits a sample.
make -f lavfi -i "$(picture 320x180 25 1)" "${x264[@]}" -pix_fmt yuv420p10le "${exact[@]}" \
    tenbit.mp4
# Two moments in each picture, the upper field first.
make -f lavfi -i "$(picture 320x180 50 1)" -vf interlace=scan=tff:lowpass=off \
    -c:v mpeg2video -b:v 4M -g 12 -flags:v +ildct+ilme+bitexact -top 1 \
    -fflags +bitexact -threads 1 interlaced.ts
# Neither side can be halved.
make -f lavfi -i "testsrc=size=321x183:rate=25:duration=1" -c:v ffv1 -pix_fmt yuv420p "${exact[@]}" \
    odd_size.mkv
# Pixels twice as wide as high: 160x180 is shown as 16:9.
make -f lavfi -i "$(picture 160x180 25 1)" -vf setsar=2/1 "${x264[@]}" -pix_fmt yuv420p \
    "${exact[@]}" sar.mp4
# The same where the container has no place for that: the stream alone says so.
make -i sar.mp4 -c copy "${exact[@]}" sar.ts
# A second at 25, then every third picture only.
make -f lavfi -i "$(picture 320x180 25 2)" -vf "select='lt(n,25)+not(mod(n,3))'" \
    -fps_mode passthrough "${x264[@]}" -pix_fmt yuv420p "${exact[@]}" vfr.mkv
# After a second the time stamps jump ahead by two and a half.
make -f lavfi -i "$(picture 320x180 25 2)" -vf "setpts=PTS+gte(N\,25)*2.5/TB" \
    -fps_mode passthrough "${x264[@]}" -pix_fmt yuv420p "${exact[@]}" gap.mkv
# The same with sound, whose stamps jump a little before those of the pictures.
make -f lavfi -i "$(picture 320x180 25 2)" -f lavfi -i "$(tone 2)" \
    -vf "setpts=PTS+gte(N\,25)*2.9/TB" -af "asetnsamples=960,asetpts=PTS+gte(T\,0.9)*2.9/TB" \
    -fps_mode passthrough "${x264[@]}" -pix_fmt yuv420p -c:a pcm_s16le "${exact[@]}" gap_sound.mkv

# Pictures that stand for nearly a second, and for more than one.
make -f lavfi -i "$(picture 64x48 10/9 9.9)" "${x264[@]}" -pix_fmt yuv420p "${exact[@]}" slow.mkv
make -f lavfi -i "$(picture 64x48 10/12 13.2)" "${x264[@]}" -pix_fmt yuv420p "${exact[@]}" \
    slower.mkv

# As it was sent, without a word about its length.
make -i h264_aac.mp4 -map 0:v -map 0:a -c copy -f matroska -live 1 "${exact[@]}" no_duration.mkv
make -i no_duration.mkv -t 0.5 -map 0:v -map 0:a -c copy -f matroska -live 1 "${exact[@]}" \
    no_duration_short.mkv

# The picture begins two seconds behind the sound.
make -f lavfi -i "$(tone 4)" -f lavfi -i "$(picture 320x180 25 2)" -map 1 -map 0 \
    -vf setpts=PTS+2/TB -fps_mode passthrough "${x264[@]}" -pix_fmt yuv420p "${aac[@]}" \
    "${exact[@]}" late_picture.mkv

# The sound goes on when the last picture has long gone.
make -f lavfi -i "$(picture 320x180 25 1)" -f lavfi -i "$(tone 9)" "${x264[@]}" -pix_fmt yuv420p \
    -c:a pcm_s16le "${exact[@]}" long_sound.mkv
make -f lavfi -i "$(picture 320x180 25 1)" -f lavfi -i "$(tone 2.5)" "${x264[@]}" -pix_fmt yuv420p \
    -c:a pcm_s16le "${exact[@]}" sound_tail.mkv
# Three pictures of three seconds each, spoken over.
make -f lavfi -i "$(picture 320x180 1/3 9)" -f lavfi -i "$(tone 9)" "${x264[@]}" -pix_fmt yuv420p \
    -c:a pcm_s16le "${exact[@]}" slides.mkv

# --------------------------------------------------------------------------- forms of sound

# Nothing to see: the sound must keep the time by itself.
make -f lavfi -i "$(tone 2)" -c:a flac "${exact[@]}" flac.flac
make -f lavfi -i "aevalsrc=0.5*sin(2*PI*440*t):sample_rate=44100:duration=1" \
    -c:a pcm_s16le "${exact[@]}" mono.wav
# More channels than anything downstream takes.
make -f lavfi -i "$(picture 320x180 25 1)" \
    -f lavfi -i "anoisesrc=sample_rate=48000:duration=1:seed=1:amplitude=0.2" \
    -filter_complex "[1:a]aformat=channel_layouts=mono,pan=5.1|c0=c0|c1=c0|c2=c0|c3=c0|c4=c0|c5=c0[a]" \
    -map 0:v -map "[a]" "${x264[@]}" -pix_fmt yuv420p "${aac[@]}" "${exact[@]}" aac51.mp4

# A count of channels that no layout is known for.
make -f lavfi -i "aevalsrc=$(printf '0.1*sin(2*PI*440*t)|%.0s' {1..9})0.1*sin(2*PI*880*t):sample_rate=48000:duration=1" \
    -c:a pcm_s16le "${exact[@]}" ten_channels.wav

# ------------------------------------------------------------------------------------ stills

# One colour, the upper left quarter another.
make -f lavfi -i "color=c=0x204080:size=160x90:rate=1:duration=1" \
    -vf "format=rgb24,drawbox=x=0:y=0:w=iw/2:h=ih/2:color=0xC08020:t=fill" \
    -frames:v 1 -update 1 "${exact[@]}" still.png
# Sound with a cover: the picture is one picture, and no clock.
make -f lavfi -i "$(tone 2)" -i still.png -map 0:a -map 1:v -c:a libmp3lame -b:a 128k \
    -c:v mjpeg -disposition:v attached_pic -id3v2_version 3 "${exact[@]}" cover.mp3
mkdir -p seq
make -f lavfi -i "$(picture 160x90 25 1)" -frames:v 10 "${exact[@]}" seq/seq_%04d.png

# Too long and too narrow for its shape to be told in small numbers.
make -f lavfi -i "testsrc=size=2003x1001:rate=1:duration=1" -frames:v 1 -update 1 "${exact[@]}" \
    odd_shape.png

# ---------------------------------------------------------------------------- picture on sound

# What sound and picture are held against each other by: at every whole second one white picture
# and 40 ms of 1 kHz, to the picture and to the sample.
make -f lavfi -i "color=c=black:size=1280x720:rate=25:duration=12" \
    -f lavfi -i "aevalsrc=0.5*sin(2*PI*1000*t)*lt(mod(n\,48000)\,1920):sample_rate=48000:duration=12" \
    -vf "drawbox=color=white:t=fill:enable='not(mod(n\,25))'" \
    "${x264[@]}" -g 25 -pix_fmt yuv420p -ac 2 -c:a pcm_s16le "${exact[@]}" flash_beep.mov

# What comes out elsewhere can be told picture by picture and sample by sample: each picture has its
# number in nine boxes along the top, the lowest bit first, and the sound has noise that repeats
# nowhere. Flash and beep as above.
numbers="drawbox=w=iw:h=64:color=black:t=fill"
for bit in {0..8}; do
    numbers+=",drawbox=x=$((16 + 72 * bit)):y=16:w=64:h=32:color=white:t=fill"
    numbers+=":enable='bitand(n,$((1 << bit)))'"
done
make -f lavfi -i "testsrc2=size=720x576:rate=25:duration=20" \
    -f lavfi -i "aevalsrc=$(printf '0.5*sin(2*PI*1000*t)*lt(mod(n\,48000)\,1920)+0.03*(random(%s)-0.5)|' 0 1 |
        sed 's/|$//'):sample_rate=48000:duration=20" \
    -vf "format=yuv420p,lutyuv=y=val/2,drawbox=color=white:t=fill:enable='not(mod(n,25))',$numbers" \
    "${x264[@]}" -g 25 -pix_fmt yuv420p -c:a pcm_s16le "${exact[@]}" numbered.mov

# --------------------------------------------------------------- changes in the middle of a file

# The picture's size changes: the time stamps of the second half go on where the first one ends.
part() {
    make -f lavfi -i "$(picture "$1" 25 1)" "${x264[@]}" -g 12 -pix_fmt yuv420p \
        -output_ts_offset "$2" "${exact[@]}" "$3"
}
part 320x180 0 part1.ts
part 240x160 1 part2.ts
cat part1.ts part2.ts > size_change.ts
# The sound's channels and rate change.
sound_part() {
    make -f lavfi -i "$(tone 1)" -c:a mp2 -b:a 128k -ac "$1" -ar "$2" -output_ts_offset "$3" \
        "${exact[@]}" "$4"
}
sound_part 2 48000 0 part1.ts
sound_part 1 44100 1 part2.ts
cat part1.ts part2.ts > sound_change.ts
rm part1.ts part2.ts

# ------------------------------------------------------------------------------------- damage

# Opens, and ends long before it says it would.
make -i h264_aac.mp4 -map 0:v -map 0:a -c copy -movflags +faststart "${exact[@]}" whole.mp4
head -c $(($(stat -c %s whole.mp4) / 2)) whole.mp4 > truncated.mp4
# The index at its end is missing.
head -c $(($(stat -c %s h264_aac.mp4) / 2)) h264_aac.mp4 > truncated_no_moov.mp4
: > empty.mp4
echo "This is no movie, whatever its name says." > text.mp4
# No structure at all.
make -f lavfi -i "anoisesrc=sample_rate=48000:duration=2:seed=7:amplitude=1" -c:a pcm_s16le \
    -f s16le random.mp4
# Every packet is where the index says, and bits in it are flipped here and there.
make -i h264_aac.mp4 -map 0:v -map 0:a -c copy -bsf:v noise=amount=200 -bsf:a noise=amount=300 \
    "${exact[@]}" bitflips.mp4
rm whole.mp4
# Codecs that nobody knows: that of the picture, that of the sound, both.
make -f lavfi -i "$(picture 320x180 25 1)" -f lavfi -i "$(tone 1)" -c:v mjpeg -q:v 4 \
    -c:a pcm_s16le "${exact[@]}" known.mkv
LC_ALL=C sed 's/V_MJPEG/V_XJPEG/' known.mkv > unknown_picture.mkv
LC_ALL=C sed 's/A_PCM/A_XCM/' known.mkv > unknown_sound.mkv
LC_ALL=C sed 's/A_PCM/A_XCM/' unknown_picture.mkv > unknown.mkv
rm known.mkv
# A picture that claims 2147483647 pixels a side, checksums and all, and holds a hundred bytes.
{
    printf '\x89PNG\r\n\x1a\n'
    printf '\x00\x00\x00\x0dIHDR\x7f\xff\xff\xff\x7f\xff\xff\xff\x08\x02\x00\x00\x00\x9b\xab\x9c\x31'
    printf '\x00\x00\x00\x0cIDAT\x78\x9c\x63\x60\xa0\x3d\x00\x00\x00\x64\x00\x01\x86\x64\x3c\x35'
    printf '\x00\x00\x00\x00IEND\xae\x42\x60\x82'
} > huge_png.png
