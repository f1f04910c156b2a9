// A host in C++ on the flat C interface, which keeps it independent of the classes' binary
// interface: a clip in the corner of a coloured picture, recorded for two seconds; then a reader
// tells what the recording is.
//
//     cpp_host CLIP RECORDING.mp4
//
// Exit status: 0 done, 1 something cannot be played or recorded (the text says what), 2 wrong use.
#include <quolsdk/quolsdk_c_api.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <thread>

#include "usage.h"

namespace {

// The object of a family, from construction to destruction. Declare sinks behind what they show, so
// that they end first.
template <quolsdk_handle (*create)(), void (*destroy)(quolsdk_handle)>
class Object {
public:
    Object() : handle_(create()) {}
    ~Object() { destroy(handle_); }
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    // Goes wherever the C functions take a handle.
    operator quolsdk_handle() const { return handle_; } // NOLINT(google-explicit-constructor)

private:
    const quolsdk_handle handle_;
};

using Signal = Object<quolsdk_signal_create, quolsdk_signal_destroy>;
using File = Object<quolsdk_file_create, quolsdk_file_destroy>;
using Mixer = Object<quolsdk_mixer_create, quolsdk_mixer_destroy>;
using Recorder = Object<quolsdk_recorder_create, quolsdk_recorder_destroy>;
using Reader = Object<quolsdk_reader_create, quolsdk_reader_destroy>;

constexpr double secondsWanted = 2.0;
constexpr quolsdk_video_format canvas = {0, 640, 360, 25.0, 1};

template <typename Family>
bool runs(const Family& object, void (*statusGet)(quolsdk_handle, int*)) {
    int status = 0;
    statusGet(object, &status);
    return status != 0;
}

void place(const Mixer& mixer, const char* layer, float x, float y, float width, float height) {
    quolsdk_mixer_set_layer_pos(mixer, layer, x, y);
    quolsdk_mixer_set_layer_size(mixer, layer, width, height);
}

bool record(const char* clip, const char* path) {
    const Signal signal;
    const File file;
    const Mixer mixer;
    const Recorder recorder;

    quolsdk_signal_set_color(signal, "#204080");
    quolsdk_signal_start(signal);
    quolsdk_file_name_set(file, clip);
    quolsdk_file_set_props(file, "loop", "true");
    quolsdk_mixer_set_video_format(mixer, &canvas);
    quolsdk_mixer_add_layer(mixer, "ground", signal);
    place(mixer, "ground", 0, 0, 640, 360);
    quolsdk_mixer_add_layer(mixer, "clip", file);
    place(mixer, "clip", 360, 40, 240, 135);
    quolsdk_mixer_set_layer_z_index(mixer, "clip", 1);
    quolsdk_mixer_set_layer_audio(mixer, "clip", 1, 100);
    quolsdk_file_play(file);
    if (!runs(file, quolsdk_file_status_get)) {
        std::printf("cannot play %s\n", clip);
        return false;
    }

    quolsdk_recorder_set_source(recorder, mixer);
    quolsdk_recorder_file_name_set(recorder, path);
    quolsdk_recorder_custom_set(recorder, "preset=ultrafast");
    quolsdk_recorder_set_video_format(recorder, &canvas);
    quolsdk_recorder_start(recorder);
    if (!runs(recorder, quolsdk_recorder_status_get)) {
        std::printf("cannot record %s\n", path);
        return false;
    }
    double seconds = 0.0;
    int pictures = 0;
    while (runs(recorder, quolsdk_recorder_status_get) && seconds < secondsWanted) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        quolsdk_recorder_get_stats(recorder, nullptr, &seconds, nullptr, nullptr, nullptr, 0);
    }
    quolsdk_recorder_stop(recorder);
    quolsdk_recorder_get_stats(recorder, nullptr, nullptr, &pictures, nullptr, nullptr, 0);
    std::printf("recorded %d pictures\n", pictures);
    return true;
}

bool tell(const char* path) {
    const Reader reader;
    if (quolsdk_reader_open(reader, path) == 0) {
        std::printf("cannot read %s\n", path);
        return false;
    }
    std::array<char, 32> codec{};
    quolsdk_reader_video_codec_get(reader, codec.data(), codec.size());
    std::printf("%s: %dx%d %s, %g a second, %.1f s, %d channels\n", path,
                static_cast<int>(quolsdk_reader_width_get(reader)),
                static_cast<int>(quolsdk_reader_height_get(reader)), codec.data(),
                quolsdk_reader_fps_get(reader), quolsdk_reader_duration_get(reader) / 1000.0,
                static_cast<int>(quolsdk_reader_audio_channels_get(reader)));
    return true;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3)
        return tell_usage(argc, argv, "CLIP RECORDING.mp4",
                          "record a clip in a coloured picture, through the C interface from C++");
    std::printf("libquolsdk %s\n", quolsdk_get_version());
    return record(argv[1], argv[2]) && tell(argv[2]) ? 0 : 1;
}
