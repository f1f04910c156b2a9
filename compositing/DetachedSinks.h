// Sinks that a compositor has given up and that are still attached to their sources.
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "quolsdk/LSink.h"

class LObject;

namespace quol {

// They are detached and ended when this goes, outside the lock of the compositor's state: detaching
// waits for the source's distribution, and a slow one must not hold up the picture.
class DetachedSinks {
public:
    DetachedSinks() = default;
    DetachedSinks(const DetachedSinks&) = delete;
    DetachedSinks& operator=(const DetachedSinks&) = delete;
    ~DetachedSinks() { release(); }

    void add(LObject* source, std::unique_ptr<LSink> sink);
    void release();

private:
    std::vector<std::pair<LObject*, std::unique_ptr<LSink>>> sinks_;
};

} // namespace quol
