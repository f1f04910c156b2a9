// Lottie templates.
#include "Bind.h"
#include "quolsdk/LAnimation.h"

namespace quolpy {

void bindAnimation(py::module_& module) {
    Class<LAnimation, LObject> animation(module, "LAnimation",
                                         "Lottie templates as a source with alpha.");
    animation.def(py::init([] { return make<LAnimation>(); }))
        .def(
            "loadTemplate",
            [](LAnimation& self, int id, const Path& path) {
                return self.loadTemplate(id, path.string());
            },
            outside(), py::arg("id"), py::arg("path"),
            "Loads a file into a layer and plays it. False when it cannot be read.")
        .def("update", &LAnimation::update, outside(), py::arg("id"), py::arg("layerName"),
             py::arg("text"), "Sets the text of the first text layer of that name.")
        .def("updateColor", &LAnimation::updateColor, outside(), py::arg("id"),
             py::arg("layerName"), py::arg("color"), py::arg("color2") = "", py::arg("param") = "",
             "Sets a colour, \"#RRGGBB\"; with color2 a gradient. ValueError for no digits.")
        .def(
            "updateImage",
            [](LAnimation& self, int id, const std::string& name, const Path& path) {
                self.updateImage(id, name, path.string());
            },
            outside(), py::arg("id"), py::arg("name"), py::arg("imagePath"),
            "Puts another image file in the place of an image.")
        .def("addMarker", &LAnimation::addMarker, outside(), py::arg("id"), py::arg("name"),
             py::arg("frame"), "Sets a marker, \"IN\", \"LOOP\", \"STOP\" or \"OUT\".")
        .def("play", &LAnimation::play, outside(), py::arg("id"), "Goes on from where it is.")
        .def("stop", &LAnimation::stop, outside(), py::arg("id"),
             "Leaves through OUT, or plays to the end.")
        .def("close", &LAnimation::close, outside(), py::arg("id"),
             "Leaves through OUT; without one it is gone at once.");
    bindVideoFormat<outside>(animation);
}

} // namespace quolpy
