// Frames as NumPy arrays.
#include <algorithm>
#include <array>
#include <cstring>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
#include <libavutil/samplefmt.h>
}

#include "Bind.h"
#include "Frame.h"
#include "quolsdk/LFrame.h"

namespace quolpy {

namespace {

using Bytes = py::array_t<std::uint8_t, py::array::c_style | py::array::forcecast>;
using Samples = py::array_t<std::int16_t, py::array::c_style | py::array::forcecast>;

constexpr int largestSide = 32767;
constexpr py::ssize_t longestBlock = 1'000'000;

// Nobody writes to a frame that others have too.
py::array readOnly(py::array array) {
    array.attr("flags").attr("writeable") = false;
    return array;
}

// How one plane lies in memory, by what FFmpeg knows of the format.
struct PlaneShape {
    py::dtype type = py::dtype::of<std::uint8_t>();
    std::vector<py::ssize_t> shape;
    std::vector<py::ssize_t> strides;
};

py::dtype sampleType(const AVPixFmtDescriptor& format, int bytes) {
    if (bytes == 1) return py::dtype::of<std::uint8_t>();
    const std::string order = (format.flags & AV_PIX_FMT_FLAG_BE) != 0 ? ">" : "<";
    const bool isFloat = (format.flags & AV_PIX_FMT_FLAG_FLOAT) != 0;
    return py::dtype(order + (isFloat ? "f" : "u") + std::to_string(bytes));
}

PlaneShape shapeOf(const AVFrame& frame, const AVPixFmtDescriptor& format, int plane) {
    int smallestStep = 0;
    int largestStep = 0;
    int bytes = 1;
    for (int i = 0; i < format.nb_components; ++i) {
        const AVComponentDescriptor& component = format.comp[i];
        if (component.plane != plane) continue;
        smallestStep = smallestStep == 0 ? component.step : std::min(smallestStep, component.step);
        largestStep = std::max(largestStep, component.step);
        bytes = (component.depth + 7) / 8;
    }
    if (bytes == 3) bytes = 4;
    const bool isChroma = plane == 1 || plane == 2;
    const int width = isChroma ? AV_CEIL_RSHIFT(frame.width, format.log2_chroma_w) : frame.width;
    const int height = isChroma ? AV_CEIL_RSHIFT(frame.height, format.log2_chroma_h) : frame.height;
    // Where components come at different distances, as in 4:2:2, several pixels make a unit.
    const int units = smallestStep == largestStep
                          ? width
                          : AV_CEIL_RSHIFT(width, static_cast<int>(format.log2_chroma_w));
    PlaneShape result;
    result.type = sampleType(format, bytes);
    result.shape = {height, units};
    result.strides = {frame.linesize[plane], largestStep};
    if (largestStep > bytes) {
        result.shape.push_back(largestStep / bytes);
        result.strides.push_back(bytes);
    }
    return result;
}

const AVPixFmtDescriptor& formatOf(const AVFrame& frame) {
    const AVPixFmtDescriptor* format =
        av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    if (format == nullptr ||
        (format->flags & (AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_BITSTREAM)) != 0)
        throw std::invalid_argument("pixels of this format are not whole bytes in memory");
    return *format;
}

py::array planeOf(const py::object& self, const AVFrame& frame, const AVPixFmtDescriptor& format,
                  int plane) {
    PlaneShape shape = shapeOf(frame, format, plane);
    return readOnly(py::array(shape.type, std::move(shape.shape), std::move(shape.strides),
                              frame.data[plane], self));
}

void wantPicture(const Frame& frame) {
    if (!frame.isPicture()) throw std::invalid_argument("the frame is no picture");
}

void wantSound(const Frame& frame) {
    if (!frame.isSound()) throw std::invalid_argument("the frame is no sound");
}

py::tuple planes(const py::object& self) {
    const Frame& frame = self.cast<const Frame&>();
    wantPicture(frame);
    const AVPixFmtDescriptor& format = formatOf(*frame.get());
    const int count = av_pix_fmt_count_planes(static_cast<AVPixelFormat>(frame.get()->format));
    py::list list;
    for (int i = 0; i < count; ++i)
        list.append(planeOf(self, *frame.get(), format, i));
    return py::tuple(list);
}

py::array rgba(const py::object& self) {
    const Frame& frame = self.cast<const Frame&>();
    wantPicture(frame);
    if (frame.get()->format == AV_PIX_FMT_RGBA)
        return planeOf(self, *frame.get(), formatOf(*frame.get()), 0);
    LFrame::Video video;
    {
        const quol::FramePtr clone = pictureOf(frame);
        const Unlocked unlocked;
        LFrame tap;
        tap.pushVideoFrame(clone.get());
        video = tap.getVideo();
    }
    if (video.rgba.empty()) throw std::invalid_argument("the picture cannot be converted");
    return bytesToArray(std::move(video.rgba), py::dtype::of<std::uint8_t>(),
                        {video.height, video.width, 4});
}

py::array samples(const py::object& self) {
    const Frame& frame = self.cast<const Frame&>();
    wantSound(frame);
    AVFrame& sound = *frame.get();
    if (sound.format == AV_SAMPLE_FMT_S16 && sound.ch_layout.nb_channels == 2) {
        return readOnly(py::array(py::dtype::of<std::int16_t>(),
                                  std::vector<py::ssize_t>{sound.nb_samples, 2},
                                  std::vector<py::ssize_t>{4, 2}, sound.data[0], self));
    }
    LFrame::Audio audio;
    {
        const quol::FramePtr clone = soundOf(frame);
        const Unlocked unlocked;
        LFrame tap;
        tap.pushAudioFrame(clone.get());
        audio = tap.getAudio();
    }
    if (audio.audio.empty()) throw std::invalid_argument("the sound cannot be converted");
    return bytesToArray(std::move(audio.audio), py::dtype::of<std::int16_t>(), {audio.samples, 2});
}

quol::FramePtr newFrame() {
    quol::FramePtr frame(av_frame_alloc());
    if (!frame) throw std::bad_alloc();
    return frame;
}

quol::FramePtr newPicture(py::ssize_t width, py::ssize_t height, AVPixelFormat format) {
    if (width < 1 || height < 1 || width > largestSide || height > largestSide)
        throw std::invalid_argument("no size of a picture");
    quol::FramePtr frame = newFrame();
    frame->width = static_cast<int>(width);
    frame->height = static_cast<int>(height);
    frame->format = format;
    if (av_frame_get_buffer(frame.get(), 32) < 0) throw std::bad_alloc();
    return frame;
}

void copyRows(AVFrame& frame, int plane, const Bytes& array) {
    const auto bytes = static_cast<std::size_t>(array.size() / array.shape(0));
    for (py::ssize_t row = 0; row < array.shape(0); ++row)
        std::memcpy(frame.data[plane] + row * frame.linesize[plane],
                    array.data() + static_cast<std::size_t>(row) * bytes, bytes);
}

Bytes wantBytes(const py::array& array, py::ssize_t dimensions, const char* text) {
    if (!array.dtype().equal(py::dtype::of<std::uint8_t>()) || array.ndim() != dimensions)
        throw std::invalid_argument(text);
    return Bytes(array);
}

std::shared_ptr<Frame> fromRgba(const py::array& array) {
    const Bytes pixels = wantBytes(array, 3, "not an array of uint8, height x width x 4");
    if (pixels.shape(2) != 4)
        throw std::invalid_argument("not an array of uint8, height x width x 4");
    quol::FramePtr frame = newPicture(pixels.shape(1), pixels.shape(0), AV_PIX_FMT_RGBA);
    copyRows(*frame, 0, pixels);
    return wrapFrame(std::move(frame));
}

AVPixelFormat planarFormat(const Bytes& luma, const Bytes& chroma) {
    const py::ssize_t width = luma.shape(1);
    const py::ssize_t height = luma.shape(0);
    const bool isHalfWide = chroma.shape(1) == (width + 1) / 2;
    if (chroma.shape(1) == width && chroma.shape(0) == height) return AV_PIX_FMT_YUV444P;
    if (isHalfWide && chroma.shape(0) == height) return AV_PIX_FMT_YUV422P;
    if (isHalfWide && chroma.shape(0) == (height + 1) / 2) return AV_PIX_FMT_YUV420P;
    throw std::invalid_argument("chroma is neither 4:4:4, 4:2:2 nor 4:2:0 of the luma");
}

std::shared_ptr<Frame> fromYuv(const py::array& y, const py::array& u, const py::array& v) {
    const char* text = "not three arrays of uint8, height x width";
    const std::array<Bytes, 3> arrays{wantBytes(y, 2, text), wantBytes(u, 2, text),
                                      wantBytes(v, 2, text)};
    if (arrays[1].shape(0) != arrays[2].shape(0) || arrays[1].shape(1) != arrays[2].shape(1))
        throw std::invalid_argument("the chroma planes differ in size");
    quol::FramePtr frame =
        newPicture(arrays[0].shape(1), arrays[0].shape(0), planarFormat(arrays[0], arrays[1]));
    for (int plane = 0; plane < 3; ++plane)
        copyRows(*frame, plane, arrays[static_cast<std::size_t>(plane)]);
    return wrapFrame(std::move(frame));
}

std::shared_ptr<Frame> fromSound(const py::array& array, int sampleRate) {
    if (!array.dtype().equal(py::dtype::of<std::int16_t>()) || array.ndim() != 2 ||
        array.shape(1) != 2 || array.shape(0) < 1 || array.shape(0) > longestBlock)
        throw std::invalid_argument("not an array of int16, samples x 2");
    if (sampleRate < 1 || sampleRate > 768000) throw std::invalid_argument("no sample rate");
    const Samples sound(array);
    quol::FramePtr frame = newFrame();
    frame->format = AV_SAMPLE_FMT_S16;
    frame->nb_samples = static_cast<int>(sound.shape(0));
    frame->sample_rate = sampleRate;
    av_channel_layout_default(&frame->ch_layout, 2);
    if (av_frame_get_buffer(frame.get(), 0) < 0) throw std::bad_alloc();
    std::memcpy(frame->data[0], sound.data(), static_cast<std::size_t>(sound.nbytes()));
    return wrapFrame(std::move(frame));
}

std::string formatName(const Frame& frame) {
    const int format = frame.get()->format;
    const char* name = frame.isSound() ? av_get_sample_fmt_name(static_cast<AVSampleFormat>(format))
                                       : av_get_pix_fmt_name(static_cast<AVPixelFormat>(format));
    return name != nullptr ? name : "";
}

std::optional<std::int64_t> getPts(const Frame& frame) {
    if (frame.get()->pts == AV_NOPTS_VALUE) return std::nullopt;
    return frame.get()->pts;
}

void setPts(Frame& frame, std::optional<std::int64_t> pts) {
    frame.get()->pts = pts.value_or(AV_NOPTS_VALUE);
}

void setTimeBase(Frame& frame, std::pair<int, int> base) {
    if (base.first < 0 || base.second < 1) throw std::invalid_argument("no time base");
    frame.get()->time_base = {base.first, base.second};
}

std::map<Text, Text> metadata(const Frame& frame) {
    std::map<Text, Text> entries;
    const AVDictionaryEntry* entry = nullptr;
    while ((entry = av_dict_get(frame.get()->metadata, "", entry, AV_DICT_IGNORE_SUFFIX)) !=
           nullptr)
        entries[Text(entry->key)] = Text(entry->value);
    return entries;
}

std::optional<Text> getTimecode(const Frame& frame) {
    const AVDictionaryEntry* entry = av_dict_get(frame.get()->metadata, "timecode", nullptr, 0);
    if (entry == nullptr) return std::nullopt;
    return Text(entry->value);
}

void setTimecode(Frame& frame, const std::optional<std::string>& timecode) {
    av_dict_set(&frame.get()->metadata, "timecode", timecode ? timecode->c_str() : nullptr, 0);
}

std::string describe(const Frame& frame) {
    const AVFrame& f = *frame.get();
    if (frame.isSound()) {
        return "<Frame " + std::to_string(f.nb_samples) + " samples at " +
               std::to_string(f.sample_rate) + " Hz, " + formatName(frame) + ">";
    }
    return "<Frame " + std::to_string(f.width) + "x" + std::to_string(f.height) + " " +
           formatName(frame) + ">";
}

} // namespace

void bindFrames(py::module_& module) {
    Class<Frame>(module, "Frame",
                 "A picture or a block of sound. Its data are shared with everybody who has the "
                 "same frame: arrays of them are read only, and keep it alive.")
        .def_static("fromRgba", &fromRgba, py::arg("pixels"),
                    "A picture of an array of uint8, height x width x 4; a copy.")
        .def_static("fromYuv", &fromYuv, py::arg("y"), py::arg("u"), py::arg("v"),
                    "A picture of three planes of uint8, 4:2:0, 4:2:2 or 4:4:4 by their sizes; a "
                    "copy.")
        .def_static("fromSound", &fromSound, py::arg("samples"), py::arg("sampleRate") = 48000,
                    "Sound of an array of int16, samples x 2; a copy.")
        .def_property_readonly("isPicture", &Frame::isPicture, "Whether it is a picture.")
        .def_property_readonly("isSound", &Frame::isSound, "Whether it is sound.")
        .def_property_readonly(
            "width", [](const Frame& f) { return f.get()->width; }, "Pixels.")
        .def_property_readonly(
            "height", [](const Frame& f) { return f.get()->height; }, "Pixels.")
        .def_property_readonly("format", &formatName, "FFmpeg's name of the format, \"yuv420p\".")
        .def_property_readonly(
            "sampleRate", [](const Frame& f) { return f.get()->sample_rate; },
            "Hz; 0 of a picture.")
        .def_property_readonly(
            "channels", [](const Frame& f) { return f.get()->ch_layout.nb_channels; },
            "Channels of the sound.")
        .def_property("pts", &getPts, &setPts, "Time stamp in units of timeBase; None for none.")
        .def_property(
            "timeBase",
            [](const Frame& f) {
                return std::make_pair(f.get()->time_base.num, f.get()->time_base.den);
            },
            &setTimeBase, "Numerator and denominator; (0, 1) for none.")
        .def_property("timecode", &getTimecode, &setTimecode, "Time code text; None for none.")
        .def_property_readonly("metadata", &metadata, "All texts that go with it, a copy.")
        .def_property_readonly("planes", &planes,
                               "The planes as they lie in memory, without a copy: three arrays of "
                               "planar YUV, one of height x width x 4 of RGBA.")
        .def_property_readonly("rgba", &rgba,
                               "Height x width x 4, uint8: without a copy of an RGBA picture, else "
                               "converted.")
        .def_property_readonly(
            "samples", &samples,
            "Samples x 2, int16: without a copy of 16-bit stereo, else converted.")
        .def(
            "writePng",
            [](const py::object& self, const Path& path) {
                writePngFile(path.string(), rgba(self));
            },
            py::arg("path"), "Writes the picture, without its alpha, to a PNG file.")
        .def("__repr__", &describe);
    module.def(
        "writePng",
        [](const Path& path, const py::array& pixels) { writePngFile(path.string(), pixels); },
        py::arg("path"), py::arg("pixels"),
        "Writes an array of uint8, height x width x 3 or 4, to a PNG file, without alpha.");
}

} // namespace quolpy
