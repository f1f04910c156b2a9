// The recorder.
#include "EncodingSink.h"
#include "quolsdk/LRecorder.h"

namespace quolpy {

template <>
void letGoOf(LRecorder& recorder) {
    recorder.Stop();
    recorder.source = nullptr;
}

namespace {

void bindStats(Class<LRecorder, LSink>& recorder) {
    using Stats = LRecorder::Stats;
    py::class_<Stats>(recorder, "Stats", "How a recording stands.")
        .def_readonly("state", &Stats::state, "As statusGet.")
        .def_readonly("framesWritten", &Stats::framesWritten, "Pictures encoded.")
        .def_readonly("framesDropped", &Stats::framesDropped, "Lost, whatever the reason.")
        .def_readonly("secondsRecorded", &Stats::secondsRecorded, "Length of the picture track.")
        .def_readonly("fileSize", &Stats::fileSize, "Bytes.")
        .def_property_readonly(
            "filePath", [](const Stats& s) { return Text(s.filePath); },
            "Of the recording that runs, else as set.");
    recorder.def(
        "getStats",
        [](LRecorder& self) {
            Stats stats;
            self.getStats(stats);
            return stats;
        },
        unlocked(), "How the recording stands.");
}

} // namespace

void bindRecorder(py::module_& module) {
    Class<LRecorder, LSink> recorder(
        module, "LRecorder",
        "One source into one movie file. A recording that runs at the end of the script is "
        "finished.");
    recorder.def(py::init([] { return make<LRecorder>(); }))
        .def_property("source", &getEncodingSource<LRecorder>,
                      py::cpp_function(&setEncodingSource<LRecorder>, outside()),
                      "What to record, kept alive; counts from the next Record. None for none.")
        .def(
            "setFilePath", [](LRecorder& self, const Path& p) { self.setFilePath(p.string()); },
            unlocked(), py::arg("path"), "File to write; an existing one is replaced.")
        .def("customSet", &LRecorder::customSet, unlocked(), py::arg("options"),
             "Adds encoder options, \"preset=fast crf=20\".")
        .def(
            "Record",
            [](LRecorder& self) { return startEncoding(self, [&] { return self.Record(); }); },
            outside(), "Starts. False when it records already, or the file cannot be begun.")
        .def("Stop", &stopEncoding<LRecorder>, outside(),
             "Finishes the file and leaves the source.")
        .def("Pause", &LRecorder::Pause, outside(), py::arg("pause"), "Pauses, or goes on.");
    bindStats(recorder);
    bindStatus(recorder, "1 while recording, paused included, else 0.");
    bindCodecs(recorder);
    bindEncoders(recorder);
    bindVideoFormat(recorder);
    bindAudioFormat(recorder);
    bindProps(recorder);
}

} // namespace quolpy
