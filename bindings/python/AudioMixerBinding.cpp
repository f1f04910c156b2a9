// The audio mixer.
#include "Bind.h"
#include "quolsdk/LAudioMixer.h"

namespace quolpy {

template <>
void letGoOf(LAudioMixer& mixer) {
    const std::shared_ptr<Node> node = nodeOf(mixer);
    for (const auto& [name, source] : node->slots)
        mixer.removeChannel(name);
}

void bindAudioMixer(py::module_& module) {
    Class<LAudioMixer, LObject> mixer(
        module, "LAudioMixer", "Mixes named channels into stereo blocks of 20 milliseconds.");
    mixer.def(py::init([] { return make<LAudioMixer>(); }))
        .def(
            "addChannel",
            [](LAudioMixer& self, const std::string& name, const Source& source) {
                connect(self, name, source, [&] { self.addChannel(name, source.get()); });
            },
            outside(), py::arg("name"), py::arg("source"),
            "Adds a channel, muted, in place of one of that name; None only removes.")
        .def(
            "removeChannel",
            [](LAudioMixer& self, const std::string& name) {
                connect(self, name, nullptr, [&] { self.removeChannel(name); });
            },
            outside(), py::arg("name"), "Removes a channel.")
        .def("setChannelGain", &LAudioMixer::setChannelGain, unlocked(), py::arg("name"),
             py::arg("percent"), "Kept within 0 and 200.")
        .def("setChannelMute", &LAudioMixer::setChannelMute, unlocked(), py::arg("name"),
             py::arg("mute"), "True: neither heard nor measured.")
        .def("setMasterVolume", &LAudioMixer::setMasterVolume, unlocked(), py::arg("percent"),
             "Kept within 0 and 200.")
        .def("setMasterMute", &LAudioMixer::setMasterMute, unlocked(), py::arg("mute"), "Silence.")
        .def("getChannelLevel",
             py::overload_cast<const std::string&>(&LAudioMixer::getChannelLevel), unlocked(),
             py::arg("name"), "The larger of the two peaks of a channel.")
        .def(
            "getChannelLevels",
            [](LAudioMixer& self, const std::string& name) {
                float left = 0.0F;
                float right = 0.0F;
                self.getChannelLevel(name, left, right);
                return std::make_pair(left, right);
            },
            unlocked(), py::arg("name"), "Peaks of a channel, left and right, 0.0 to 1.0.")
        .def("getMasterLevel", py::overload_cast<>(&LAudioMixer::getMasterLevel), unlocked(),
             "The larger of the two peaks of the mix.")
        .def(
            "getMasterLevels",
            [](LAudioMixer& self) {
                float left = 0.0F;
                float right = 0.0F;
                self.getMasterLevel(left, right);
                return std::make_pair(left, right);
            },
            unlocked(), "Peaks of the mix, left and right, 0.0 to 1.0.")
        .def("ensureRunning", &LAudioMixer::ensureRunning, unlocked(),
             "Starts the thread unless it runs.");
    bindAudioFormat(mixer);
}

} // namespace quolpy
