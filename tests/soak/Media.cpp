#include "soak/Media.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "support/Program.h"

namespace soak {

namespace {

namespace files = std::filesystem;
using Words = std::vector<std::string>;

// Seconds become minutes where others take the processors.
constexpr std::chrono::minutes patience{10};

std::string made(const std::string& path, Words arguments) {
    if (files::exists(path)) return path;
    Words words{"ffmpeg", "-nostdin", "-hide_banner", "-loglevel", "error", "-y"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    words.push_back(path);
    const test::Program encoder(words);
    if (encoder.wait(patience) != 0) {
        files::remove(path);
        throw std::runtime_error("cannot make " + path + ": " + encoder.output());
    }
    return path;
}

// Pictures and a tone, H.264 with AAC.
Words filmed(const std::string& pictures, int frequency, int seconds) {
    const std::string tone = "sine=sample_rate=48000:frequency=" + std::to_string(frequency);
    return {"-f",        "lavfi",       "-i",   pictures,   "-f",
            "lavfi",     "-i",          tone,   "-t",       std::to_string(seconds),
            "-c:v",      "libx264",     "-g",   "25",       "-preset",
            "veryfast",  "-b:v",        "3M",   "-pix_fmt", "yuv420p",
            "-timecode", "10:00:00:00", "-c:a", "aac",      "-ac",
            "2"};
}

std::string written(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
}

// The first half of a file: its index, at the end, is gone.
std::string halfOf(const std::string& whole, const std::string& path) {
    files::copy_file(whole, path, files::copy_options::overwrite_existing);
    files::resize_file(path, files::file_size(path) / 2);
    return path;
}

} // namespace

Media makeMedia(const std::string& folder) {
    files::create_directories(folder);
    const std::string at = folder + "/";
    Media media;
    media.clips = {
        made(at + "camera.mp4", filmed("testsrc2=size=1280x720:rate=25", 440, 12)),
        made(at + "match.mp4", filmed("mandelbrot=size=1280x720:rate=25", 660, 10)),
        made(at + "small.mp4", filmed("testsrc2=size=640x480:rate=30", 330, 5)),
        made(at + "short.mp4", filmed("testsrc=size=1280x720:rate=25", 550, 1)),
        made(at + "silent.mov", {"-f", "lavfi", "-i", "testsrc=size=1280x720:rate=25:duration=4",
                                 "-c:v", "mpeg2video", "-b:v", "6M", "-an"}),
        made(at + "sound.wav",
             {"-f", "lavfi", "-i", "sine=frequency=880:sample_rate=44100:duration=6", "-ac", "2"}),
    };
    for (const char* const color : {"red", "blue"})
        media.stingers.push_back(
            made(at + "sting-" + color + ".mov",
                 {"-f", "lavfi", "-i",
                  std::string("color=") + color + ":size=640x360:rate=25:duration=0.6", "-vf",
                  "format=argb,geq=r='r(X,Y)':g='g(X,Y)':b='b(X,Y)':a='255*lt(abs(X-N*48),200)'",
                  "-c:v", "qtrle"}));
    for (const char* const color : {"teal", "orange"})
        media.stills.push_back(
            made(at + color + ".png",
                 {"-f", "lavfi", "-i", std::string("color=") + color + ":size=320x180:duration=1",
                  "-frames:v", "1"}));
    media.damaged = halfOf(media.clips[0], at + "damaged.mp4");
    media.missing = at + "missing";
    media.lottie = at + "lowerthird.json";
    files::copy_file(QUOLSDK_SOAK_EXAMPLES "/lowerthird.json", media.lottie,
                     files::copy_options::overwrite_existing);
    media.noLottie = written(at + "broken.json", "{\"v\":\"5.7.0\",\"layers\":[");
    media.titles = QUOLSDK_SOAK_EXAMPLES "/titles.xml";
    return media;
}

} // namespace soak
