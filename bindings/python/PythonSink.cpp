#include "PythonSink.h"

#include "Frame.h"

namespace quolpy {

// The interpreter lock is held until all that was made for the call is gone again.
template <typename... Args>
void PythonSink::call(const char* method, Args&&... args) {
    const Callback callback(CallbackKind::push);
    if (!callback.isOpen()) return;
    // The exception of a thread that pushes by hand stays as it is.
    const py::error_scope scope;
    try {
        const py::function override = py::get_override(static_cast<const LSink*>(this), method);
        if (override) override(std::forward<Args>(args)...);
    } catch (py::error_already_set& error) {
        reportUnraisable(error, method);
    } catch (const std::exception& error) {
        PyErr_SetString(PyExc_RuntimeError, error.what());
        PyErr_WriteUnraisable(nullptr);
    }
}

void PythonSink::pushVideoFrame(AVFrame* frame) {
    if (auto wrapped = wrapFrame(quol::cloneFrame(frame)))
        call("pushVideoFrame", std::move(wrapped));
}

void PythonSink::pushAudioFrame(AVFrame* frame) {
    if (auto wrapped = wrapFrame(quol::cloneFrame(frame)))
        call("pushAudioFrame", std::move(wrapped));
}

void PythonSink::flush() {
    call("flush");
}

void PythonSink::setPaused(bool paused) {
    call("setPaused", paused);
}

} // namespace quolpy
