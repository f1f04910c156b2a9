// The streamer.
#include "EncodingSink.h"
#include "quolsdk/LStream.h"

namespace quolpy {

template <>
void letGoOf(LStream& stream) {
    stream.Stop();
    stream.source = nullptr;
}

namespace {

void bindStats(Class<LStream, LSink>& stream) {
    using Stats = LStream::Stats;
    py::class_<Stats>(stream, "Stats", "How a stream stands.")
        .def_readonly("framesSent", &Stats::framesSent, "Pictures handed to the network.")
        .def_readonly("bytesSent", &Stats::bytesSent, "Of the packets handed to it.")
        .def_readonly("width", &Stats::width, "Of the encoded pictures.")
        .def_readonly("height", &Stats::height, "Of the encoded pictures.")
        .def_readonly("fps", &Stats::fps, "Of the encoded pictures.")
        .def_readonly("framesDropped", &Stats::framesDropped, "Lost on the way.")
        .def_readonly("queueLength", &Stats::queueLength, "Pictures that wait for the encoder.")
        .def_property_readonly(
            "url", [](const Stats& s) { return Text(s.url); }, "Without the key.")
        .def_readonly("running", &Stats::running, "As statusGet.");
    stream.def(
        "getStats",
        [](LStream& self) {
            Stats stats;
            self.getStats(stats);
            return stats;
        },
        unlocked(), "How the stream stands.");
}

// A stop makes a start that still waits for its server give up, so it must not wait for the start.
void stopStream(LStream& stream) {
    stream.Stop();
    stopEncoding(stream);
}

} // namespace

void bindStream(py::module_& module) {
    Class<LStream, LSink> stream(module, "LStream", "One source live to a network address.");
    stream.def(py::init([] { return make<LStream>(); }))
        .def_property("source", &getEncodingSource<LStream>,
                      py::cpp_function(&setEncodingSource<LStream>, outside()),
                      "What to stream, kept alive; counts from the next Start. None for none.")
        .def("setStreamUrl", &LStream::setStreamUrl, unlocked(), py::arg("url"),
             "Where to, without the key.")
        .def("setStreamKey", &LStream::setStreamKey, unlocked(), py::arg("key"),
             "The stream's name behind the URL.")
        .def("setStreamClone", &LStream::setStreamClone, unlocked(), py::arg("enabled"),
             "Whether a copy goes into a file as well.")
        .def(
            "setStreamClonePath",
            [](LStream& self, const Path& path) { self.setStreamClonePath(path.string()); },
            unlocked(), py::arg("folder"), "The folder of the copy.")
        .def("customSet", &LStream::customSet, unlocked(), py::arg("options"),
             "Sets encoder options, \"preset=fast g=50\".")
        .def(
            "Start",
            [](LStream& self) { return startEncoding(self, [&] { return self.Start(); }); },
            outside(), "Reaches the address and starts. False when it cannot, after five seconds.")
        .def("Stop", &stopStream, outside(), "Sends what is queued and leaves the source.");
    bindStats(stream);
    bindStatus(stream, "1 while it streams, paused included, else 0.");
    bindEncoders(stream);
    bindVideoFormat(stream);
    bindAudioFormat(stream);
    bindProps(stream,
              "Sets an option of the video encoder for the next start; what that does not know "
              "goes to the protocol and the container.");
}

} // namespace quolpy
