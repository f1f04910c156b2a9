// The preview in a window of the host.
#include "Bind.h"
#include "quolsdk/LPreview.h"

namespace quolpy {

template <>
void letGoOf(LPreview& preview) {
    preview.previewObject(nullptr);
}

void bindPreview(py::module_& module) {
    Class<LPreview> preview(module, "LPreview", "Shows one source in a window of the host.");
    preview.def(py::init([] { return make<LPreview>(); }))
        .def(
            "previewEnable",
            [](LPreview& self, std::uintptr_t window, bool audio, bool video) {
                self.previewEnable(reinterpret_cast<void*>(window), audio, video);
            },
            outside(), py::arg("nativeWindow"), py::arg("audio"), py::arg("video"),
            "Shows the picture in that window: the number of an X window, or the address of a "
            "toolkit's widget.")
        .def(
            "previewObject",
            [](LPreview& self, const Source& source) {
                connect(self, "source", source, [&] { self.previewObject(source.get()); });
            },
            outside(), py::arg("object"), "The source to show, kept alive; None for none.")
        .def("clear", &LPreview::clear, outside(), "Frees the pictures that wait.")
        .def("setName", &LPreview::setName, outside(), py::arg("name"), "Text of the label.")
        .def("setStatus", &LPreview::setStatus, outside(), py::arg("status"),
             "\"program\", \"record\", \"preview\", \"live\", \"trim\" or \"ready\".")
        .def("setAudio", &LPreview::setAudio, outside(), py::arg("enabled"), "Plays the sound.")
        .def("mute", &LPreview::mute, outside(), py::arg("muted"), "The opposite of setAudio.");
    bindStatus(preview, "1 while it has a surface to draw on, else 0.");
    bindProps<outside>(preview, "Sets a property; a key that is none is ignored.");
}

} // namespace quolpy
