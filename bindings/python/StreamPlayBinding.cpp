// The player of network streams.
#include "Bind.h"
#include "quolsdk/LStreamPlay.h"

namespace quolpy {

template <>
void letGoOf(LStreamPlay& player) {
    player.stop();
}

void bindStreamPlay(py::module_& module) {
    Class<LStreamPlay, LObject> player(module, "LStreamPlay",
                                       "Plays a network stream: RTMP, SRT, UDP, HLS.");
    player.def(py::init([] { return make<LStreamPlay>(); }))
        .def("streamUrlSet", &LStreamPlay::streamUrlSet, outside(), py::arg("url"),
             "Sets the address.")
        .def("play", &LStreamPlay::play, outside(), "Starts; False without an address.")
        .def("stop", &LStreamPlay::stop, outside(), "Ends and closes the stream.")
        .def("pause", &LStreamPlay::pause, outside(), py::arg("delayMs") = 0.0,
             "Stops reading; a delay above 0 lets the pause end by itself.")
        .def("resume", &LStreamPlay::resume, outside(), "Goes on where it paused.")
        .def("ready", &LStreamPlay::ready, outside(),
             "Flushes the sinks and sets the clock of the pictures to now.")
        .def("checkStream", &LStreamPlay::checkStream, unlocked(), py::arg("url"),
             "Whether an address can be opened; five seconds at the most.")
        .def("switchAudioTrack", &LStreamPlay::switchAudioTrack, unlocked(), py::arg("index"),
             "Takes the sound of another stream of the address; below 0 for none.")
        .def(
            "getAudioPeak",
            [](LStreamPlay& self) {
                float left = 0.0F;
                float right = 0.0F;
                self.getAudioPeak(left, right);
                return std::make_pair(left, right);
            },
            unlocked(), "Peaks of the latest block of sound, left and right, 0.0 to 1.0.")
        .def("resetAudioPeak", &LStreamPlay::resetAudioPeak, unlocked(), "Sets both to 0.")
        .def("setAudioDelay", &LStreamPlay::setAudioDelay, unlocked(), py::arg("ms"),
             "Stored; without effect.")
        .def("setVideoDelay", &LStreamPlay::setVideoDelay, unlocked(), py::arg("ms"),
             "Stored; without effect.");
    bindVideoFormat(player);
    bindAudioFormat(player);
    bindProps(player);
}

} // namespace quolpy
