#include "Gate.h"

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace quolpy {

namespace {

constexpr auto patienceForCalls = std::chrono::seconds(10);
constexpr auto patienceForReturns = std::chrono::seconds(1);

std::atomic<bool> closed{false};
std::atomic<bool> over{false}; // for callbacks, too
std::atomic<int> calls{0};     // in progress without the interpreter lock, or on their way back
std::atomic<int> callbacks{0}; // in progress
std::atomic<std::thread::id> closer;
const pid_t owner = getpid();

thread_local int callbackDepth = 0; // of any kind
thread_local int pushDepth = 0;
thread_local int editDepth = 0;
thread_local bool isOfTheModule = false;

// A callback's own calls return, or the source that it holds up could never be stopped.
bool mayNotReturn() {
    if (!closed || isOfTheModule || closer.load() == std::this_thread::get_id()) return false;
    return callbackDepth == 0 || over;
}

[[noreturn]] void sleepForever() {
    for (;;)
        pause();
}

template <typename Condition>
bool waitUntil(std::chrono::steady_clock::duration patience, Condition condition) {
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

[[noreturn]] void throwRuntimeError(const char* text) {
    PyErr_SetString(PyExc_RuntimeError, text);
    throw py::error_already_set();
}

} // namespace

Unlocked::Unlocked() {
    if (editDepth > 0) throwRuntimeError("the layer is being edited: no calls from inside");
    ++calls;
    state = PyEval_SaveThread();
    if (!mayNotReturn()) return;
    --calls;
    sleepForever();
}

Unlocked::~Unlocked() {
    if (mayNotReturn()) {
        --calls;
        sleepForever();
    }
    PyEval_RestoreThread(state);
    --calls;
}

Outside::Check::Check() {
    if (pushDepth > 0) throwRuntimeError("not from inside a push: it would wait for itself");
}

Outside::Outside() = default;

Callback::Callback(CallbackKind kind) : kind(kind) {
    ++callbacks;
    open = !closed && isOwnProcess();
    if (!open) return;
    state = PyGILState_Ensure();
    ++callbackDepth;
    if (kind == CallbackKind::push) ++pushDepth;
    if (kind == CallbackKind::edit) ++editDepth;
}

Callback::~Callback() {
    if (open) {
        if (kind == CallbackKind::push) --pushDepth;
        if (kind == CallbackKind::edit) --editDepth;
        --callbackDepth;
        PyGILState_Release(state);
    }
    --callbacks;
}

bool isInsideCallback() {
    return pushDepth > 0 || editDepth > 0;
}

void reportUnraisable(py::error_already_set& error, const char* where) {
    error.restore();
    const py::str text(where);
    PyErr_WriteUnraisable(text.ptr());
}

void closeGate() {
    closer = std::this_thread::get_id();
    closed = true;
    PyThreadState* state = PyEval_SaveThread();
    // Those inside a callback need the interpreter lock to leave it, and their calls to return.
    // Those in a call of Python's own need nothing: they fall asleep at its end, unless they are
    // just about to take the lock.
    waitUntil(patienceForCalls, [] { return callbacks == 0; });
    waitUntil(patienceForReturns, [] { return calls == 0; });
    PyEval_RestoreThread(state);
}

void endCallbacks() {
    over = true;
}

void neverRest() {
    isOfTheModule = true;
}

void restIfClosed() {
    if (mayNotReturn()) sleepForever();
}

bool waitForCalls() {
    return waitUntil(patienceForCalls, [] { return calls == 0 && callbacks == 0; });
}

bool isOwnProcess() {
    return getpid() == owner;
}

} // namespace quolpy
