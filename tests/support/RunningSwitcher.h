// A switcher that runs by its own clock, with a sink.
#pragma once

#include <cstddef>

#include "quolsdk/LSwitcher.h"
#include "support/CollectingSink.h"
#include "support/FilePlayer.h"
#include "support/PlainFrames.h"
#include "support/RunningMixer.h"

namespace test {

inline constexpr int runningWidth = 64;
inline constexpr int runningHeight = 48;

LSwitcher::SwitcherStats statsOf(LSwitcher& switcher);

// On a small canvas. Sources are to be made before it.
class RunningSwitcher {
public:
    explicit RunningSwitcher(double fps = 50.0);
    ~RunningSwitcher();
    RunningSwitcher(const RunningSwitcher&) = delete;
    RunningSwitcher& operator=(const RunningSwitcher&) = delete;

    // Whether its clock goes: every tick has its sound, whatever there is to see.
    bool goesOn(std::size_t ticks = 3) { return sink.waitForSounds(sink.soundCount() + ticks); }
    // Whether nothing comes for a while in which much should have.
    bool standsStill();
    bool shows(const Levels& levels);

    CollectingSink sink{1};
    LSwitcher switcher;
};

} // namespace test
