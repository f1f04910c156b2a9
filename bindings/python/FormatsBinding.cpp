// The format records, and the tables behind their modes.
#include "Bind.h"
#include "quolsdk/LFile.h"

namespace quolpy {

namespace {

constexpr std::uint32_t firstTableMode = 2;
constexpr std::uint32_t lastVideoMode = 38;
constexpr std::uint32_t lastAudioMode = 37;

// Every player expands a format by its mode.
videoFormatProps expandVideo(const videoFormatProps& format) {
    LFile file;
    file.setVideoFormat(format);
    videoFormatProps expanded;
    file.getVideoFormat(expanded);
    return expanded;
}

audioFormatProps expandAudio(const audioFormatProps& format) {
    LFile file;
    file.setAudioFormat(format);
    audioFormatProps expanded;
    file.getAudioFormat(expanded);
    return expanded;
}

std::vector<videoFormatProps> videoModes() {
    std::vector<videoFormatProps> rows;
    for (std::uint32_t mode = firstTableMode; mode <= lastVideoMode; ++mode)
        rows.push_back(expandVideo({.mode = mode}));
    return rows;
}

std::vector<audioFormatProps> audioModes() {
    std::vector<audioFormatProps> rows;
    for (std::uint32_t mode = firstTableMode; mode <= lastAudioMode; ++mode)
        rows.push_back(expandAudio({.mode = mode}));
    return rows;
}

void bindVideoRecord(py::module_& module) {
    py::class_<videoFormatProps>(module, "videoFormatProps",
                                 "Picture format: a row of the mode table (2 to 38), 0 for the "
                                 "fields as given, 1 for the source's own.")
        .def(py::init([](std::uint32_t mode, std::int32_t width, std::int32_t height, double fps,
                         std::int32_t pixelFormat) {
                 return videoFormatProps{mode, width, height, fps, pixelFormat};
             }),
             py::arg("mode") = 0, py::arg("width") = 0, py::arg("height") = 0, py::arg("fps") = 0.0,
             py::arg("pixelFormat") = 0)
        .def_readwrite("mode", &videoFormatProps::mode, "Row of the video mode table.")
        .def_readwrite("width", &videoFormatProps::width, "Pixels.")
        .def_readwrite("height", &videoFormatProps::height, "Pixels.")
        .def_readwrite("fps", &videoFormatProps::fps, "Frames a second.")
        .def_readwrite("pixelFormat", &videoFormatProps::pixelFormat,
                       "Row of the pixel format table; 0 leaves the format untouched.")
        .def(
            "__eq__",
            [](const videoFormatProps& a, const videoFormatProps& b) {
                return a.mode == b.mode && a.width == b.width && a.height == b.height &&
                       a.fps == b.fps && a.pixelFormat == b.pixelFormat;
            },
            py::is_operator(), py::arg("other"))
        .def("__repr__", [](const videoFormatProps& f) {
            return py::str("videoFormatProps(mode={}, width={}, height={}, fps={}, pixelFormat={})")
                .format(f.mode, f.width, f.height, f.fps, f.pixelFormat);
        });
}

void bindAudioRecord(py::module_& module) {
    py::class_<audioFormatProps>(module, "audioFormatProps",
                                 "Sound format: a row of the mode table (2 to 37), 0 and 1 for the "
                                 "fields as given.")
        .def(py::init([](std::uint32_t mode, std::int32_t bitsPerSample, std::int32_t sampleRate,
                         std::int32_t channels) {
                 return audioFormatProps{mode, bitsPerSample, sampleRate, channels};
             }),
             py::arg("mode") = 0, py::arg("bitsPerSample") = 0, py::arg("sampleRate") = 0,
             py::arg("channels") = 0)
        .def_readwrite("mode", &audioFormatProps::mode, "Row of the audio mode table.")
        .def_readwrite("bitsPerSample", &audioFormatProps::bitsPerSample,
                       "16, 24, or -32 for floating point.")
        .def_readwrite("sampleRate", &audioFormatProps::sampleRate, "Hz.")
        .def_readwrite("channels", &audioFormatProps::channels, "Channel count.")
        .def(
            "__eq__",
            [](const audioFormatProps& a, const audioFormatProps& b) {
                return a.mode == b.mode && a.bitsPerSample == b.bitsPerSample &&
                       a.sampleRate == b.sampleRate && a.channels == b.channels;
            },
            py::is_operator(), py::arg("other"))
        .def("__repr__", [](const audioFormatProps& f) {
            return py::str(
                       "audioFormatProps(mode={}, bitsPerSample={}, sampleRate={}, channels={})")
                .format(f.mode, f.bitsPerSample, f.sampleRate, f.channels);
        });
}

} // namespace

void bindFormats(py::module_& module) {
    bindVideoRecord(module);
    bindAudioRecord(module);
    module.def("expandVideoFormat", &expandVideo, py::arg("format"),
               "The record with what its mode says.");
    module.def("expandAudioFormat", &expandAudio, py::arg("format"),
               "The record with what its mode says.");
    module.def("videoModes", &videoModes, "The rows of the video mode table, 2 to 38.");
    module.def("audioModes", &audioModes, "The rows of the audio mode table, 2 to 37.");
}

} // namespace quolpy
