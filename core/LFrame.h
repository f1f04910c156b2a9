/// @file
/// The frame tap: a look at what a source produces.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "quolsdk/LSink.h"
#include "quolsdk/export.h"

class LObject;

namespace quol {
class Resampler;
class Scaler;
} // namespace quol

/// A sink that keeps the latest picture as packed RGBA and the latest block of sound as interleaved
/// 16-bit stereo, for the host to fetch by copy.
///
/// It has no thread: the conversion runs on the thread of the source, under the same mutex as the
/// host's copies, so a host that fetches large pictures very often holds the source up.
class QUOLSDK_API LFrame : public LSink {
public:
    /// A picture and what belongs to it, all copies.
    struct Video {
        std::int32_t width = 0;               ///< pixels; 0 until the first picture
        std::int32_t height = 0;              ///< pixels
        std::vector<std::uint8_t> rgba;       ///< `stride * height` bytes, R G B A
        std::int32_t stride = 0;              ///< bytes per row, always `width * 4`
        std::string timecode = "00:00:00:00"; ///< from the latest picture that carried one
    };

    /// A block of sound, a copy.
    struct Audio {
        std::int32_t channels = 0;       ///< 2 once sound has arrived
        std::int32_t sampleRate = 0;     ///< Hz, that of the latest block
        std::vector<std::uint8_t> audio; ///< interleaved 16-bit, 4 bytes a sample pair
        std::int32_t samples = 0;        ///< samples a channel
    };

    LFrame();
    /// Leaves the source, which must still be there.
    ~LFrame() override;

    /// Leaves the source looked at so far and attaches to `source`; null only leaves. The source
    /// must outlive the connection.
    void readerObject(LObject* source);

    /// The latest picture; never waits. Any thread.
    Video getVideo() const;
    /// The latest block of sound; never waits. A host slower than the source misses blocks. Any
    /// thread.
    Audio getAudio() const;

    /// Replaces the picture. A null frame, and one that cannot be converted, leaves the one before.
    void pushVideoFrame(AVFrame* frame) override;

    /// Replaces the block of sound. The conversion is made for the first frame and never rebuilt:
    /// a later change of the input's form is not followed.
    void pushAudioFrame(AVFrame* frame) override;

private:
    mutable std::mutex mutex; ///< guards all below but `source`
    Video video;
    Audio audio;
    std::vector<std::uint8_t> audioBuffer; ///< what a conversion writes into, 192000 bytes
    std::unique_ptr<quol::Resampler> resampler;
    std::unique_ptr<quol::Scaler> scaler;
    std::vector<std::uint8_t> padded; ///< what a conversion writes into, with rows rounded up

    std::mutex sourceMutex;    ///< guards `source`; never taken inside a push
    LObject* source = nullptr; ///< not owned
};
