/// @file
/// A constant picture: a colour or a still image.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "quolsdk/FrameHandle.h"
#include "quolsdk/LObject.h"
#include "quolsdk/formats.h"

namespace quol {
class MediaInput;
class PicturePool;
class Sleeper;
} // namespace quol

/// A source of one constant picture at the rate of its format, in planar YUV 4:2:0 8-bit whatever
/// the format's `pixelFormat` says. No sound. A new signal is 1280x720 black at 50 frames a second.
///
/// Threads: any, but `Start`, `Stop` and the destructor never from inside a push. A change while it
/// runs shows at the next picture. Opening an image holds the setters up for as long as the file
/// takes.
class QUOLSDK_API LSignal : public LObject {
public:
    LSignal();
    /// Stops the worker.
    ~LSignal() override;

    /// Shows a colour, "#RRGGBB", and leaves the image. Any text of another length, or without the
    /// hash sign, is black. A pair that is no hexadecimal number gives no picture at all until the
    /// next change.
    void setColor(const std::string& color);

    /// Shows a still image, scaled to the format's size; an empty path goes back to the colour. An
    /// image that cannot be read gives black.
    void setImage(const std::string& path);

    /// Size and rate to come. A width or height below 1 gives no pictures; a rate of 0 or below
    /// counts as 25.
    void setVideoFormat(const videoFormatProps& format);
    /// The format in use, expanded.
    void getVideoFormat(videoFormatProps& format);

    /// Starts the worker; true also when it runs already. False where there is no thread to be had.
    bool Start();
    /// Ends the worker and waits for it.
    void Stop();

    /// The picture as it stands: owned by the caller, who frees it with `av_frame_free`. Null when
    /// the format has no size or memory is short.
    /// @throws std::invalid_argument "stoi" for a colour with a pair that is no number
    AVFrame* createFrame();

private:
    void signalLoop();
    quol::FramePtr drawFrame();
    quol::FramePtr tryCreateFrame();
    double tickSeconds();

    std::mutex mutex;           ///< guards the next four
    std::string color;          ///< "#RRGGBB"
    std::string imagePath;      ///< wins over `color` when not empty
    videoFormatProps format;    ///< expanded
    quol::FramePtr cachedFrame; ///< the finished picture; null after every change
    const std::unique_ptr<quol::PicturePool> pool;
    /// Reads the image, under `mutex`; only MediaInput::interrupt is called from elsewhere.
    const std::unique_ptr<quol::MediaInput> imageInput;

    std::mutex threadMutex; ///< guards `thread`: Start and Stop one at a time
    std::thread thread;     ///< runs signalLoop
    std::atomic<bool> running{false};
    const std::unique_ptr<quol::Sleeper> sleeper;
};
