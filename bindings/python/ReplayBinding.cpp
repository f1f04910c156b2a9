// Instant replay.
#include "Bind.h"
#include "quolsdk/LReplay.h"

namespace quolpy {

template <>
void letGoOf(LReplay& replay) {
    replay.stopRecording();
    replay.pause();
}

namespace {

using ReplayClass = Class<LReplay, LObject, LSink>;

void bindRecording(ReplayClass& replay) {
    replay
        .def(
            "setRecordPath",
            [](LReplay& self, const Path& path, const std::string& name) {
                self.setRecordPath(path.string(), name);
            },
            unlocked(), py::arg("path"), py::arg("name"),
            "Folder of the next recording, and the beginning of its files' names.")
        .def(
            "setExportPath",
            [](LReplay& self, const Path& path, const std::string& name) {
                self.setExportPath(path.string(), name);
            },
            unlocked(), py::arg("path"), py::arg("name"),
            "Where an export without a file name goes, and its base name.")
        .def("startRecording", &LReplay::startRecording, outside(),
             "Begins. False when the files cannot be made.")
        .def("stopRecording", &LReplay::stopRecording, outside(), "Ends recording.")
        .def("clearRecording", &LReplay::clearRecording, outside(),
             "Ends recording, forgets everything and removes the files.")
        .def(
            "exportRange",
            [](LReplay& self, int first, int last, const Path& file) {
                return self.exportRange(first, last, file.string());
            },
            outside(), py::arg("first"), py::arg("last"), py::arg("file"),
            "Writes the frames, both included, into a movie.")
        .def(
            "exportRangeMs",
            [](LReplay& self, double first, double last, const Path& file) {
                return self.exportRangeMs(first, last, file.string());
            },
            outside(), py::arg("firstMs"), py::arg("lastMs"), py::arg("file"),
            "The same by times, milliseconds.");
}

void bindPlayback(ReplayClass& replay) {
    replay.def("play", &LReplay::play, unlocked(), "Plays at the speed set.")
        .def("pause", &LReplay::pause, unlocked(), "Stands still.")
        .def("setModeLive", &LReplay::setModeLive, unlocked(), "Shows the newest picture.")
        .def("setModeTrim", &LReplay::setModeTrim, unlocked(), "Stands still, takes seeks.")
        .def("setSpeed", &LReplay::setSpeed, unlocked(), py::arg("speed"), "Below 0 backward.")
        .def("posSet", &LReplay::posSet, unlocked(), py::arg("frame"), "Goes to a frame.")
        .def("posSetMs", &LReplay::posSetMs, unlocked(), py::arg("milliseconds"),
             "Goes to the frame nearest to that time.")
        .def("posSetTC", &LReplay::posSetTC, unlocked(), py::arg("timecode"),
             "Goes to the last frame of that time code.")
        .def("stepForward", &LReplay::stepForward, unlocked(), py::arg("frames"),
             "Goes so many frames on.")
        .def("stepBackward", &LReplay::stepBackward, unlocked(), py::arg("frames"),
             "Goes so many frames back.")
        .def("getTotalFrames", &LReplay::getTotalFrames, unlocked(), "Frames stored.")
        .def("getDurationMs", &LReplay::getDurationMs, unlocked(), "Time of the last frame.")
        .def("getCurrentFrame", &LReplay::getCurrentFrame, unlocked(), "Position, in frames.")
        .def("getPos", &LReplay::getPos, unlocked(), "Position, in frames.")
        .def("getPosMs", &LReplay::getPosMs, unlocked(), "Time at the position.")
        .def(
            "getPosTC", [](LReplay& self) { return Text(self.getPosTC()); }, unlocked(),
            "Time code at the position.");
}

} // namespace

void bindReplay(py::module_& module) {
    ReplayClass replay(module, "LReplay",
                       "Stores what it is given as a sink and plays it back as a source. Feed it "
                       "by source.addSink(replay).");
    replay.def(py::init([] { return make<LReplay>(); }));
    bindRecording(replay);
    bindPlayback(replay);
    bindVideoFormat(replay);
    bindAudioFormat(replay);
    bindProps(replay);
}

} // namespace quolpy
