// The converter.
#include "Bind.h"
#include "quolsdk/LConvert.h"

namespace quolpy {

template <>
void letGoOf(LConvert& convert) {
    convert.Stop();
}

void bindConvert(py::module_& module) {
    Class<LConvert> convert(module, "LConvert", "Media files, joined, into one new file.");
    convert.def(py::init([] { return make<LConvert>(); }))
        .def(
            "setFilePath", [](LConvert& self, const Path& p) { self.setFilePath(p.string()); },
            unlocked(), py::arg("path"), "The file to write.")
        .def(
            "addInputFile", [](LConvert& self, const Path& p) { self.addInputFile(p.string()); },
            unlocked(), py::arg("path"), "Behind those there.")
        .def(
            "removeInputFile",
            [](LConvert& self, const Path& p) { self.removeInputFile(p.string()); }, unlocked(),
            py::arg("path"), "All of that name.")
        .def("clearInputFiles", &LConvert::clearInputFiles, unlocked(), "None is left.")
        .def("Start", &LConvert::Start, outside(), "Starts; does not wait.")
        .def("Stop", &LConvert::Stop, outside(), "Ends the conversion where it is.")
        .def_property_readonly(
            "progress", [](const LConvert& self) { return self.progress.load(); },
            "How far it is, 0.0 to 1.0.");
    bindStatus(convert, "0 idle or finished, 1 converting, -1 the output failed to open.");
    bindCodecs(convert);
    bindEncoders(convert);
    bindVideoFormat(convert);
    bindAudioFormat(convert);
    bindProps(convert, "Sets a property; a key that is none is ignored.");
}

} // namespace quolpy
