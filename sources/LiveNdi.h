// Pictures and sound from an NDI source.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/ndi/Ndi.h"
#include "sources/LiveHub.h"

namespace quol {

// The NDI runtime in use; its operations may be called while one of these stands.
class NdiLibrary {
public:
    // Null when there is no runtime, or it cannot work on this machine.
    static std::shared_ptr<NdiLibrary> open();

    explicit NdiLibrary(const ndi::Runtime& runtime) : runtime_(runtime) {}
    NdiLibrary(const NdiLibrary&) = delete;
    NdiLibrary& operator=(const NdiLibrary&) = delete;
    ~NdiLibrary() { runtime_.destroy(); }

    const ndi::Runtime* operator->() const { return &runtime_; }

private:
    const ndi::Runtime& runtime_;
};

// The NDI sources of the network. One thread at a time.
class NdiFinder {
public:
    explicit NdiFinder(std::shared_ptr<NdiLibrary> library);
    NdiFinder(const NdiFinder&) = delete;
    NdiFinder& operator=(const NdiFinder&) = delete;
    ~NdiFinder();

    // Names in the runtime's order. Waits for up to 100 ms; empty at once without a runtime.
    std::vector<std::string> sources();

private:
    const std::shared_ptr<NdiLibrary> library_; // may be null
    ndi::Handle finder_ = nullptr;              // may be null
};

// A receiver lives until its loop has ended and the last frame over its memory is gone.
class NdiReceiver {
public:
    // Null when the runtime gives none.
    static std::shared_ptr<NdiReceiver> create(std::shared_ptr<NdiLibrary> library,
                                               std::int32_t bandwidth);

    NdiReceiver(std::shared_ptr<NdiLibrary> library, ndi::Handle handle);
    NdiReceiver(const NdiReceiver&) = delete;
    NdiReceiver& operator=(const NdiReceiver&) = delete;
    ~NdiReceiver();

    const ndi::Runtime* operator->() const { return library_->operator->(); }
    ndi::Handle handle() const { return handle_; }

private:
    const std::shared_ptr<NdiLibrary> library_;
    const ndi::Handle handle_;
};

class LiveNdi : public LiveRun {
public:
    // `source` is empty when the channel chosen is none of the sources.
    LiveNdi(LiveHub& hub, std::shared_ptr<NdiLibrary> library, int channel, std::string source)
        : hub_(hub), library_(std::move(library)), channel_(channel), source_(std::move(source)) {}
    void run() override { ndiLoop(); }

private:
    void ndiLoop();
    void connect();
    void capture();
    void takeVideo(const ndi::NDIlib_video_frame_v2_t& record);
    void takeConverted(const AVFrame& view, AVPixelFormat format);
    void takeAudio(const ndi::NDIlib_audio_frame_v2_t& record);

    LiveHub& hub_;
    const std::shared_ptr<NdiLibrary> library_;
    const int channel_;
    const std::string source_;
    // The loop's alone.
    std::shared_ptr<NdiReceiver> receiver_;
    Scaler scaler_;
    PicturePool pool_;
};

} // namespace quol
