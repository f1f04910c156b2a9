// The two sides of the graph.
#include <algorithm>
#include <typeinfo>

#include "Bind.h"
#include "Frame.h"
#include "PythonSink.h"

namespace quolpy {

namespace {

void wantSink(const std::shared_ptr<LSink>& sink) {
    if (!sink) throw py::type_error("sink must not be None");
}

// The plain objects that this thread is distributing for. One may hand on in Python what another
// pushed, but not to itself: its list of sinks is in use.
thread_local std::vector<const LObject*> distributing;

class Distribution {
public:
    explicit Distribution(const LObject& object) {
        const bool isPlain = typeid(object) == typeid(LObject);
        const auto found = std::find(distributing.begin(), distributing.end(), &object);
        if (isInsideCallback() && (!isPlain || found != distributing.end()))
            throw std::runtime_error("not from inside a push of the same object");
        distributing.push_back(&object);
    }
    ~Distribution() { distributing.pop_back(); }
    Distribution(const Distribution&) = delete;
    Distribution& operator=(const Distribution&) = delete;
};

void bindSink(py::module_& module) {
    py::class_<LSink, PythonSink, std::shared_ptr<LSink>>(
        module, "LSink",
        "A consumer of pictures and sound. Derive from it and define pushVideoFrame and "
        "pushAudioFrame, which are called on the source's thread, one at a time: return soon. "
        "Exceptions go to sys.unraisablehook. A sink leaves its sources when it is collected.")
        .def(py::init([] { return std::shared_ptr<LSink>(make<PythonSink>()); },
                      [] { return make<PythonSink>(); }))
        .def(
            "pushVideoFrame",
            [](LSink& self, const Frame& frame) {
                const quol::FramePtr clone = pictureOf(frame);
                const Unlocked unlocked;
                self.pushVideoFrame(clone.get());
            },
            py::arg("frame"), "Receives one picture.")
        .def(
            "pushAudioFrame",
            [](LSink& self, const Frame& frame) {
                const quol::FramePtr clone = soundOf(frame);
                const Unlocked unlocked;
                self.pushAudioFrame(clone.get());
            },
            py::arg("frame"), "Receives one block of sound.")
        .def("flush", &LSink::flush, unlocked(), "Forget what is queued.")
        .def("setPaused", &LSink::setPaused, unlocked(), py::arg("paused"),
             "The source is paused, or runs on.");
}

} // namespace

void bindObjects(py::module_& module) {
    bindSink(module);
    Class<LObject>(module, "LObject",
                   "A source of pictures and sound. One made by itself hands on what Python gives "
                   "it: distributeVideoFrame, distributeAudioFrame.")
        .def(py::init([] { return make<LObject>(); }))
        .def(
            "addSink",
            [](const Source& self, const std::shared_ptr<LSink>& sink) {
                wantSink(sink);
                const Outside outside;
                attach(self, sink, true);
            },
            py::arg("sink"),
            "Attaches a sink, which keeps this source alive; the sink is yours to keep. One that "
            "is attached twice gets everything twice.")
        .def(
            "removeSink",
            [](const Source& self, const std::shared_ptr<LSink>& sink) {
                wantSink(sink);
                const Outside outside;
                detach(self, sink, true);
            },
            py::arg("sink"), "Detaches a sink. Waits for a push in progress.")
        .def(
            "getTimeCode", [](LObject& self) { return Text(self.getTimeCode()); }, unlocked(),
            "Time code of the position.")
        .def("canPullRender", &LObject::canPullRender, unlocked(),
             "Whether it renders a picture on demand.")
        .def(
            "renderVideoFrame",
            [](LObject& self) { return wrapFrame(quol::FramePtr(self.renderVideoFrame())); },
            outside(), "Renders one picture now; None where a class cannot.")
        .def("addPullConsumer", &LObject::addPullConsumer, outside(),
             "Registers a consumer that asks by renderVideoFrame.")
        .def("removePullConsumer", &LObject::removePullConsumer, outside(), "Signs it off.")
        .def(
            "statusGet",
            [](LObject& self) {
                int status = 0;
                self.statusGet(status);
                return status;
            },
            unlocked(), "The running state: 0 unless a class says otherwise.")
        .def("getFPS", &LObject::getFPS, unlocked(), "Frames a second; 25.0 where none is known.")
        .def("getWidth", &LObject::getWidth, unlocked(), "Pixels; 0 where none is known.")
        .def("getHeight", &LObject::getHeight, unlocked(), "Pixels; 0 where none is known.")
        .def(
            "getModeName", [](LObject& self) { return Text(self.getModeName()); }, unlocked(),
            "Name of the input mode.")
        .def(
            "distributeVideoFrame",
            [](LObject& self, const Frame& frame) {
                const quol::FramePtr clone = pictureOf(frame);
                const Distribution distribution(self);
                const Unlocked unlocked;
                self.distributeVideoFrame(clone.get());
            },
            py::arg("frame"), "Hands a picture to all sinks.")
        .def(
            "distributeAudioFrame",
            [](LObject& self, const Frame& frame) {
                const quol::FramePtr clone = soundOf(frame);
                const Distribution distribution(self);
                const Unlocked unlocked;
                self.distributeAudioFrame(clone.get());
            },
            py::arg("frame"), "Hands a block of sound to all sinks.");
}

} // namespace quolpy
