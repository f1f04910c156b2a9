// The preview that draws by itself.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "core/Clock.h"
#include "core/Color.h"
#include "outputs/PreviewMeter.h"
#include "outputs/PreviewPacing.h"
#include "outputs/PreviewSound.h"
#include "quolsdk/FrameHandle.h"
#include "quolsdk/LPreview.h"
#include "quolsdk/LSink.h"
#include "quolsdk/SharedText.h"

namespace quol {
class PreviewDrawing;
class PreviewSurface;
struct PreviewScene;
} // namespace quol

// Queue, pacing, meter, sound and drawing of a preview, on a worker thread of its own; all but the
// surface, which is made for the host's window by the function it is given. The libraries for the
// toolkits bring places of their own and leave the rest to this class.
//
// The source's thread pushes, the worker draws, host threads set. Every OpenGL call is the
// worker's.
class LPreviewWin32Impl final : public LPreview::Impl, public LSink {
public:
    using PeakSample = quol::PeakSample;

    static constexpr std::size_t maxQueue = 4; // pictures

    // How a preview gets its surface.
    struct SurfaceKind {
        // Called by previewEnable, on its thread. May return null.
        std::function<std::unique_ptr<quol::PreviewSurface>(void* nativeWindow)> make;
        std::string readyLine;  // told when the worker has opened it
        std::string failedLine; // and when it could not
    };

    LPreviewWin32Impl(); // in a window of the X server
    explicit LPreviewWin32Impl(SurfaceKind kind);
    ~LPreviewWin32Impl() override;

    // LPreview::Impl
    void setProps(const std::string& key, const std::string& value) override;
    void previewEnable(void* nativeWindow, bool audioEnabled, bool videoEnabled) override;
    void previewObject(LObject* object) override;
    void clear() override;
    void setName(const std::string& name) override;
    void setStatus(const std::string& status) override;
    void setAudio(bool enabled) override;
    void mute(bool muted) override;
    void statusGet(int& status) override;

    // LSink
    void pushVideoFrame(AVFrame* frame) override;
    void pushAudioFrame(AVFrame* frame) override;
    void flush() override;
    void setPaused(bool paused) override;

    // "red", "green", "black", "white", "#RRGGBB" or "#RGB"; any other text leaves the colour.
    static void parseColor(const std::string& text, quol::Rgb& color);

private:
    // A colour that host threads set and the worker reads.
    class SharedColor {
    public:
        quol::Rgb load() const {
            const std::uint32_t packed = packed_;
            const auto channel = [packed](int shift) {
                return static_cast<int>(packed >> shift & 0xFF);
            };
            return {channel(16), channel(8), channel(0)};
        }
        void set(const std::string& text);

    private:
        std::atomic<std::uint32_t> packed_{0}; // 0xRRGGBB
    };

    // Of the worker: what it draws on, and what it is to do next.
    struct Stage;
    enum class Task {
        open, // the surface that comes with it, in place of the one before
        draw,
        end,
    };

    void renderLoop();
    Task nextTask(bool hasSurface, std::unique_ptr<quol::PreviewSurface>& surface);
    bool openStage(Stage& stage, std::unique_ptr<quol::PreviewSurface> surface);
    void closeStage(Stage& stage);
    void changeStage(Stage& stage, std::unique_ptr<quol::PreviewSurface> surface);
    void pass(Stage& stage);
    // A picture, and which of the sources' turns it came in.
    struct Taken {
        quol::FramePtr frame;
        std::uint64_t turn = 0;
    };

    Taken nextFrame();
    bool waitUntilDue(const Taken& taken);
    bool moveMeter(Stage& stage, const AVFrame* frame);
    bool showTimecodeOf(const Taken& taken);
    void renderFrame(Stage& stage, const AVFrame* frame);
    void describe(quol::PreviewScene& scene) const;
    void settingChanged();

    const SurfaceKind kind_;

    // Set by host threads, read by the worker and the source's thread.
    std::atomic<bool> video_{false};
    std::atomic<bool> meterOn_{false};
    std::atomic<bool> keepsShape_{false};
    std::atomic<bool> border_{false};
    std::atomic<bool> timecodeOn_{false};
    SharedColor borderColor_;
    SharedColor background_;
    quol::SharedText name_;
    quol::SharedText status_;
    std::atomic<std::uint32_t> settings_{0}; // counts the changes of what is seen
    quol::SharedText timecode_;              // of the latest picture; written with queueMutex_ held

    quol::PreviewSound sound_; // has locks of its own

    std::mutex objectMutex_;    // held while the source is left or joined
    LObject* object_ = nullptr; // not owned; guarded by objectMutex_

    std::mutex queueMutex_; // guards all below
    std::condition_variable wakeUp_;
    std::deque<quol::FramePtr> queue_;
    quol::PreviewPacing pacing_;
    bool enabled_ = false;
    void* window_ = nullptr;
    std::unique_ptr<quol::PreviewSurface> asked_; // made by previewEnable, for the worker
    bool isAsked_ = false;
    bool isOpening_ = false; // the worker is about the surface that was asked for last
    bool ending_ = false;
    // Counts clears. A picture that the worker took before one is of a source that is no more, or
    // of a time before a jump.
    std::uint64_t turn_ = 0;

    std::atomic<bool> ready_{false}; // written by the worker
    quol::Sleeper sleeper_;
    std::thread worker_; // none where the system had no thread left
};
