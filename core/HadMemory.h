// Work on a thread of ours that memory may be short for.
#pragma once

#include <new>

namespace quol {

// Does the work; false when memory ran short in the middle of it.
template <typename Work>
bool hadMemory(const Work& work) {
    try {
        work();
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

} // namespace quol
