// The module itself: everything by families, and what happens at the interpreter's end.
#include "Bind.h"
#include "quolsdk/quolsdk_c_api.h"

namespace {

// A number in a text that does not fit raises what one that is no number does.
void translateExceptions() {
    pybind11::register_local_exception_translator([](std::exception_ptr raised) {
        try {
            if (raised) std::rethrow_exception(raised);
        } catch (const std::out_of_range& error) {
            PyErr_SetString(PyExc_ValueError, error.what());
        }
    });
}

} // namespace

PYBIND11_MODULE(_quolsdk, module) {
    using namespace quolpy;
    module.doc() = "Live video production: sources, mixers, titles and sinks.";
    // The names live one folder up, where everybody finds them.
    module.attr("__name__") = "quolsdk";
    translateExceptions();

    bindFormats(module);
    bindFrames(module);
    bindObjects(module);
    bindFilter(module);
    bindFrameTap(module);
    bindSignal(module);
    bindFile(module);
    bindReader(module);
    bindLive(module);
    bindStreamPlay(module);
    bindMixer(module);
    bindAudioMixer(module);
    bindStinger(module);
    bindCharacterRecords(module);
    bindCharacterItems(module);
    bindCharacter(module);
    bindSwitcher(module);
    bindMultiview(module);
    bindAnimation(module);
    bindOutput(module);
    bindRecorder(module);
    bindStream(module);
    bindReplay(module);
    bindConvert(module);
    bindPreview(module);

    module.def("get_version", &quolsdk_get_version, "The library's version.");
    module.attr("__version__") = quolsdk_get_version();
    module.attr("_pybind11") = PYBIND11_TOSTRING(PYBIND11_VERSION_MAJOR) "." PYBIND11_TOSTRING(
        PYBIND11_VERSION_MINOR); // whose wording the signatures have
    module.attr("__name__") = "quolsdk._quolsdk";

    // Sinks leave their sources and recordings are finished while Python still runs; what is never
    // collected goes when it has ended.
    py::module_::import("atexit").attr("register")(py::cpp_function(&closeGraph));
    Py_AtExit(&endGraph);
}
