// A clip with alpha in memory.
#include "Bind.h"
#include "Frame.h"
#include "quolsdk/LStinger.h"

namespace quolpy {

template <>
void letGoOf(LStinger& stinger) {
    stinger.cancelLoad();
    stinger.stop();
}

void bindStinger(py::module_& module) {
    Class<LStinger, LObject>(module, "LStinger", "A short clip with alpha, held in memory.")
        .def(py::init([] { return make<LStinger>(); }))
        .def(
            "load",
            [](LStinger& self, const Path& path, int width, int height, double fps) {
                return self.load(path.string(), width, height, fps);
            },
            outside(), py::arg("path"), py::arg("width"), py::arg("height"), py::arg("fps"),
            "Decodes the clip in that size. False when there is no picture.")
        .def("cancelLoad", &LStinger::cancelLoad, unlocked(),
             "Ends a load, and every later one, until allowLoad.")
        .def("allowLoad", &LStinger::allowLoad, unlocked(), "Takes cancelLoad back.")
        .def("clear", &LStinger::clear, unlocked(), "Frees the clip.")
        .def("playOnce", &LStinger::playOnce, unlocked(), "Plays it from its first picture.")
        .def("stop", &LStinger::stop, unlocked(), "Ends the playback.")
        .def(
            "getFrameByProgress",
            [](LStinger& self, double progress) {
                return wrapFrame(quol::FramePtr(self.getFrameByProgress(progress)));
            },
            unlocked(), py::arg("progress"), "The picture at a progress, 0 to 1; None without one.")
        .def("isLoaded", &LStinger::isLoaded, unlocked(), "Whether there is a clip.")
        .def("isPlaying", &LStinger::isPlaying, unlocked(), "Whether it plays.")
        .def("getFrameCount", &LStinger::getFrameCount, unlocked(), "Pictures of the clip.")
        .def("getPlaybackRate", &LStinger::getPlaybackRate, unlocked(), "Pictures a second.")
        .def("setPlaybackRate", &LStinger::setPlaybackRate, unlocked(), py::arg("rate"),
             "Counts from the next playOnce.");
}

} // namespace quolpy
