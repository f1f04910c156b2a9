#include "quolsdk/LAudioMixer.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "compositing/AudioMixerSink.h"
#include "core/AudioMix.h"
#include "core/Clock.h"
#include "core/FairMutex.h"
#include "core/HadMemory.h"
#include "core/Log.h"
#include "core/ModeTables.h"
#include "core/SoundBlock.h"

namespace {

constexpr audioFormatProps initialAudio{0, 16, 48000, 2};
constexpr std::int64_t blockNanos = 20 * quol::nanosPerMilli;
constexpr int blocksPerSecond = 50;
constexpr int defaultPairs = 960;  // where the rate is too low for a block of its own
constexpr float faintest = 0.001F; // a gain at or below it is silence
constexpr float fullScale = 32768.0F;

int boundedPercent(int percent) {
    return std::clamp(percent, 0, 200);
}

float levelOf(int largest, float gain) {
    return std::min(1.0F, static_cast<float>(largest) / fullScale * gain);
}

std::size_t pairsPerBlock(int sampleRate) {
    const int rate = std::min(sampleRate, quol::maxSampleRate);
    return static_cast<std::size_t>(rate < blocksPerSecond ? defaultPairs : rate / blocksPerSecond);
}

} // namespace

// All but the sink's inside is guarded by the mixer's mutex.
struct LAudioMixer::Channel {
    Channel(std::string key, LObject* from, int sampleRate)
        : name(std::move(key)), source(from), sink(sampleRate) {}

    const std::string name;
    LObject* const source; // not owned
    AudioMixerSink sink;
    int gain = 100; // percent
    bool mute = true;
    float left = 0.0F;
    float right = 0.0F;
};

LAudioMixer::LAudioMixer()
    : sleeper(std::make_unique<quol::Sleeper>()),
      mutex(std::make_unique<quol::FairMutex>()),
      audioFormat(initialAudio) {
    ensureRunning();
}

LAudioMixer::~LAudioMixer() {
    running = false;
    sleeper->wake();
    if (thread.joinable()) thread.join();
    while (!channels.empty())
        removeChannel(channels.begin()->first);
}

void LAudioMixer::ensureRunning() {
    const std::lock_guard control(controlMutex);
    if (running) return;
    running = true;
    try {
        thread = std::thread(&LAudioMixer::mixerLoop, this);
    } catch (...) {
        running = false;
        throw;
    }
}

void LAudioMixer::addChannel(const std::string& name, LObject* source) {
    const std::lock_guard control(controlMutex);
    removeChannel(name);
    if (source == nullptr || source == this) return;
    AudioMixerSink* sink = nullptr;
    {
        const std::lock_guard lock(*mutex);
        auto channel = std::make_unique<Channel>(name, source, audioFormat.sampleRate);
        sink = &channel->sink;
        channels[name] = std::move(channel);
    }
    try {
        source->addSink(sink);
    } catch (...) { // it never had one, and the channel would leave it later
        takeChannel(name);
        throw;
    }
}

void LAudioMixer::removeChannel(const std::string& name) {
    const std::lock_guard control(controlMutex);
    std::unique_ptr<Channel> channel = takeChannel(name);
    if (channel) detach(std::move(channel));
}

std::unique_ptr<LAudioMixer::Channel> LAudioMixer::takeChannel(const std::string& name) {
    const std::lock_guard lock(*mutex);
    const auto entry = channels.find(name);
    if (entry == channels.end()) return nullptr;
    std::unique_ptr<Channel> channel = std::move(entry->second);
    channels.erase(entry);
    return channel;
}

// Outside the mutex: it waits for the source's distribution, and the mix must not.
void LAudioMixer::detach(std::unique_ptr<Channel> channel) {
    channel->source->removeSink(&channel->sink);
    quol::logOut("[LAudioMixer] Channel Removed: %s", channel->name.c_str());
}

void LAudioMixer::setChannelGain(const std::string& name, int percent) {
    const std::lock_guard lock(*mutex);
    const auto entry = channels.find(name);
    if (entry != channels.end()) entry->second->gain = boundedPercent(percent);
}

void LAudioMixer::setChannelMute(const std::string& name, bool mute) {
    const std::lock_guard lock(*mutex);
    const auto entry = channels.find(name);
    if (entry != channels.end()) entry->second->mute = mute;
}

void LAudioMixer::setMasterVolume(int percent) {
    const std::lock_guard lock(*mutex);
    masterVolume = boundedPercent(percent);
}

void LAudioMixer::setMasterMute(bool mute) {
    const std::lock_guard lock(*mutex);
    masterMute = mute;
}

void LAudioMixer::setAudioFormat(const audioFormatProps& format) {
    const std::lock_guard lock(*mutex);
    audioFormat = format;
    audioFormatProps expanded = format;
    quol::expandAudioFormat(expanded);
    audioFormat.sampleRate = expanded.sampleRate;
    audioFormat.channels = expanded.channels;
    for (auto& [name, channel] : channels)
        channel->sink.sound.setSampleRate(audioFormat.sampleRate);
}

void LAudioMixer::getAudioFormat(audioFormatProps& format) {
    const std::lock_guard lock(*mutex);
    format = audioFormat;
}

void LAudioMixer::getChannelLevel(const std::string& name, float& left, float& right) {
    const std::lock_guard lock(*mutex);
    const auto entry = channels.find(name);
    left = entry != channels.end() ? entry->second->left : 0.0F;
    right = entry != channels.end() ? entry->second->right : 0.0F;
}

float LAudioMixer::getChannelLevel(const std::string& name) {
    float left = 0.0F;
    float right = 0.0F;
    getChannelLevel(name, left, right);
    return std::max(left, right);
}

void LAudioMixer::getMasterLevel(float& left, float& right) {
    const std::lock_guard lock(*mutex);
    left = masterLeft;
    right = masterRight;
}

float LAudioMixer::getMasterLevel() {
    float left = 0.0F;
    float right = 0.0F;
    getMasterLevel(left, right);
    return std::max(left, right);
}

void LAudioMixer::mixerLoop() {
    std::int64_t next = quol::steadyNow();
    while (running) {
        next += blockNanos;
        quol::FramePtr block;
        quol::hadMemory([&] { block = mixBlock(); });
        if (block) distributeAudioFrame(block.get());
        sleeper->sleepFor(next - quol::steadyNow());
    }
}

// One block with the levels that belong to it. Null only when memory is short.
quol::FramePtr LAudioMixer::mixBlock() {
    const std::lock_guard lock(*mutex);
    const std::size_t pairs = pairsPerBlock(audioFormat.sampleRate);
    mix.assign(pairs * 2, 0);
    const float master = masterMute ? 0.0F : static_cast<float>(masterVolume) / 100.0F;
    for (auto& [name, channel] : channels)
        mixChannel(*channel, pairs, master);
    const quol::StereoPeak peak = quol::largestSamples(mix.data(), pairs);
    masterLeft = levelOf(peak.left, 1.0F);
    masterRight = levelOf(peak.right, 1.0F);
    quol::FramePtr block = quol::makeSilentBlock(static_cast<int>(pairs), audioFormat.sampleRate);
    if (block) std::memcpy(quol::samplesOf(*block), mix.data(), mix.size() * sizeof(std::int16_t));
    return block;
}

// Takes a block of the channel's sound, whether it is heard or not.
void LAudioMixer::mixChannel(Channel& channel, std::size_t pairs, float master) {
    const float gain = static_cast<float>(channel.gain) / 100.0F;
    const bool isHeard = !channel.mute && gain * master > faintest;
    quol::StereoPeak peak;
    channel.sink.sound.consume(
        pairs, [&](const std::int16_t* samples, std::size_t count, std::size_t before) {
            if (channel.mute) return;
            const quol::StereoPeak piece = quol::largestSamples(samples, count);
            peak.left = std::max(peak.left, piece.left);
            peak.right = std::max(peak.right, piece.right);
            if (isHeard) quol::addToMix(mix.data() + before * 2, samples, count * 2, gain * master);
        });
    channel.left = levelOf(peak.left, gain);
    channel.right = levelOf(peak.right, gain);
}
