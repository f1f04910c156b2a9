// What the tests of the audio mixer share: a mixer with a sink on it, and sound of which all is
// known.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "quolsdk/LAudioMixer.h"
#include "support/CollectingSink.h"
#include "support/LiveSource.h"
#include "support/PlainFrames.h"

namespace test {

// Interleaved pairs (first, -first), (first + 1, -first - 1) and so on, at 48 kHz.
quol::FramePtr countingSound(int samples, int first);

// Sound of one level that lasts longer than any test looks at it.
quol::FramePtr longSound(std::int16_t left, std::int16_t right, int sampleRate = 48000);

// Hands the sound to the sinks of the source.
void push(LObject& source, const quol::FramePtr& sound);

// A mixer with a sink that keeps all it gets. Sources are to be made before it.
class RunningAudioMixer {
public:
    RunningAudioMixer();
    ~RunningAudioMixer();
    RunningAudioMixer(const RunningAudioMixer&) = delete;
    RunningAudioMixer& operator=(const RunningAudioMixer&) = delete;

    // Adds a channel that is heard.
    void addHeard(const std::string& name, LObject& source);

    // A block that was begun after the call; null when none comes.
    quol::FramePtr nextBlock();

    // Waits until blocks that were begun after the call have passed; false when none come.
    bool passBlocks(std::size_t count = 3);

    // Whether a block that was begun after the call is nothing but pairs of these levels.
    bool isSteady(int left, int right);

    // All that was sent so far, silent samples left out; of the left (0) or right (1) side.
    std::vector<int> heard(std::size_t side = 0) const;

    // The same, once that many samples and the blocks behind them have come.
    std::vector<int> heardAfter(std::size_t count, std::size_t side = 0);

    LAudioMixer mixer;
    CollectingSink sink;
};

// The same with a channel "a" that is heard and has sound of these levels for longer than any test
// looks at it.
class SoundingAudioMixer : public RunningAudioMixer {
public:
    SoundingAudioMixer(LObject& source, std::int16_t left, std::int16_t right);
};

} // namespace test
