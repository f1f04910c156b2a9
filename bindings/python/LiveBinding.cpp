// Live inputs.
#include "Bind.h"
#include "quolsdk/LFilter.h"
#include "quolsdk/LLive.h"

namespace quolpy {

template <>
void letGoOf(LLive& live) {
    live.Stop();
    live.setVideoFilter(nullptr);
    live.setAudioFilter(nullptr);
}

namespace {

using LiveClass = Class<LLive, LObject>;
using Filter = std::shared_ptr<LFilter>;
using Names = std::pair<Text, Text>;

void bindDevices(LiveClass& live) {
    live.def(
            "DeviceGetCount",
            [](LLive& self) {
                int count = 0;
                self.DeviceGetCount(count);
                return count;
            },
            unlocked(), "Looks for cards anew and counts all devices.")
        .def(
            "DeviceGetByIndex",
            [](LLive& self, int index) {
                std::string name;
                std::string description;
                self.DeviceGetByIndex(index, name, description);
                return Names(name, description);
            },
            unlocked(), py::arg("index"), "Name and description of a device.")
        .def("DeviceSet", &LLive::DeviceSet, unlocked(), py::arg("index"), "Chooses a device.")
        .def(
            "DeviceChannelGetCount",
            [](LLive& self, int device) {
                int count = 0;
                self.DeviceChannelGetCount(device, count);
                return count;
            },
            unlocked(), py::arg("device"), "Counts the channels of a device.")
        .def(
            "DeviceChannelGetByIndex",
            [](LLive& self, int device, int channel) {
                std::string name;
                std::string description;
                self.DeviceChannelGetByIndex(device, channel, name, description);
                return Names(name, description);
            },
            unlocked(), py::arg("device"), py::arg("channel"), "Name and description of a channel.")
        .def("DeviceChannelSet", &LLive::DeviceChannelSet, unlocked(), py::arg("channel"),
             "Chooses a channel of the chosen device.");
}

void bindFormats(LiveClass& live) {
    live.def(
            "DeviceFormatVideoGetCount",
            [](LLive& self, int device, int channel) {
                int count = 0;
                self.DeviceFormatVideoGetCount(device, channel, count);
                return count;
            },
            unlocked(), py::arg("device"), py::arg("channel"),
            "Counts the picture formats of a device.")
        .def(
            "DeviceFormatVideoGetByIndex",
            [](LLive& self, int device, int channel, int index) {
                std::string name;
                videoFormatProps format;
                self.DeviceFormatVideoGetByIndex(device, channel, index, name, format);
                return std::make_pair(Text(name), format);
            },
            unlocked(), py::arg("device"), py::arg("channel"), py::arg("index"),
            "Name and format of a row.")
        .def("DeviceFormatVideoSet", &LLive::DeviceFormatVideoSet, unlocked(), py::arg("index"),
             "Chooses a format, for cards; 0 follows the signal.");
}

} // namespace

void bindLive(py::module_& module) {
    LiveClass live(module, "LLive", "Live inputs: cards, NDI, VTP, and a test signal.");
    live.def(py::init([] { return make<LLive>(); }));
    bindDevices(live);
    bindFormats(live);
    live.def(
            "setVideoFilter",
            [](LLive& self, const Filter& filter) {
                connect(self, "videoFilter", filter, [&] { self.setVideoFilter(filter.get()); });
            },
            outside(), py::arg("filter"), "Filters for the pictures, kept alive; None for none.")
        .def(
            "setAudioFilter",
            [](LLive& self, const Filter& filter) {
                connect(self, "audioFilter", filter, [&] { self.setAudioFilter(filter.get()); });
            },
            outside(), py::arg("filter"), "Filters for the sound, kept alive; None for none.")
        .def("Start", &LLive::Start, outside(), "Starts the chosen device. False on failure.")
        .def("Stop", &LLive::Stop, outside(), "Stops.");
    bindVideoFormat(live);
    bindAudioFormat(live);
    bindProps(live);
}

} // namespace quolpy
