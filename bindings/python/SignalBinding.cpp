// The signal generator.
#include "Bind.h"
#include "Frame.h"
#include "quolsdk/LSignal.h"

namespace quolpy {

template <>
void letGoOf(LSignal& signal) {
    signal.Stop();
}

void bindSignal(py::module_& module) {
    Class<LSignal, LObject> signal(module, "LSignal",
                                   "A source of one constant picture: a colour or a still image.");
    signal.def(py::init([] { return make<LSignal>(); }))
        .def("setColor", &LSignal::setColor, unlocked(), py::arg("color"),
             "Shows a colour, \"#RRGGBB\".")
        .def(
            "setImage", [](LSignal& self, const Path& path) { self.setImage(path.string()); },
            unlocked(), py::arg("path"), "Shows a still image; an empty path the colour again.")
        .def("Start", &LSignal::Start, outside(), "Starts; true also when it runs already.")
        .def("Stop", &LSignal::Stop, outside(), "Stops.")
        .def(
            "createFrame",
            [](LSignal& self) { return wrapFrame(quol::FramePtr(self.createFrame())); }, unlocked(),
            "The picture as it stands; None when the format has no size.");
    bindVideoFormat(signal);
}

} // namespace quolpy
