// Shortages of memory, one allocation after another, for what is called and for what runs by
// itself. As FailingMemory.h, no more than one file of a program may include it.
#pragma once

#include <gtest/gtest.h>

#include <malloc.h>

#include <atomic>
#include <cerrno>
#include <functional>
#include <utility>

#include "support/CollectingSink.h"
#include "support/FailingMemory.h"

namespace test {

// Whether FFmpeg's own memory fails too. Not everything of it bears that: a scaler from YUV to RGB
// that got no table is handed out all the same, and crashes when it is used.
inline std::atomic<bool> refusesFFmpeg = true;

} // namespace test

// FFmpeg takes its memory from here.
extern "C" inline __attribute__((used, visibility("default"))) int posix_memalign(
    void** memory, std::size_t alignment, std::size_t size) noexcept {
    if (test::refusesFFmpeg && test::isAllocationToFail()) {
        ++test::failures;
        return ENOMEM;
    }
    *memory = memalign(alignment, size);
    return *memory != nullptr ? 0 : ENOMEM;
}

namespace test {

// Counts, and needs no memory for it.
class CountingSink : public LSink {
public:
    void pushVideoFrame(AVFrame* /*frame*/) override { ++pictures; }
    void pushAudioFrame(AVFrame* /*frame*/) override { ++sounds; }

    // Whether two more come, of which the second was begun after the call.
    bool getsPictures() const { return grows(pictures); }
    bool getsSounds() const { return grows(sounds); }

    std::atomic<int> pictures{0};
    std::atomic<int> sounds{0};

private:
    static bool grows(const std::atomic<int>& count) {
        const int before = count;
        return waitUntil([&] { return count >= before + 2; });
    }
};

// The calling thread is spared for as long as this stands.
class Spared {
public:
    Spared() { isSpared = true; }
    Spared(const Spared&) = delete;
    Spared& operator=(const Spared&) = delete;
    ~Spared() {
        failEvery = 0;
        isSpared = false;
    }
};

// What a test makes for itself within a call that is short of memory.
template <typename Make>
auto withMemory(const Make& make) {
    const int after = std::exchange(failAfter, -1);
    auto made = make();
    failAfter = after;
    return made;
}

// Each allocation of a call fails in its turn, until there is none left to fail; nothing but
// std::bad_alloc may come out of it. `after` is done behind each. How many there were.
template <typename Call>
int refuseEach(
    const Call& call, const std::function<void()>& after = [] {}) {
    for (int number = 0; number < 10000; ++number) {
        failAfter = number;
        try {
            call();
        } catch (const std::bad_alloc&) {
            EXPECT_LT(failAfter, 0) << number; // one of ours
        }
        const bool wasMet = failAfter < 0;
        failAfter = -1;
        after();
        if (!wasMet) return number;
    }
    ADD_FAILURE() << "no end";
    return -1;
}

// One such, and waits for it; false when there is none.
inline bool refuseOnce(int number) {
    const Spared here;
    const int before = failures;
    refuseOneOfThoseToCome(number);
    return waitUntil([&] { return failures > before; });
}

// The first, then, from another moment on, the second, and so on up to `most`, which should be more
// than one round of a loop takes. Behind each `goesOn` has to hold. How many failed; fewer where
// nothing is allocated any more.
inline int refuseInTurn(int most, const std::function<bool()>& goesOn) {
    for (int number = 0; number < most; ++number) {
        if (!refuseOnce(number)) return number;
        const Spared here;
        if (!goesOn()) {
            ADD_FAILURE() << "nothing comes behind shortage " << number;
            return number;
        }
    }
    return most;
}

// For a while there is none at all for other threads. Whether `goesOn` holds behind it.
inline bool survivesDrought(const std::function<bool()>& goesOn, int failed = 20) {
    const Spared here;
    const int before = failures;
    failEvery = 1;
    waitUntil([&] { return failures >= before + failed; });
    failEvery = 0;
    EXPECT_GT(failures, before);
    return goesOn();
}

} // namespace test
