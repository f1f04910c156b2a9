#include "support/RunningSwitcher.h"

#include <chrono>
#include <thread>

namespace test {

LSwitcher::SwitcherStats statsOf(LSwitcher& switcher) {
    LSwitcher::SwitcherStats stats;
    switcher.getStats(stats);
    return stats;
}

RunningSwitcher::RunningSwitcher(double fps) {
    switcher.setVideoFormat(customVideo(runningWidth, runningHeight, fps, 1));
    switcher.addSink(&sink);
}

RunningSwitcher::~RunningSwitcher() {
    switcher.setProgram(nullptr);
    switcher.setPreview(nullptr);
    switcher.removeSink(&sink);
}

bool RunningSwitcher::standsStill() {
    const std::size_t sounds = sink.soundCount();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    return sink.soundCount() == sounds;
}

bool RunningSwitcher::shows(const Levels& levels) {
    return waitUntil([&] { return levelsAt(sink.latestPicture().get(), 5, 5) == levels; });
}

} // namespace test
