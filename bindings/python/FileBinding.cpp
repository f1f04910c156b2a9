// The file player.
#include "Bind.h"
#include "quolsdk/LFile.h"
#include "quolsdk/LFilter.h"

namespace quolpy {

template <>
void letGoOf(LFile& file) {
    file.stop();
    file.setVideoFilter(nullptr);
    file.setAudioFilter(nullptr);
}

namespace {

using FileClass = Class<LFile, LObject>;
using Filter = std::shared_ptr<LFilter>;

void bindControl(FileClass& file) {
    file.def(
            "fileNameSet", [](LFile& self, const Path& path) { self.fileNameSet(path.string()); },
            outside(), py::arg("path"),
            "Sets the file; a \"%\" makes it the pattern of an image sequence.")
        .def("play", &LFile::play, outside(), "Opens and starts, or resumes. False on failure.")
        .def("ready", &LFile::ready, outside(), "Opens and stands paused.")
        .def("pause", &LFile::pause, outside(), py::arg("delayMs") = 0.0,
             "Holds the picture; a delay above 0 lets the pause end by itself.")
        .def("resume", &LFile::resume, outside(), "Goes on.")
        .def("setPos", &LFile::setPos, outside(), py::arg("ms"), "Jumps, milliseconds.")
        .def("setPosTC", &LFile::setPosTC, outside(), py::arg("timecode"), "Jumps to a time code.")
        .def("stop", &LFile::stop, outside(), "Ends and closes the file.");
}

void bindSettings(FileClass& file) {
    file.def(
            "setVideoFilter",
            [](LFile& self, const Filter& filter) {
                connect(self, "videoFilter", filter, [&] { self.setVideoFilter(filter.get()); });
            },
            outside(), py::arg("filter"), "Filters for the pictures, kept alive; None for none.")
        .def(
            "setAudioFilter",
            [](LFile& self, const Filter& filter) {
                connect(self, "audioFilter", filter, [&] { self.setAudioFilter(filter.get()); });
            },
            outside(), py::arg("filter"), "Filters for the sound, kept alive; None for none.")
        .def("setAudioDelay", &LFile::setAudioDelay, unlocked(), py::arg("ms"),
             "Delays the sound, milliseconds.")
        .def("setVideoDelay", &LFile::setVideoDelay, unlocked(), py::arg("ms"),
             "Stored; without effect.")
        .def(
            "initHWDecoder", [](LFile& self) { return self.initHWDecoder(nullptr); }, unlocked(),
            "Hook for hardware decoding, which this player does not do: False.");
}

void bindState(FileClass& file) {
    file.def("getDurationMs", &LFile::getDurationMs, unlocked(), "Milliseconds; 0.0 if not known.")
        .def("getPosMs", &LFile::getPosMs, unlocked(), "Position of the latest picture.")
        .def(
            "InOutGet",
            [](LFile& self) {
                double in = 0.0;
                double out = 0.0;
                double duration = 0.0;
                self.InOutGet(in, out, duration);
                return std::make_tuple(in, out, duration);
            },
            unlocked(), "In point, out point and duration, milliseconds.")
        .def(
            "getPosTC", [](LFile& self) { return Text(self.getPosTC()); }, unlocked(),
            "Time code of the position.")
        .def(
            "getInTC", [](LFile& self) { return Text(self.getInTC()); }, unlocked(),
            "Time code of the in point.")
        .def(
            "getOutTC", [](LFile& self) { return Text(self.getOutTC()); }, unlocked(),
            "Time code of the out point.")
        .def_property(
            "rate", [](LFile& self) { return self.rate.load(); },
            [](LFile& self, double rate) { self.rate = rate; },
            "Playback rate; raise rateChanged behind a change.")
        .def_property(
            "rateChanged", [](LFile& self) { return self.rateChanged.load(); },
            [](LFile& self, bool changed) { self.rateChanged = changed; },
            "The worker anchors its clock anew, and clears it.")
        .def_property(
            "inPointMs", [](LFile& self) { return self.inPointMs.load(); },
            [](LFile& self, double ms) { self.inPointMs = ms; },
            "Where a loop at the out point goes, milliseconds.")
        .def_property(
            "outPointMs", [](LFile& self) { return self.outPointMs.load(); },
            [](LFile& self, double ms) { self.outPointMs = ms; },
            "Counts above 0 only, milliseconds.");
}

} // namespace

void bindFile(py::module_& module) {
    FileClass file(module, "LFile", "Plays one media file or image sequence as a source.");
    file.def(py::init([] { return make<LFile>(); }));
    bindControl(file);
    bindSettings(file);
    bindState(file);
    bindVideoFormat(file);
    bindAudioFormat(file);
    bindProps(file);
}

} // namespace quolpy
