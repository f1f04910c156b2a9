/// @file
/// The audio mixer: many sounds into one.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "quolsdk/FrameHandle.h"
#include "quolsdk/LObject.h"
#include "quolsdk/formats.h"

class AudioMixerSink;

namespace quol {
class FairMutex;
class Sleeper;
} // namespace quol

/// A source of sound only: it mixes named channels, each fed by a source, into stereo 16-bit blocks
/// of 20 milliseconds, on a thread of its own that runs from construction to destruction. The
/// period is absolute, so the clock does not drift; without channels there is silence.
///
/// A channel's sound is taken in the order it came, whatever its time says, and a muted channel's
/// is taken too: unmuting is heard at once. New channels are muted.
///
/// Levels are peaks of the latest block, 0.0 to 1.0: of a channel behind its gain, 0 while it is
/// muted; of the master behind everything.
///
/// Threads: any. Sources must outlive their channel: remove it, or destroy the mixer, first.
class QUOLSDK_API LAudioMixer : public LObject {
public:
    /// Starts the thread. Throws std::system_error where there is none to be had.
    LAudioMixer();
    /// Ends the thread and lets go of all sources.
    ~LAudioMixer() override;

    /// Adds a channel, muted and at gain 100, in place of one of that name. A null source only
    /// removes. A mixer is never its own channel: as its own source it counts as null.
    void addChannel(const std::string& name, LObject* source);
    void removeChannel(const std::string& name); ///< prints one line; an unknown name is ignored

    void setChannelGain(const std::string& name, int percent); ///< kept within 0..200
    void setChannelMute(const std::string& name, bool mute);   ///< true: neither heard nor measured
    void setMasterVolume(int percent);                         ///< kept within 0..200
    void setMasterMute(bool mute); ///< silence; channels still show their levels

    /// Rate and channel count of the mix, expanded by the mode; the mix stays stereo. What waits at
    /// the old rate is not played. A rate below 50 gives blocks of 960 samples.
    void setAudioFormat(const audioFormatProps& format);
    void getAudioFormat(audioFormatProps& format); ///< as stored, expanded

    /// Peaks of a channel; 0 for an unknown name.
    void getChannelLevel(const std::string& name, float& left, float& right);
    float getChannelLevel(const std::string& name); ///< the larger of the two
    void getMasterLevel(float& left, float& right); ///< peaks of the mix
    float getMasterLevel();                         ///< the larger of the two

    void ensureRunning(); ///< starts the thread unless it runs; a new mixer's runs

private:
    struct Channel;

    std::unique_ptr<Channel> takeChannel(const std::string& name);
    void detach(std::unique_ptr<Channel> channel);

    void mixerLoop();
    quol::FramePtr mixBlock();
    void mixChannel(Channel& channel, std::size_t pairs, float master);

    /// One channel change at a time, attaching included; taken before every other lock. The mixing
    /// thread never takes it.
    std::recursive_mutex controlMutex;
    std::thread thread; ///< guarded by `controlMutex`
    std::atomic<bool> running{false};
    const std::unique_ptr<quol::Sleeper> sleeper;

    /// Guards all below; held while a block is mixed.
    const std::unique_ptr<quol::FairMutex> mutex;
    std::map<std::string, std::unique_ptr<Channel>> channels;
    audioFormatProps audioFormat;
    int masterVolume = 100; ///< percent
    bool masterMute = false;
    float masterLeft = 0.0F;
    float masterRight = 0.0F;

    std::vector<std::int16_t> mix; ///< the mixing thread's: the block
};
