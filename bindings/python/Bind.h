// What the bindings of all classes share.
#pragma once

#include <pybind11/functional.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "Gate.h"
#include "Graph.h"
#include "Text.h"
#include "quolsdk/formats.h"

namespace quolpy {

// A class as Python sees it. Objects are made by `make`, so that the graph knows them.
template <typename T, typename... Bases>
using Class = py::class_<T, Bases..., std::shared_ptr<T>>;

using Source = std::shared_ptr<LObject>;

void bindFormats(py::module_& module);
void bindFrames(py::module_& module);
void bindObjects(py::module_& module);
void bindFilter(py::module_& module);
void bindFrameTap(py::module_& module);
void bindSignal(py::module_& module);
void bindFile(py::module_& module);
void bindReader(py::module_& module);
void bindLive(py::module_& module);
void bindStreamPlay(py::module_& module);
void bindMixer(py::module_& module);
void bindAudioMixer(py::module_& module);
void bindStinger(py::module_& module);
void bindSwitcher(py::module_& module);
void bindMultiview(py::module_& module);
void bindCharacterRecords(py::module_& module);
void bindCharacterItems(py::module_& module);
void bindCharacter(py::module_& module);
void bindAnimation(py::module_& module);
void bindOutput(py::module_& module);
void bindRecorder(py::module_& module);
void bindStream(py::module_& module);
void bindReplay(py::module_& module);
void bindConvert(py::module_& module);
void bindPreview(py::module_& module);

// `Guard` is `outside` for classes that a push must not call.
template <typename Guard = unlocked, typename T, typename... Options>
void bindVideoFormat(py::class_<T, Options...>& c) {
    c.def("setVideoFormat", &T::setVideoFormat, Guard(), py::arg("format"),
          "Sets the picture format.");
    c.def(
        "getVideoFormat",
        [](T& self) {
            videoFormatProps format;
            self.getVideoFormat(format);
            return format;
        },
        Guard(), "The picture format, a copy.");
}

template <typename Guard = unlocked, typename T, typename... Options>
void bindAudioFormat(py::class_<T, Options...>& c) {
    c.def("setAudioFormat", &T::setAudioFormat, Guard(), py::arg("format"),
          "Sets the sound format.");
    c.def(
        "getAudioFormat",
        [](T& self) {
            audioFormatProps format;
            self.getAudioFormat(format);
            return format;
        },
        Guard(), "The sound format, a copy.");
}

template <typename Guard = unlocked, typename T, typename... Options>
void bindProps(py::class_<T, Options...>& c,
               const char* text =
                   "Sets a property; a key that is none is ignored. ValueError where "
                   "a number is wanted and the value is none.") {
    c.def(
        "setProps",
        [](T& self, const std::string& key, const PropValue& value) {
            self.setProps(key, value.text);
        },
        Guard(), py::arg("key"), py::arg("value"), text);
}

template <typename T, typename... Options>
void bindStatus(py::class_<T, Options...>& c, const char* text) {
    c.def(
        "statusGet",
        [](T& self) {
            int status = 0;
            self.statusGet(status);
            return status;
        },
        unlocked(), text);
}

// The codecs and containers that the recorder and the converter can tell of.
template <typename T, typename... Options>
void bindCodecs(py::class_<T, Options...>& c) {
    c.def("setContainer", &T::setContainer, unlocked(), py::arg("name"),
          "Muxer, \"mp4\" unless set; empty: by the file's ending.");
    c.def_static("getAvailableContainers", &T::getAvailableContainers, unlocked(),
                 "Names of all muxers, sorted.");
    c.def_static("getAvailableVideoCodecs", &T::getAvailableVideoCodecs, unlocked(),
                 py::arg("container"), "Names of all picture encoders that a container takes.");
    c.def_static("getAvailableAudioCodecs", &T::getAvailableAudioCodecs, unlocked(),
                 py::arg("container"), "Names of all sound encoders that a container takes.");
}

template <typename T, typename... Options>
void bindEncoders(py::class_<T, Options...>& c) {
    c.def("setVideoCodec", &T::setVideoCodec, unlocked(), py::arg("name"), "Picture encoder.");
    c.def("setAudioCodec", &T::setAudioCodec, unlocked(), py::arg("name"), "Sound encoder.");
    c.def("setVideoBitrate", &T::setVideoBitrate, unlocked(), py::arg("kbps"),
          "Kilobits a second of the pictures.");
    c.def("setAudioBitrate", &T::setAudioBitrate, unlocked(), py::arg("kbps"),
          "Kilobits a second of the sound.");
}

} // namespace quolpy
