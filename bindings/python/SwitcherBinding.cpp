// The vision switcher.
#include "Bind.h"
#include "CharacterItem.h"
#include "quolsdk/LSwitcher.h"

namespace quolpy {

namespace {

using SwitcherClass = Class<LSwitcher, LObject>;
using Title = CharacterPtr;

const std::string externalSlot = "external sound";

// Layers change places on a thread of the switcher's, so a source is held by who it is, not by
// where.
std::string layerSlot(const void* source) {
    return "layer " + std::to_string(reinterpret_cast<std::uintptr_t>(source));
}
std::string titleSlot(const void* title) {
    return "title " + std::to_string(reinterpret_cast<std::uintptr_t>(title));
}
bool isLayerSlot(const std::string& slot) {
    return slot.starts_with("layer ");
}

bool isOwn(LSwitcher& switcher, const LObject* source) {
    return source == &switcher || source == switcher.getPreviewObject();
}

// Puts a source on air by `call`; what no layer has any more goes.
template <typename Call>
void setSource(LSwitcher& switcher, const Source& source, Call call) {
    if (isOwn(switcher, source.get())) return; // as the switcher itself does
    const std::shared_ptr<Node> node = nodeOf(switcher);
    std::map<std::string, std::shared_ptr<void>> gone; // goes behind the lock
    const std::lock_guard lock(node->control);
    const auto letGo = [&] {
        std::erase_if(node->slots, [&](auto& entry) {
            const bool isGone = isLayerSlot(entry.first) &&
                                !switcher.hasSource(static_cast<LObject*>(entry.second.get()));
            if (isGone) gone.insert(entry);
            return isGone;
        });
    };
    if (source) node->slots[layerSlot(source.get())] = source;
    try {
        call();
    } catch (...) { // a source that could not be had
        letGo();
        throw;
    }
    letGo();
}

void removeSource(LSwitcher& switcher, const Source& source) {
    const std::shared_ptr<Node> node = nodeOf(switcher);
    const std::lock_guard lock(node->control);
    switcher.removeSource(source.get());
    node->slots.erase(layerSlot(source.get())); // the caller still holds it
    const auto external = node->slots.find(externalSlot);
    if (external != node->slots.end() && external->second.get() == source.get())
        node->slots.erase(external);
}

} // namespace

template <>
void letGoOf(LSwitcher& switcher) {
    const std::shared_ptr<Node> node = nodeOf(switcher);
    switcher.setExtAudioObject(nullptr);
    for (const auto& [slot, held] : node->slots) {
        if (isLayerSlot(slot)) switcher.removeSource(static_cast<LObject*>(held.get()));
    }
    while (LCharacter* title = switcher.getCGByIndex(0))
        switcher.removeCG(title);
}

namespace {

void bindSources(SwitcherClass& switcher) {
    switcher
        .def(
            "setProgram",
            [](LSwitcher& self, const Source& source) {
                setSource(self, source, [&] { self.setProgram(source.get()); });
            },
            outside(), py::arg("source"),
            "Gives the programme another source, kept alive; None for none.")
        .def(
            "setPreview",
            [](LSwitcher& self, const Source& source) {
                setSource(self, source, [&] { self.setPreview(source.get()); });
            },
            outside(), py::arg("source"),
            "Gives the preview another source, kept alive; None for none.")
        .def("removeSource", &removeSource, outside(), py::arg("source"),
             "Takes a source away wherever it is, in the sound too.")
        .def(
            "getCurrentPreviewSource",
            [](LSwitcher& self) -> Source {
                const LObject* source = self.getCurrentPreviewSource();
                return source != nullptr ? findHeld<LObject>(self, source) : nullptr;
            },
            outside(), "None for none.")
        .def(
            "getPreviewObject",
            [](const std::shared_ptr<LSwitcher>& self) {
                return std::shared_ptr<SwitcherPreviewObject>(self, self->getPreviewObject());
            },
            "The preview output, a part of the switcher, which it keeps alive.")
        .def("setExtAudio", &LSwitcher::setExtAudio, outside(), py::arg("on"),
             "Whether the sound is that of the external source.")
        .def(
            "setExtAudioObject",
            [](LSwitcher& self, const Source& source) {
                if (isOwn(self, source.get())) return; // as the switcher itself does
                connect(self, externalSlot, source, [&] { self.setExtAudioObject(source.get()); });
            },
            outside(), py::arg("source"), "The external source of sound; None for none.")
        .def("flushExtAudio", &LSwitcher::flushExtAudio, outside(),
             "Drops the external sound that waits.");
}

void bindTransitions(SwitcherClass& switcher) {
    switcher
        .def("setTransitionType", &LSwitcher::setTransitionType, outside(), py::arg("type"),
             py::arg("parameter") = "", "What happens between the layers; the colour of a \"dip\".")
        .def("setTransition", &LSwitcher::setTransition, outside(), py::arg("position"),
             "Moves the transition by hand, 0 to 1.")
        .def("setCutTransition", &LSwitcher::setCutTransition, outside(),
             "The layers change places.")
        .def("setAutoTransition", &LSwitcher::setAutoTransition, outside(), py::arg("durationMs"),
             "Takes the transition to its other end within that time; does not wait.")
        .def(
            "setStinger", [](LSwitcher& self, const Path& path) { self.setStinger(path.string()); },
            outside(), py::arg("path"), "Loads a clip with alpha; does not wait.")
        .def("setStingerDuration", &LSwitcher::setStingerDuration, outside(),
             py::arg("milliseconds"), "What the clip lasts on air.")
        .def("triggerStinger", &LSwitcher::triggerStinger, outside(),
             "Plays the stinger, with a cut behind it.");
}

void bindSound(SwitcherClass& switcher) {
    switcher
        .def("setProgAudioGain", &LSwitcher::setProgAudioGain, outside(), py::arg("percent"),
             "How loud the programme's source is.")
        .def("setPrevAudioGain", &LSwitcher::setPrevAudioGain, outside(), py::arg("percent"),
             "How loud the preview's source is.")
        .def("setMasterGain", &LSwitcher::setMasterGain, outside(), py::arg("percent"),
             "Of all sound, within 0 and 200.")
        .def("setMasterMute", &LSwitcher::setMasterMute, outside(), py::arg("mute"),
             "Silences all sound.");
}

// Titles may lie there twice.
void removeTitle(LSwitcher& switcher, const Title& title) {
    if (!title) return;
    const std::shared_ptr<Node> node = nodeOf(switcher);
    const std::lock_guard lock(node->control);
    switcher.removeCG(title.get());
    for (int i = 0; i < switcher.getCGCount(); ++i) {
        if (switcher.getCGByIndex(i) == title.get()) return;
    }
    node->slots.erase(titleSlot(title.get())); // the caller still holds it
}

void bindTitles(SwitcherClass& switcher) {
    switcher
        .def(
            "addCG",
            [](LSwitcher& self, const Title& title) {
                if (!title) return;
                connect(self, titleSlot(title.get()), title, [&] { self.addCG(title.get()); });
            },
            outside(), py::arg("character"), "Puts titles on top, kept alive. None is ignored.")
        .def("removeCG", &removeTitle, outside(), py::arg("character"), "Takes titles away.")
        .def("getCGCount", &LSwitcher::getCGCount, outside(), "Titles that lie on top.")
        .def(
            "getCGByIndex",
            [](LSwitcher& self, int index) -> Title {
                const auto* title = static_cast<Character*>(self.getCGByIndex(index));
                return title != nullptr ? findHeld<Character>(self, title) : nullptr;
            },
            outside(), py::arg("index"), "The lowest is 0; None out of range.");
}

void bindStats(SwitcherClass& switcher) {
    using Stats = LSwitcher::SwitcherStats;
    py::class_<Stats>(switcher, "SwitcherStats", "What the switcher does, at one moment.")
        .def_readonly("renderRate", &Stats::renderRate, "Frames a second, measured.")
        .def_readonly("activeSource", &Stats::activeSource, "\"SubA\", \"SubB\", \"Transition\".")
        .def_readonly("position", &Stats::position, "Of the transition, percent.")
        .def_readonly("frameCount", &Stats::frameCount, "Since the clock was started.")
        .def_readonly("timecode", &Stats::timecode, "Of the next frame.")
        .def_readonly("peakA", &Stats::peakA, "Of the sound of layer A, 0 to 1.")
        .def_readonly("peakB", &Stats::peakB, "Of layer B.")
        .def_readonly("masterPeak", &Stats::masterPeak, "Of the sound sent.")
        .def_readonly("audioDelay", &Stats::audioDelay, "Milliseconds of sound that wait.")
        .def_readonly("drift", &Stats::drift, "Milliseconds by which pictures outlast sound.");
    switcher
        .def(
            "getStats",
            [](LSwitcher& self) {
                Stats stats;
                self.getStats(stats);
                return stats;
            },
            outside(), "Waits for the picture in the making.")
        .def(
            "getTimecodeString",
            [](LSwitcher& self, std::int64_t frame, double fps) {
                return Text(self.getTimecodeString(frame, fps));
            },
            outside(), py::arg("frame"), py::arg("fps"), "\"hh:mm:ss:ff\" of a frame.")
        .def("ensureRunning", &LSwitcher::ensureRunning, outside(),
             "Starts the thread unless it runs.");
}

// The sinks of the preview follow it; those attached by LObject.addSink get it as it is rendered.
void bindPreviewOutput(py::module_& module) {
    Class<SwitcherPreviewObject, LObject>(
        module, "SwitcherPreviewObject",
        "The preview output of a switcher. A sink of its addSink gets what the source on preview "
        "makes; one of LObject.addSink(preview, sink) gets the preview as the switcher renders it.")
        .def(
            "addSink",
            [](const std::shared_ptr<SwitcherPreviewObject>& self,
               const std::shared_ptr<LSink>& sink) {
                if (!sink) throw py::type_error("sink must not be None");
                const Outside outside;
                attachOnce(self, sink);
            },
            py::arg("sink"), "A sink that is there already is left alone.")
        .def(
            "removeSink",
            [](const std::shared_ptr<SwitcherPreviewObject>& self,
               const std::shared_ptr<LSink>& sink) {
                if (!sink) throw py::type_error("sink must not be None");
                const Outside outside;
                detach(self, sink, false);
            },
            py::arg("sink"), "One that is not there is ignored.");
}

} // namespace

void bindSwitcher(py::module_& module) {
    bindPreviewOutput(module);
    SwitcherClass switcher(module, "LSwitcher",
                           "A programme, a preview, and every way from the one to the other. Keeps "
                           "the sources of its two layers alive.");
    switcher.def(py::init([] { return make<LSwitcher>(); }));
    bindSources(switcher);
    bindTransitions(switcher);
    bindSound(switcher);
    bindTitles(switcher);
    bindStats(switcher);
    bindVideoFormat<outside>(switcher);
    bindAudioFormat<outside>(switcher);
    bindProps<outside>(switcher);
}

} // namespace quolpy
