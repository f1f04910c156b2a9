// A host's own filters.
#include "Bind.h"
#include "quolsdk/LFilter.h"

namespace quolpy {

namespace {

using Function = std::shared_ptr<py::function>;

// A function of Python's, given back with the interpreter lock. When the interpreter has ended
// there is nobody to give it back to.
Function holdFunction(py::function function) {
    return Function(new py::function(std::move(function)), [](py::function* held) {
        const Callback callback(CallbackKind::notify);
        if (callback.isOpen()) delete held;
    });
}

void callFunction(const Function& function) {
    const Callback callback(CallbackKind::notify);
    if (!callback.isOpen()) return;
    try {
        (*function)();
    } catch (py::error_already_set& error) {
        reportUnraisable(error, "LFilter.setNotifyCallback");
    }
}

// The node holds the function too: it goes outside the locks of the filter, which it may call.
void setNotifyCallback(LFilter& filter, std::optional<py::function> callback) {
    Function function;
    std::function<void()> notify;
    if (callback) {
        function = holdFunction(std::move(*callback));
        notify = [function] { callFunction(function); };
    }
    const Unlocked unlocked;
    connect(filter, "notify", std::move(function),
            [&] { filter.setNotifyCallback(std::move(notify)); });
}

} // namespace

void bindFilter(py::module_& module) {
    Class<LFilter, LObject> filter(module, "LFilter",
                                   "A set of FFmpeg filters by name, for the pictures or the sound "
                                   "of a player.");
    py::enum_<LFilter::Type>(filter, "Type", "What the filters work on.")
        .value("audio", LFilter::Type::audio)
        .value("video", LFilter::Type::video);
    filter.def(py::init([](LFilter::Type type) { return make<LFilter>(type); }), py::arg("type"))
        .def("setNotifyCallback", &setNotifyCallback, py::arg("callback"),
             "What setProps calls after each change, on the caller's thread; None for nothing.")
        .def(
            "getFilterString", [](LFilter& self) { return Text(self.getFilterString()); },
            unlocked(), "The chain, filters in the alphabetical order of their names.");
    bindProps(filter,
              "Sets the arguments of the filter `key`; True means none, False takes it out.");
}

} // namespace quolpy
