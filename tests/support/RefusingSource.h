// A source that a sink cannot get on, as when memory is short.
#pragma once

#include <new>

#include "quolsdk/LObject.h"

namespace test {

// The host that was told so may let the source go: whoever leaves it afterwards uses what is gone.
class RefusingSource : public LObject {
public:
    void addSink(LSink* sink) override {
        if (refuses) throw std::bad_alloc();
        LObject::addSink(sink);
    }
    void removeSink(LSink* sink) override {
        ++left;
        LObject::removeSink(sink);
    }

    bool refuses = true;
    int left = 0; // times that a sink has left it
};

} // namespace test
