// The device output.
#include <pybind11/numpy.h>

#include "Bind.h"
#include "quolsdk/LOutput.h"

namespace quolpy {

template <>
void letGoOf(LOutput& output) {
    output.setEnabled(false);
    output.setSource(nullptr);
}

namespace {

using OutputClass = Class<LOutput, LSink>;
using Names = std::pair<Text, Text>;

constexpr int mostSamples = 24'000'000; // all that can ever wait

std::pair<int, py::array_t<std::int16_t>> popAudio(LOutput& output, double pts, int count) {
    if (count < 0 || count > mostSamples) throw std::invalid_argument("no count of samples");
    py::array_t<std::int16_t> samples({static_cast<py::ssize_t>(count), py::ssize_t{2}});
    std::int16_t* data = samples.mutable_data();
    const Unlocked unlocked;
    const int taken = output.popAudioSamplesForPts(pts, data, count);
    return {taken, std::move(samples)};
}

void bindDevices(OutputClass& output) {
    output
        .def("setDevice", &LOutput::setDevice, outside(), py::arg("index"),
             "Selects a device of the table.")
        .def(
            "DeviceGetCount",
            [](LOutput& self) {
                int count = 0;
                self.DeviceGetCount(count);
                return count;
            },
            outside(), "Looks for cards; cards that can play + 2.")
        .def(
            "DeviceGetByIndex",
            [](LOutput& self, int index) {
                std::string name;
                std::string description;
                self.DeviceGetByIndex(index, name, description);
                return Names(name, description);
            },
            outside(), py::arg("index"), "Name and description of a device.")
        .def(
            "DeviceChannelGetCount",
            [](LOutput& self, int device) {
                int count = 0;
                self.DeviceChannelGetCount(device, count);
                return count;
            },
            outside(), py::arg("device"), "Connectors of a card; else 1.")
        .def(
            "DeviceChannelGetByIndex",
            [](LOutput& self, int device, int channel) {
                std::string name;
                std::string description;
                self.DeviceChannelGetByIndex(device, channel, name, description);
                return Names(name, description);
            },
            outside(), py::arg("device"), py::arg("channel"),
            "Name and description of a connector.")
        .def("DeviceChannelSet", &LOutput::DeviceChannelSet, outside(), py::arg("channel"),
             "Picks a connector.")
        .def("updateDeckLinkLines", &LOutput::updateDeckLinkLines, outside(), py::arg("device"),
             "Reads the connectors of a card anew.");
}

void bindFormats(OutputClass& output) {
    output
        .def(
            "DeviceFormatVideoGetCount",
            [](LOutput& self, int device, int channel) {
                int count = 0;
                self.DeviceFormatVideoGetCount(device, channel, count);
                return count;
            },
            outside(), py::arg("device"), py::arg("channel"), "Modes of a card; else 35.")
        .def(
            "DeviceFormatVideoGetByIndex",
            [](LOutput& self, int device, int channel, int index) {
                std::string name;
                videoFormatProps format;
                self.DeviceFormatVideoGetByIndex(device, channel, index, name, format);
                return std::make_pair(Text(name), format);
            },
            outside(), py::arg("device"), py::arg("channel"), py::arg("index"),
            "Name and record of a format.")
        .def("DeviceFormatVideoSet", &LOutput::DeviceFormatVideoSet, outside(), py::arg("index"),
             "Picks a format of the selected device.")
        .def("DeviceFormatAudioSet", &LOutput::DeviceFormatAudioSet, outside(), py::arg("format"),
             "Rate and channel count of the sound.");
}

void bindStats(py::module_& module) {
    py::class_<OutputStats>(module, "OutputStats", "How an output stands.")
        .def_readonly("width", &OutputStats::width, "Pixels of the pictures put out.")
        .def_readonly("height", &OutputStats::height, "Pixels.")
        .def_readonly("frameRate", &OutputStats::frameRate, "Frames a second.")
        .def_readonly("audioChannels", &OutputStats::audioChannels, "Channels of the sound.")
        .def_readonly("audioRate", &OutputStats::audioRate, "Hz.")
        .def_readonly("framesDropped", &OutputStats::framesDropped, "Lost: the device fell behind.")
        .def_readonly("framesQueued", &OutputStats::framesQueued, "Pictures that wait.")
        .def_readonly("framesSent", &OutputStats::framesSent, "Pictures it is done with.");
}

} // namespace

void bindOutput(py::module_& module) {
    bindStats(module);
    OutputClass output(module, "LOutput", "Pictures and sound to a card, NDI or VTP.");
    output.def(py::init([] { return make<LOutput>(); }))
        .def(
            "setSource",
            [](LOutput& self, const Source& source) {
                connect(self, "source", source, [&] { self.setSource(source.get()); });
            },
            outside(), py::arg("source"), "What it puts out, kept alive; None for nothing.")
        .def("setEnabled", &LOutput::setEnabled, outside(), py::arg("enabled"),
             "Starts or stops the selected device.")
        .def(
            "getStats",
            [](LOutput& self) {
                OutputStats stats;
                self.getStats(stats);
                return stats;
            },
            unlocked(), "Never waits for the device.")
        .def("startNDI", &LOutput::startNDI, outside(), "A step of setEnabled.")
        .def("stopNDI", &LOutput::stopNDI, outside(), "A step of setEnabled.")
        .def("startVTP", &LOutput::startVTP, outside(), "A step of setEnabled.")
        .def("stopVTP", &LOutput::stopVTP, outside(), "A step of setEnabled.")
        .def("startDeckLink", &LOutput::startDeckLink, outside(), "A step of setEnabled.")
        .def("stopDeckLink", &LOutput::stopDeckLink, outside(), "A step of setEnabled.")
        .def("popAudioSamplesForPts", &popAudio, py::arg("pts"), py::arg("count"),
             "Takes up to so many stereo samples of the sound that waits: how many there were, and "
             "an array of int16, count x 2, filled up with silence.");
    bindDevices(output);
    bindFormats(output);
    bindProps<outside>(output);
}

} // namespace quolpy
