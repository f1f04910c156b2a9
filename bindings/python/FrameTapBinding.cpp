// The frame tap.
#include "Bind.h"
#include "Frame.h"
#include "quolsdk/LFrame.h"

namespace quolpy {

template <>
void letGoOf(LFrame& tap) {
    tap.readerObject(nullptr);
}

namespace {

struct TapVideo {
    std::int32_t width;
    std::int32_t height;
    std::int32_t stride;
    Text timecode;
    py::array rgba;
};

struct TapAudio {
    std::int32_t channels;
    std::int32_t sampleRate;
    std::int32_t samples;
    py::array audio;
};

TapVideo getVideo(LFrame& tap) {
    LFrame::Video video;
    {
        const Unlocked unlocked;
        video = tap.getVideo();
    }
    return {video.width, video.height, video.stride, Text(video.timecode),
            bytesToArray(std::move(video.rgba), py::dtype::of<std::uint8_t>(),
                         {video.height, video.width, 4})};
}

TapAudio getAudio(LFrame& tap) {
    LFrame::Audio audio;
    {
        const Unlocked unlocked;
        audio = tap.getAudio();
    }
    return {
        audio.channels, audio.sampleRate, audio.samples,
        bytesToArray(std::move(audio.audio), py::dtype::of<std::int16_t>(), {audio.samples, 2})};
}

} // namespace

void bindFrameTap(py::module_& module) {
    Class<LFrame, LSink> tap(module, "LFrame",
                             "The frame tap: keeps the latest picture and the latest block of "
                             "sound of a source.");
    py::class_<TapVideo>(tap, "Video", "A picture and what belongs to it; yours to change.")
        .def_readonly("width", &TapVideo::width, "Pixels; 0 until the first picture.")
        .def_readonly("height", &TapVideo::height, "Pixels.")
        .def_readonly("stride", &TapVideo::stride, "Bytes a row, width * 4.")
        .def_property_readonly(
            "timecode", [](const TapVideo& v) { return v.timecode; },
            "From the latest picture that carried one.")
        .def_property_readonly(
            "rgba", [](const TapVideo& v) { return v.rgba; }, "Height x width x 4, uint8.");
    py::class_<TapAudio>(tap, "Audio", "A block of sound; yours to change.")
        .def_readonly("channels", &TapAudio::channels, "2 once sound has arrived.")
        .def_readonly("sampleRate", &TapAudio::sampleRate, "Hz.")
        .def_readonly("samples", &TapAudio::samples, "Samples a channel.")
        .def_property_readonly(
            "audio", [](const TapAudio& a) { return a.audio; }, "Samples x 2, int16.");
    tap.def(py::init([] { return make<LFrame>(); }))
        .def(
            "readerObject",
            [](LFrame& self, const Source& source) {
                connect(self, "source", source, [&] { self.readerObject(source.get()); });
            },
            outside(), py::arg("source"), "Looks at this source from now on; None only leaves.")
        .def("getVideo", &getVideo, "The latest picture; never waits for one.")
        .def("getAudio", &getAudio, "The latest block of sound; never waits for one.");
}

} // namespace quolpy
