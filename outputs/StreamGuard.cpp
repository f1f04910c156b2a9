#include "outputs/StreamGuard.h"

#include <algorithm>

#include "core/Clock.h"

namespace quol {

void StreamGuard::starts(std::int64_t longest) {
    finishBy_ = never;
    sendBy_ = steadyNow() + longest;
    starting_ = true;
}

void StreamGuard::started() {
    starting_ = false;
    sendBy_ = never;
}

void StreamGuard::finishes(std::int64_t longest) {
    // The latest packet may be long ago. The sending thread gives up at the same time, perhaps.
    std::int64_t by = sendBy_;
    while (by != 0 && !sendBy_.compare_exchange_weak(by, never)) {
    }
    finishBy_ = steadyNow() + longest;
}

void StreamGuard::sends(std::int64_t longest) {
    if (sendBy_ != 0) sendBy_ = steadyNow() + longest;
}

bool StreamGuard::expired() const {
    if (starting_ && held_ > 0) return true;
    return steadyNow() > std::min(sendBy_.load(), finishBy_.load());
}

} // namespace quol
