// One frame of the library, as Python holds it.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "quolsdk/FrameHandle.h"

namespace quolpy {

namespace py = pybind11;

// A picture or a block of sound: a reference of its own. The data are shared with everybody who has
// the same frame, so they are read only.
class Frame {
public:
    explicit Frame(quol::FramePtr frame) : frame(std::move(frame)) {}

    AVFrame* get() const { return frame.get(); }
    // A reference that nothing done to this object changes: for a push without the interpreter
    // lock.
    quol::FramePtr clone() const { return quol::cloneFrame(frame.get()); }

    bool isPicture() const;
    bool isSound() const;

private:
    quol::FramePtr frame;
};

// Null for null.
std::shared_ptr<Frame> wrapFrame(quol::FramePtr frame);

// The picture for a push.
// Raises ValueError for a block of sound, and the other way round.
quol::FramePtr pictureOf(const Frame& frame);
quol::FramePtr soundOf(const Frame& frame);

// Bytes that move into an array, which then owns them. `shape` in elements of T.
py::array bytesToArray(std::vector<std::uint8_t> bytes, const py::dtype& type,
                       std::vector<py::ssize_t> shape);

void writePngFile(const std::string& path, const py::array& pixels);

} // namespace quolpy
