# What the demo and the hosts play, made once; to be sourced, with `out` as the folder.

make_once() {
    local file=$1
    shift
    [ -s "$file" ] && return
    ffmpeg -v error -y "$@" "${file%.*}.part.${file##*.}"
    mv "${file%.*}.part.${file##*.}" "$file"
}

# Moving picture, sound and a time code; easy to decode, as what comes from a camera is.
make_clip() {
    make_once "$out/clip.mov" -f lavfi -i testsrc2=size=1280x720:rate=25 \
        -f lavfi -i 'aevalsrc=0.2*sin(2*PI*440*t)*lt(mod(t\,1)\,0.2)|0.2*sin(2*PI*660*t)*lt(mod(t\,1)\,0.2):s=48000' \
        -t 12 -c:v libx264 -preset veryfast -tune fastdecode -pix_fmt yuv420p -c:a aac -b:a 128k \
        -timecode 10:00:00:00
}

# Another picture in another size, with another sound.
make_second_clip() {
    make_once "$out/second.mp4" -f lavfi -i mandelbrot=size=960x540:rate=25 \
        -f lavfi -i 'aevalsrc=0.15*sin(2*PI*330*t)|0.15*sin(2*PI*330*t):s=48000' \
        -t 8 -c:v libx264 -preset veryfast -tune fastdecode -pix_fmt yuv420p -c:a aac -b:a 128k
}

make_logo() {
    make_once "$out/logo.png" -f lavfi -i color=white:size=220x100 -frames:v 1 -vf \
        "format=rgba,geq=r='255-X':g='200':b='X':a='255*lt(hypot(max(0\,abs(X-110)-60)\,max(0\,abs(Y-50)-5))\,42)'"
}

# A band with alpha that runs over the picture.
make_stinger() {
    make_once "$out/stinger.mov" -f lavfi -i color=black:size=1280x720:rate=25 -t 1 -vf \
        "format=rgba,geq=r='30+X/12':g='80':b='200-X/12':a='255*clip((1000-abs(X-(T*4-1.5)*1280))/150\,0\,1)'" \
        -c:v qtrle
}

# A font under a name that templates are looked for by.
make_template_font() {
    mkdir -p "$out/template"
    cp "$(fc-match -f '%{file}' 'DejaVu Sans')" "$out/template/Roboto-Regular.ttf"
}

plays_lottie() {
    [[ $(ldd "$root/build/lib/libquolsdk.so" 2>/dev/null) == *thorvg* ]]
}
