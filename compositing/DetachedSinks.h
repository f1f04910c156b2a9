// Sinks that a compositor has given up and that are still attached to their sources.
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "quolsdk/LSink.h"

class LObject;

namespace quol {

// Detaches a sink from its source and ends it, at once. Needs no memory.
void detachSink(LObject* source, std::unique_ptr<LSink> sink);

// They are detached and ended when this goes, outside the lock of the compositor's state: detaching
// waits for the source's distribution, and a slow one must not hold up the picture.
class DetachedSinks {
public:
    DetachedSinks() = default;
    DetachedSinks(const DetachedSinks&) = delete;
    DetachedSinks& operator=(const DetachedSinks&) = delete;
    ~DetachedSinks() { release(); }

    // Throws std::bad_alloc with the sink still where it was: one that went would leave its source
    // pushing into nothing.
    template <typename Sink>
    void add(LObject* source, std::unique_ptr<Sink>&& sink) {
        if (!sink) return;
        sinks_.reserve(sinks_.size() + 1);
        sinks_.emplace_back(source, std::move(sink));
    }
    void release();

private:
    std::vector<std::pair<LObject*, std::unique_ptr<LSink>>> sinks_;
};

} // namespace quol
