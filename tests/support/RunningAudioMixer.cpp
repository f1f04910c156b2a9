#include "support/RunningAudioMixer.h"

#include "support/Frames.h"

namespace test {

namespace {

constexpr std::size_t all = 100000; // blocks to keep: more than any test waits for
constexpr int longSeconds = 40;

} // namespace

quol::FramePtr countingSound(int samples, int first) {
    quol::FramePtr sound = plainSound(samples, 0, 0);
    if (!sound) return nullptr;
    auto* values = reinterpret_cast<std::int16_t*>(sound->data[0]);
    for (int i = 0; i < samples; ++i) {
        *values++ = static_cast<std::int16_t>(first + i);
        *values++ = static_cast<std::int16_t>(-(first + i));
    }
    return sound;
}

quol::FramePtr longSound(std::int16_t left, std::int16_t right, int sampleRate) {
    return plainSound(sampleRate * longSeconds, left, right, 0, sampleRate);
}

void push(LObject& source, const quol::FramePtr& sound) {
    source.distributeAudioFrame(sound.get());
}

RunningAudioMixer::RunningAudioMixer() : sink(all) {
    mixer.addSink(&sink);
}

RunningAudioMixer::~RunningAudioMixer() {
    mixer.removeSink(&sink);
}

void RunningAudioMixer::addHeard(const std::string& name, LObject& source) {
    mixer.addChannel(name, &source);
    mixer.setChannelMute(name, false);
}

quol::FramePtr RunningAudioMixer::nextBlock() {
    return passBlocks(1) ? sink.latestSound() : nullptr;
}

// One that is in the making may still be of before the call; the one behind it is not.
bool RunningAudioMixer::passBlocks(std::size_t count) {
    return sink.waitForSounds(sink.soundCount() + 1 + count);
}

bool RunningAudioMixer::isSteady(int left, int right) {
    const quol::FramePtr block = nextBlock();
    if (!block) return false;
    const std::vector<std::int16_t> samples = samplesOf(*block);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (samples[i] != (i % 2 == 0 ? left : right)) return false;
    }
    return !samples.empty();
}

std::vector<int> RunningAudioMixer::heard(std::size_t side) const {
    std::vector<int> values;
    for (const quol::FramePtr& block : sink.keptSounds()) {
        const std::vector<std::int16_t> samples = samplesOf(*block);
        for (std::size_t i = side; i < samples.size(); i += 2) {
            if (samples[i] != 0) values.push_back(samples[i]);
        }
    }
    return values;
}

std::vector<int> RunningAudioMixer::heardAfter(std::size_t count, std::size_t side) {
    waitUntil([&] { return heard(side).size() >= count; });
    passBlocks();
    return heard(side);
}

SoundingAudioMixer::SoundingAudioMixer(LObject& source, std::int16_t left, std::int16_t right) {
    addHeard("a", source);
    push(source, longSound(left, right));
}

} // namespace test
