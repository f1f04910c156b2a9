// A sink that is written in Python.
#pragma once

#include "Gate.h"
#include "quolsdk/LSink.h"

namespace quolpy {

// Hands what is pushed to the methods of a Python class derived from LSink, on the thread of the
// source: each push waits for the interpreter lock. Frames are references that Python may keep. An
// exception is reported by sys.unraisablehook and goes no further.
class PythonSink : public LSink {
public:
    void pushVideoFrame(AVFrame* frame) override;
    void pushAudioFrame(AVFrame* frame) override;
    void flush() override;
    void setPaused(bool paused) override;

private:
    template <typename... Args>
    void call(const char* method, Args&&... args);
};

} // namespace quolpy
