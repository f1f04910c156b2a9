#include "sources/LiveDeckLink.h"

#include <chrono>
#include <climits>
#include <cstring>

#include "core/HadMemory.h"
#include "core/Log.h"
#include "core/SoundBlock.h"
#include "sources/LiveFormats.h"
#include "sources/LiveMemory.h"
#include "sources/LiveNoSignal.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace quol {

using namespace decklink;

namespace {

constexpr AVRational microseconds{1, 1000000};

AVPixelFormat pixelFormatOf(std::uint32_t code) {
    switch (code) {
        case bmdFormat8BitYUV:
            return AV_PIX_FMT_UYVY422;
        case bmdFormat8BitARGB:
            return AV_PIX_FMT_ARGB;
        case bmdFormat8BitBGRA:
            return AV_PIX_FMT_BGRA;
        case bmdFormat10BitYUV:
            return AV_PIX_FMT_YUV422P10LE;
        default:
            return AV_PIX_FMT_NONE;
    }
}

int intOf(long number) {
    return number > 0 && number <= INT_MAX ? static_cast<int>(number) : 0;
}

void stampArrival(AVFrame& frame, double arrived) {
    frame.pts = static_cast<std::int64_t>(arrived * 1e6);
    frame.time_base = microseconds;
}

} // namespace

// A picture of the driver's whose bytes may be read while this stands.
struct LiveDeckLink::MappedPicture {
    ComRef<IDeckLinkVideoInputFrame> frame;
    ComRef<IDeckLinkVideoBuffer> buffer;
    const std::uint8_t* bytes = nullptr;

    MappedPicture(ComRef<IDeckLinkVideoInputFrame> ofFrame, ComRef<IDeckLinkVideoBuffer> ofBuffer)
        : frame(std::move(ofFrame)), buffer(std::move(ofBuffer)) {}
    MappedPicture(const MappedPicture&) = delete;
    MappedPicture& operator=(const MappedPicture&) = delete;
    ~MappedPicture() {
        if (accessed) buffer->EndAccess(bmdBufferAccessRead);
    }

    // Asks for the bytes; false when the driver has none.
    bool map() {
        accessed = succeeded(buffer->StartAccess(bmdBufferAccessRead));
        void* address = nullptr;
        if (!accessed || !succeeded(buffer->GetBytes(&address))) return false;
        bytes = static_cast<const std::uint8_t*>(address);
        return bytes != nullptr;
    }

    bool accessed = false;
};

void LiveDeckLink::decklink_frame_free_cb(void* opaque, std::uint8_t* /*data*/) {
    const std::unique_ptr<MappedPicture> picture(static_cast<MappedPicture*>(opaque));
}

std::uint32_t LiveDeckLink::modeCode(IDeckLinkDisplayMode* mode) {
    return mode == nullptr ? std::uint32_t{bmdModeHD1080p50} : mode->GetDisplayMode();
}

bool LiveDeckLink::start(IDeckLinkDisplayMode* mode, IDeckLinkInputCallback* callback) {
    input_->SetCallback(callback);
    input_->EnableAudioInput(bmdAudioSampleRate48kHz, bmdAudioSampleType16bitInteger, 2);
    std::uint32_t flags = bmdVideoInputFlagDefault;
    if (flagAttribute(card_.get(), BMDDeckLinkSupportsInputFormatDetection)) {
        flags = bmdVideoInputEnableFormatDetection;
        logOut(formatIndex_ == 0 ? "LLive: DeckLink Auto Mode Enabled."
                                 : "LLive: DeckLink Manual Mode with Auto-Color Enabled.");
    }
    const std::uint32_t code = modeCode(mode);
    if (mode != nullptr) {
        const ModeSize size = modeSize(*mode);
        if (size.frameRate > 0.0) hub_.state.detectedFps = size.frameRate;
        hub_.state.setSize(size.width, size.height);
    }
    {
        const std::lock_guard lock(modeMutex_);
        activeMode_ = code;
    }
    if (!succeeded(input_->EnableVideoInput(code, bmdFormat8BitYUV, flags))) {
        logError("LLive: DeckLink EnableVideoInput FAILED!");
        return false;
    }
    input_->FlushStreams();
    if (!succeeded(input_->StartStreams())) {
        logError("LLive: DeckLink StartStreams FAILED!");
        return false;
    }
    return true;
}

void LiveDeckLink::end() {
    {
        const std::lock_guard lock(modeMutex_);
        ended_ = true;
        overtaken_ = changing_;
    }
    queueChanged_.notify_all();
    input_->StopStreams();
    input_->SetCallback(nullptr);
    input_->DisableVideoInput();
    input_->DisableAudioInput();
}

// A change of format that was being followed may have started the streams behind the end's back.
void LiveDeckLink::settle() {
    {
        const std::lock_guard lock(modeMutex_);
        if (!overtaken_) return;
    }
    input_->StopStreams();
    input_->DisableVideoInput();
}

// The first event behind a start always restarts the input: nobody has told the driver of a pixel
// format through here yet.
void LiveDeckLink::formatChanged(IDeckLinkDisplayMode& mode, std::uint32_t flags) {
    const std::uint32_t pixelFormat =
        (flags & bmdDetectedVideoInputRGB444) != 0 ? bmdFormat8BitARGB : bmdFormat8BitYUV;
    const std::uint32_t code = mode.GetDisplayMode();
    const bool follows = formatIndex_ == 0;
    const ModeSize size = follows ? modeSize(mode) : ModeSize();
    std::uint32_t wanted = 0;
    bool isNew = false;
    {
        const std::lock_guard lock(modeMutex_);
        if (ended_) return;
        wanted = follows ? code : activeMode_;
        isNew = code != activeMode_ || pixelFormat != activePixelFormat_;
        changing_ = isNew;
    }
    if (isNew) restart(wanted, pixelFormat);
    const std::lock_guard lock(modeMutex_);
    changing_ = false;
    if (ended_) return;
    if (follows) {
        if (size.frameRate > 0.0) hub_.state.detectedFps = size.frameRate;
        hub_.state.setSize(size.width, size.height);
        activeMode_ = code;
    }
    activePixelFormat_ = pixelFormat;
}

void LiveDeckLink::restart(std::uint32_t mode, std::uint32_t pixelFormat) {
    const auto input = query<IDeckLinkInput>(card_);
    if (!input) return;
    input->PauseStreams();
    // The driver may take longer over any of these than the end of the run waits.
    if (ended_) return;
    input->EnableVideoInput(mode, pixelFormat, bmdVideoInputEnableFormatDetection);
    if (ended_) {
        input->DisableVideoInput();
    } else {
        input->StartStreams();
    }
}

// Holds the driver up for as little as can be: pictures are queued by reference, and only sound is
// worked on here. Nothing may be thrown through the driver.
void LiveDeckLink::frameArrived(IDeckLinkVideoInputFrame* frame, IDeckLinkAudioInputPacket* sound) {
    if (!runs()) return;
    const double arrived = static_cast<double>(hub_.state.sinceStart()) / 1e9;
    std::uint32_t flags = bmdFrameFlagDefault;
    if (frame != nullptr) {
        flags = frame->GetFlags();
        hadMemory([&] { readTimecode(*frame); });
        reportDrops(*frame);
        hadMemory([&] { queue({ComRef<IDeckLinkVideoInputFrame>::retain(frame), arrived}); });
    }
    if (sound != nullptr && (flags & bmdFrameHasNoInputSource) == 0)
        hadMemory([&] { takeAudio(*sound, arrived); });
}

void LiveDeckLink::readTimecode(IDeckLinkVideoInputFrame& frame) {
    constexpr int fromCard = 1;
    if (!hub_.settings.timecode || hub_.settings.timecodeSource != fromCard) return;
    const auto timecode = received<IDeckLinkTimecode>(
        [&frame](auto** out) { return frame.GetTimecode(bmdTimecodeRP188Any, out); });
    if (!timecode) return;
    const auto text = driverText([&](const char** out) { return timecode->GetString(out); });
    if (text) hub_.state.timecode = *text;
}

void LiveDeckLink::reportDrops(IDeckLinkVideoInputFrame& frame) {
    BMDTimeValue time = 0;
    BMDTimeValue duration = 0;
    if (!succeeded(frame.GetStreamTime(&time, &duration, microseconds.den))) return;
    if (lastStreamTime_ != -1 && duration > 0) {
        const std::int64_t expected = av_sat_add64(lastStreamTime_, duration);
        if (expected < time) {
            logOut(
                "[DECKLINK DROP DETECTED] %lld frames dropped! (Current StreamTime: %lld, "
                "Expected: %lld)",
                static_cast<long long>(av_sat_sub64(time, expected) / duration),
                static_cast<long long>(time), static_cast<long long>(expected));
        }
    }
    lastStreamTime_ = time;
}

void LiveDeckLink::queue(DeckLinkFrameItem item) {
    DeckLinkFrameItem oldest; // given back behind the lock
    {
        const std::lock_guard lock(queueMutex_);
        queue_.push_back(std::move(item));
        if (queue_.size() > maxQueuedFrames) {
            oldest = std::move(queue_.front());
            queue_.pop_front();
        }
    }
    queueChanged_.notify_one();
}

void LiveDeckLink::takeAudio(IDeckLinkAudioInputPacket& sound, double arrived) {
    constexpr int rate = 48000;
    constexpr int pairBytes = 4;
    const int count = intOf(sound.GetSampleFrameCount());
    void* bytes = nullptr;
    if (count < 1 || !succeeded(sound.GetBytes(&bytes)) || bytes == nullptr) return;
    const FramePtr frame = makeSoundFrame(AV_SAMPLE_FMT_S16, *ChannelLayout(2).get(), count, rate);
    if (!frame) return;
    frame->pts = static_cast<std::int64_t>(arrived * rate);
    frame->time_base = {1, rate};
    std::memcpy(frame->data[0], bytes, static_cast<std::size_t>(count) * pairBytes);
    hub_.processAudioFrame(frame.get());
}

void LiveDeckLink::decklinkLoop() {
    while (runs()) {
        const DeckLinkFrameItem item = nextItem();
        if (!item.frame || !runs()) continue;
        hadMemory([&] {
            if ((item.frame->GetFlags() & bmdFrameHasNoInputSource) != 0) {
                showNoSignal(item);
            } else {
                showSignal(item);
            }
        });
    }
    noSignal_.reset();
    const std::lock_guard lock(queueMutex_);
    queue_.clear();
}

DeckLinkFrameItem LiveDeckLink::nextItem() {
    std::unique_lock lock(queueMutex_);
    queueChanged_.wait_for(lock, std::chrono::milliseconds(100),
                           [this] { return !queue_.empty() || !runs(); });
    if (queue_.empty()) return {};
    DeckLinkFrameItem item = std::move(queue_.front());
    queue_.pop_front();
    return item;
}

// The card stands until a real signal comes, so that the next loss builds it at the size then told.
void LiveDeckLink::showNoSignal(const DeckLinkFrameItem& item) {
    if (!noSignal_)
        noSignal_ = drawNoSignalCard(intOf(item.frame->GetWidth()), intOf(item.frame->GetHeight()));
    const FramePtr frame = cloneFrame(noSignal_.get());
    if (!frame) return;
    stampArrival(*frame, item.arrived);
    hub_.outlets.picture(frame.get());
}

void LiveDeckLink::showSignal(const DeckLinkFrameItem& item) {
    noSignal_.reset();
    const FramePtr frame = pictureOf(item);
    if (!frame) return;
    stampArrival(*frame, item.arrived);
    if (runs()) hub_.processVideoFrame(frame.get());
}

// The driver's own memory where its format is wanted, else a conversion of it. Null when there is
// no picture to be had.
FramePtr LiveDeckLink::pictureOf(const DeckLinkFrameItem& item) {
    auto buffer = query<IDeckLinkVideoBuffer>(item.frame);
    if (!buffer) return nullptr;
    auto mapped = std::make_unique<MappedPicture>(item.frame, std::move(buffer));
    if (!mapped->map()) return nullptr;
    IDeckLinkVideoInputFrame& source = *item.frame.get();
    const DevicePicture picture{mapped->bytes, intOf(source.GetWidth()), intOf(source.GetHeight()),
                                pixelFormatOf(source.GetPixelFormat()),
                                intOf(source.GetRowBytes())};
    if (picture.stride < 1) return nullptr;
    std::size_t bytes = 0;
    const bool packed = picture.format == AV_PIX_FMT_YUV422P10LE;
    FramePtr frame =
        packed ? unpacked(*mapped, picture.width, picture.height) : viewPicture(picture, bytes);
    if (!frame) return nullptr;
    const AVPixelFormat target =
        liveTargetFormat(hub_.settings.videoFormat().pixelFormat, picture.format);
    if (target != picture.format) {
        FramePtr converted = pool_.get(picture.width, picture.height, target);
        const bool done = converted && scaler_.scale(*frame, *converted, SWS_FAST_BILINEAR);
        return done ? std::move(converted) : nullptr;
    }
    if (packed) return frame;
    IDeckLinkVideoBuffer* const lent = mapped->buffer.get();
    if (!lendMemory(*frame, bytes, mapped, decklink_frame_free_cb)) return nullptr;
    if constexpr (keepsBufferReference) lent->AddRef();
    return frame;
}

FramePtr LiveDeckLink::unpacked(const MappedPicture& mapped, int width, int height) {
    FramePtr frame = unpackedPool_.get(width, height, AV_PIX_FMT_YUV422P10LE);
    const bool done = frame && unpackV210(mapped.bytes, intOf(mapped.frame->GetRowBytes()), *frame);
    return done ? std::move(frame) : nullptr;
}

} // namespace quol
