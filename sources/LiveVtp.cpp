#include "sources/LiveVtp.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <new>
#include <string_view>
#include <system_error>

#include "core/HadMemory.h"
#include "core/Log.h"
#include "core/SoundBlock.h"
#include "sources/LiveFormats.h"

extern "C" {
#include <libavutil/imgutils.h>
}

namespace quol {

namespace {

constexpr std::int64_t pause = 5 * nanosPerMilli;

// A text in a field that need not end with a zero.
template <std::size_t size>
std::string_view fieldText(const char (&field)[size]) {
    return {field, strnlen(field, size)};
}

AVPixelFormat pixelFormatOf(std::int32_t format) {
    switch (format) {
        case vtp_format_rgba:
            return AV_PIX_FMT_RGBA;
        case vtp_format_bgr24:
            return AV_PIX_FMT_BGR24;
        case vtp_format_bgra:
            return AV_PIX_FMT_BGRA;
        default:
            return AV_PIX_FMT_RGB24;
    }
}

} // namespace

VtpListener::VtpListener() : listener_(vtp_create_listener()) {
    if (listener_ != nullptr) vtp_listener_start(listener_);
}

VtpListener::~VtpListener() {
    if (listener_ == nullptr) return;
    vtp_listener_stop(listener_);
    vtp_destroy_listener(listener_);
}

void VtpListener::setInterface(const std::string& name) {
    const std::lock_guard lock(mutex_);
    if (name == network_.interfaceName) return;
    network_.interfaceName = name;
    if (listener_ == nullptr) return;
    vtp_listener_stop(listener_);
    vtp_listener_set_network(listener_, network_);
    vtp_listener_start(listener_);
}

void VtpListener::setSecret(const std::string& secret) {
    const std::lock_guard lock(mutex_);
    network_.secret = secret;
}

vtp_network VtpListener::network() const {
    const std::lock_guard lock(mutex_);
    return network_;
}

std::vector<vtp_source_record> VtpListener::sources() const {
    std::vector<vtp_source_record> records(maxSources);
    const int count = vtp_listener_get_sources(listener_, records.data(), maxSources);
    records.resize(static_cast<std::size_t>(std::clamp(count, 0, maxSources)));
    return records;
}

std::string vtpSourceText(const vtp_source_record& record) {
    std::string text(fieldText(record.name));
    text.append(" (").append(fieldText(record.host)).append(":");
    return text.append(std::to_string(record.port)).append(")");
}

const vtp_source_record* chooseVtpSource(const std::vector<vtp_source_record>& records,
                                         const std::string& text, int channel) {
    const auto find = [&records](const auto& fits) {
        const auto found = std::find_if(records.begin(), records.end(), fits);
        return found == records.end() ? nullptr : &*found;
    };
    const auto* same = find([&](const auto& record) { return vtpSourceText(record) == text; });
    if (same != nullptr) return same;
    const auto withoutPort = [](const std::string& shown) {
        return shown.substr(0, shown.rfind(':'));
    };
    const std::string sender = withoutPort(text);
    const auto* back =
        find([&](const auto& record) { return withoutPort(vtpSourceText(record)) == sender; });
    if (back != nullptr) return back;
    const bool isThere = channel >= 0 && static_cast<std::size_t>(channel) < records.size();
    return isThere ? &records[static_cast<std::size_t>(channel)] : nullptr;
}

// A lost connection ends the loop, not the run: the object says that it runs until it is stopped.
// Where memory is short a picture, a block of sound or the connection is lost, and nothing else.
void LiveVtp::vtpLoop() {
    {
        const std::lock_guard lock(receiverMutex_);
        receiver_ = vtp_create_receiver();
    }
    if (receiver_ == nullptr) {
        hub_.state.running = false;
        return;
    }
    hadMemory([this] {
        vtp_receiver_set_network(receiver_, listener_->network());
        if (hub_.state.running) connect();
    });
    std::thread sound = startAudio();
    while (hub_.state.running && vtp_receiver_is_connected(receiver_)) {
        vtp_video_frame record{};
        if (vtp_receiver_receive_frame(receiver_, &record)) {
            hadMemory([&] { takeVideo(record); });
        } else {
            hub_.state.sleeper.sleepFor(pause);
        }
    }
    vtp_receiver_disconnect(receiver_);
    if (sound.joinable()) sound.join();
    const std::lock_guard lock(receiverMutex_);
    vtp_destroy_receiver(receiver_);
    receiver_ = nullptr;
}

// A machine that has no thread left for the sound still shows the picture.
std::thread LiveVtp::startAudio() {
    try {
        return std::thread(&LiveVtp::audioLoop, this);
    } catch (const std::system_error&) {
        return {};
    } catch (const std::bad_alloc&) {
        return {};
    }
}

void LiveVtp::connect() {
    if (!known_) {
        logOut("LLive: Selected VTP source index is out of bounds or empty.");
        return;
    }
    const std::vector<vtp_source_record> records = listener_->sources();
    const vtp_source_record* const chosen = chooseVtpSource(records, source_, channel_);
    if (chosen == nullptr) {
        logOut("LLive: Selected VTP source index out of bounds.");
        return;
    }
    const std::string host(fieldText(chosen->host));
    {
        const std::lock_guard lock(receiverMutex_);
        if (cancelled_) return;
        connecting_ = true;
    }
    // Nothing may leave from here but by the end: who stops waits for it.
    vtp_receiver_connect(receiver_, host.c_str(), chosen->port);
    const std::lock_guard lock(receiverMutex_);
    connecting_ = false;
    connectTried_.notify_all();
}

// A connection that is being made is cut short. The loop may only be about to make it, where a
// disconnect would find nothing to end, so that it is repeated until the loop has left the call.
void LiveVtp::end() {
    constexpr std::chrono::milliseconds pauseBetween(5);
    std::unique_lock lock(receiverMutex_);
    cancelled_ = true;
    do {
        vtp_receiver_disconnect(receiver_);
    } while (!connectTried_.wait_for(lock, pauseBetween, [this] { return !connecting_; }));
}

void LiveVtp::takeVideo(const vtp_video_frame& record) {
    const AVPixelFormat format = pixelFormatOf(record.pixelFormat);
    const int rowBytes = av_image_get_linesize(format, record.width, 0);
    if (record.data == nullptr || record.height < 1 || rowBytes < 1) return;
    hub_.state.setSize(record.width, record.height);
    FramePtr frame = sourcePool_.get(record.width, record.height, format);
    if (!frame) return;
    av_image_copy_plane(frame->data[0], frame->linesize[0], record.data, rowBytes, rowBytes,
                        record.height);
    const AVPixelFormat target = liveTargetFormat(hub_.settings.videoFormat().pixelFormat, format);
    if (target != format) {
        FramePtr converted = pool_.get(record.width, record.height, target);
        if (!converted || !scaler_.scale(*frame, *converted, SWS_BILINEAR)) return;
        frame = std::move(converted);
    }
    hub_.processVideoFrame(frame.get());
}

void LiveVtp::audioLoop() {
    while (hub_.state.running && vtp_receiver_is_connected(receiver_)) {
        vtp_audio_frame record{};
        if (vtp_receiver_receive_audio(receiver_, &record)) {
            hadMemory([&] { takeAudio(record); });
        } else {
            hub_.state.sleeper.sleepFor(pause);
        }
    }
}

void LiveVtp::takeAudio(const vtp_audio_frame& record) {
    const std::int64_t bytes = static_cast<std::int64_t>(record.samplesPerChannel) *
                               record.channels * static_cast<std::int64_t>(sizeof(std::int16_t));
    if (record.data == nullptr || record.samplesPerChannel < 1 || record.channels < 1 ||
        record.sampleRate < 1 || bytes > record.byteSize)
        return;
    const FramePtr frame = makeSoundFrame(AV_SAMPLE_FMT_S16, *ChannelLayout(record.channels).get(),
                                          record.samplesPerChannel, record.sampleRate);
    if (!frame) return;
    std::memcpy(frame->data[0], record.data, static_cast<std::size_t>(bytes));
    hub_.processAudioFrame(frame.get());
}

} // namespace quol
