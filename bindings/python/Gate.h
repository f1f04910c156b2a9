// The way between Python and the library: who holds the interpreter lock, and when.
//
// The library's threads and Python's meet at two kinds of locks, the interpreter's and the
// library's own. There is no deadlock because of one rule: nobody waits for a lock of the library
// while holding the interpreter's. So every call that can wait gives it away (Unlocked), and what
// calls back takes it (Callback).
//
// At the interpreter's end a third party comes in: threads of Python that are still in a call. A
// thread that asks for the interpreter lock then is ended by Python in the middle of C++ code,
// which C++ does not survive. Here it sleeps for the rest of the process instead.
#pragma once

#include <pybind11/pybind11.h>

#include <string>

namespace quolpy {

namespace py = pybind11;

// Gives the interpreter lock away for its life. Throws a Python RuntimeError when the calling
// thread is inside an edit of a mixer's layer, whose lock each further call would wait for.
class Unlocked {
public:
    Unlocked();
    ~Unlocked();
    Unlocked(const Unlocked&) = delete;
    Unlocked& operator=(const Unlocked&) = delete;

private:
    PyThreadState* state;
};

// The same for calls that must not be made from inside a push, where they would wait for the very
// thread they are made on: a Python RuntimeError there.
class Outside {
public:
    Outside();

private:
    struct Check {
        Check();
    } check;
    Unlocked unlocked;
};

using unlocked = py::call_guard<Unlocked>;
using outside = py::call_guard<Outside>;

// What a call into Python is made from.
enum class CallbackKind { push, edit, notify };

// Takes the interpreter lock for a call into Python, on any thread. At the interpreter's end there
// is none to be had: look at `isOpen` before touching anything of Python's.
class Callback {
public:
    explicit Callback(CallbackKind kind);
    ~Callback();
    Callback(const Callback&) = delete;
    Callback& operator=(const Callback&) = delete;

    bool isOpen() const { return open; }

private:
    const CallbackKind kind;
    bool open;
    PyGILState_STATE state{};
};

// Whether the calling thread is inside a callback in which objects must not be destroyed.
bool isInsideCallback();

// Reports the Python exception that is being handled as one that nobody can take, and goes on.
void reportUnraisable(py::error_already_set& error, const char* where);

// From now on no callback begins, and threads of Python other than this one do not come back from
// their calls. The interpreter lock is held. Calls in progress have a moment to come back.
void closeGate();

// From now on calls made inside a callback do not come back either: the interpreter goes.
void endCallbacks();

// Sleeps for good where the gate is closed and the calling thread is not the one that closed it.
// Not to be called with the interpreter lock, which would never come back.
void restIfClosed();

// The calling thread is the module's own, which the end waits for: it never rests.
void neverRest();

// Waits until no call is in progress, ten seconds at most. False when there still is one.
bool waitForCalls();

// Whether this is the process that loaded the module, and not a copy of it, which has none of its
// threads.
bool isOwnProcess();

} // namespace quolpy
