// The built-in test signal at work.
#pragma once

#include "sources/LiveHub.h"

namespace quol {

// The picture never changes, so it is drawn once and every frame is another reference to it.
class LiveTestRun : public LiveRun {
public:
    explicit LiveTestRun(LiveHub& hub) : hub_(hub) {}
    void run() override;

private:
    LiveHub& hub_;
};

} // namespace quol
