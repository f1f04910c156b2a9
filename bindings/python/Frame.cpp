#include "Frame.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
}

#include "../../examples/PngWriter.h"
#include "Gate.h"

namespace quolpy {

bool Frame::isPicture() const {
    return frame->width > 0 && frame->height > 0 && frame->data[0] != nullptr;
}

bool Frame::isSound() const {
    return frame->nb_samples > 0 && frame->sample_rate > 0 && frame->data[0] != nullptr;
}

std::shared_ptr<Frame> wrapFrame(quol::FramePtr frame) {
    return frame ? std::make_shared<Frame>(std::move(frame)) : nullptr;
}

quol::FramePtr pictureOf(const Frame& frame) {
    if (!frame.isPicture()) throw std::invalid_argument("the frame is no picture");
    quol::FramePtr clone = frame.clone();
    if (!clone) throw std::bad_alloc();
    return clone;
}

quol::FramePtr soundOf(const Frame& frame) {
    if (!frame.isSound()) throw std::invalid_argument("the frame is no sound");
    quol::FramePtr clone = frame.clone();
    if (!clone) throw std::bad_alloc();
    return clone;
}

py::array bytesToArray(std::vector<std::uint8_t> bytes, const py::dtype& type,
                       std::vector<py::ssize_t> shape) {
    auto owned = std::make_unique<std::vector<std::uint8_t>>(std::move(bytes));
    const void* data = owned->data();
    const py::capsule owner(
        owned.get(), [](void* memory) { delete static_cast<std::vector<std::uint8_t>*>(memory); });
    owned.release();
    return py::array(type, std::move(shape), data, owner);
}

void writePngFile(const std::string& path, const py::array& pixels) {
    const bool isPixels =
        pixels.ndim() == 3 && pixels.dtype().equal(py::dtype::of<std::uint8_t>()) &&
        (pixels.shape(2) == 3 || pixels.shape(2) == 4) && pixels.shape(0) > 0 &&
        pixels.shape(1) > 0 && pixels.shape(0) <= 32767 && pixels.shape(1) <= 32767;
    if (!isPixels) throw std::invalid_argument("not an array of uint8, height x width x 3 or 4");
    const auto view = pixels.unchecked<std::uint8_t, 3>();
    std::vector<std::uint8_t> rgb;
    rgb.reserve(static_cast<std::size_t>(view.shape(0) * view.shape(1) * 3));
    for (py::ssize_t y = 0; y < view.shape(0); ++y) {
        for (py::ssize_t x = 0; x < view.shape(1); ++x) {
            for (py::ssize_t c = 0; c < 3; ++c)
                rgb.push_back(view(y, x, c));
        }
    }
    const int width = static_cast<int>(view.shape(1));
    const int height = static_cast<int>(view.shape(0));
    bool written = false;
    {
        const Unlocked release;
        written = writePng(path, width, height, rgb);
    }
    if (!written) throw std::runtime_error("cannot write " + path);
}

} // namespace quolpy
