// The file that a conversion writes.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "core/Handles.h"
#include "outputs/ConvertGuard.h"
#include "outputs/ConvertSettings.h"
#include "outputs/ConvertSound.h"
#include "outputs/DiskReserve.h"
#include "outputs/EncoderPictures.h"
#include "outputs/EncoderSession.h"

namespace quol {

// Pictures and sound are two plain sequences, each counted from 0: the times of what comes play no
// part. One thread.
class ConvertOutput {
public:
    // `settings` and `stop` outlive it. Once `stop` is up an output that does not take what it is
    // given, as a network may not, is given up after a moment; files of this machine are not.
    ConvertOutput(const ConvertSettings& settings, const std::atomic<bool>& stop);
    ConvertOutput(const ConvertOutput&) = delete;
    ConvertOutput& operator=(const ConvertOutput&) = delete;

    // Opens muxer, encoders and file and writes the header. False when one of them fails; the error
    // stream tells. A file that is one of the inputs is never opened; where the muxer refuses what
    // it is to hold, a file is neither made nor emptied.
    bool open();

    bool hasPicture() const { return session_.video() != nullptr; }
    bool hasSound() const { return sound_ != nullptr; }

    // Encode and write. What cannot be converted is left out.
    void addPicture(const AVFrame& picture);
    void addSound(const AVFrame& block);
    // An input has ended: its resampler goes.
    void endFile();

    // Whether it takes more: false when a write has failed, or when the disk has no room but for
    // what is needed to finish the file. The error stream tells the first time.
    bool takesMore();

    // It takes no more for that error. The error stream tells the first time.
    void end(int error);

    // Writes what waits in the encoders, unless `stop` is up or a write has failed, and the
    // trailer; closes the file. A write that fails on the way is told as `end` does.
    void finish();

private:
    bool openVideo();
    bool openAudio();
    bool openFile();
    AVIOInterruptCB giveUp();
    bool givenUp();
    static int isGivenUp(void* self);
    static int openForMuxer(AVFormatContext* muxer, AVIOContext** file, const char* url, int flags,
                            AVDictionary** options);

    const ConvertSettings& settings_;
    const std::atomic<bool>& stop_;
    // Steady nanoseconds, 0 for not yet. Written where FFmpeg asks, on whatever thread.
    std::atomic<std::int64_t> stopSeen_{0};
    ConvertGuard guard_;
    EncoderSession session_;
    decltype(AVFormatContext::io_open) ownOpen_ = nullptr; // the muxer's
    DiskReserve reserve_;
    EncoderPictures scaled_;
    std::unique_ptr<ConvertSound> sound_; // null without
    std::int64_t pictures_ = 0;
    bool ended_ = false; // it takes no more
};

} // namespace quol
