#include "sources/LiveNdi.h"

#include <algorithm>
#include <limits>

#include "core/HadMemory.h"
#include "core/Log.h"
#include "sources/LiveFormats.h"
#include "sources/LiveMemory.h"

extern "C" {
#include <libavutil/mem.h>
}

namespace quol {

namespace {

constexpr std::uint32_t waitMs = 100;

// A captured frame that pictures or sound of ours point into. It goes back to the runtime with
// this.
template <typename Record, void giveBack(const NdiReceiver&, const Record&)>
struct NdiHolder {
    NdiHolder(std::shared_ptr<NdiReceiver> from, const Record& frame)
        : receiver(std::move(from)), record(frame) {}
    NdiHolder(const NdiHolder&) = delete;
    NdiHolder& operator=(const NdiHolder&) = delete;
    ~NdiHolder() { giveBack(*receiver, record); }

    // Null, and the frame given back, where memory is short.
    static std::unique_ptr<NdiHolder> hold(std::shared_ptr<NdiReceiver> from, const Record& frame) {
        std::unique_ptr<NdiHolder> holder(new (std::nothrow) NdiHolder(from, frame));
        if (!holder) giveBack(*from, frame);
        return holder;
    }

    const std::shared_ptr<NdiReceiver> receiver;
    const Record record;
};

void giveVideoBack(const NdiReceiver& receiver, const ndi::NDIlib_video_frame_v2_t& record) {
    receiver->recv_free_video_v2(receiver.handle(), &record);
}

void giveAudioBack(const NdiReceiver& receiver, const ndi::NDIlib_audio_frame_v2_t& record) {
    receiver->recv_free_audio_v2(receiver.handle(), &record);
}

using NdiVideoHolder = NdiHolder<ndi::NDIlib_video_frame_v2_t, giveVideoBack>;
using NdiAudioHolder = NdiHolder<ndi::NDIlib_audio_frame_v2_t, giveAudioBack>;

void ndi_frame_free_cb(void* opaque, std::uint8_t* /*data*/) {
    const std::unique_ptr<NdiVideoHolder> holder(static_cast<NdiVideoHolder*>(opaque));
}

void ndi_audio_frame_free_cb(void* opaque, std::uint8_t* /*data*/) {
    const std::unique_ptr<NdiAudioHolder> holder(static_cast<NdiAudioHolder*>(opaque));
}

AVPixelFormat pixelFormatOf(std::uint32_t code) {
    switch (code) {
        case ndi::fourCC("RGBA"):
        case ndi::fourCC("RGBX"):
            return AV_PIX_FMT_RGBA;
        case ndi::fourCC("UYVY"):
        case ndi::fourCC("UYVA"): // the same with a plane of alpha behind it, which is left aside
            return AV_PIX_FMT_UYVY422;
        case ndi::fourCC("NV12"):
            return AV_PIX_FMT_NV12;
        case ndi::fourCC("YV12"): // in the order given: its chroma planes stay swapped
        case ndi::fourCC("I420"):
            return AV_PIX_FMT_YUV420P;
        default:
            return AV_PIX_FMT_BGRA;
    }
}

// A frame whose planes are the record's; `bytes` is what they span. Null for a record that makes no
// sense.
FramePtr viewSound(const ndi::NDIlib_audio_frame_v2_t& record, std::size_t& bytes) {
    const std::int64_t plane = static_cast<std::int64_t>(record.no_samples) * 4;
    const std::int64_t stride = record.no_channels == 1
                                    ? std::max<std::int64_t>(plane, record.channel_stride_in_bytes)
                                    : record.channel_stride_in_bytes;
    constexpr int mostChannels = 255;
    if (record.p_data == nullptr || record.no_samples < 1 || record.sample_rate < 1 ||
        record.no_channels < 1 || record.no_channels > mostChannels || stride < plane ||
        plane > std::numeric_limits<int>::max())
        return nullptr;
    FramePtr frame = makeFrame();
    if (!frame) return nullptr;
    const auto channels = static_cast<std::size_t>(record.no_channels);
    // More planes than a frame has room for lie in a list of their own, which the frame frees.
    if (channels > AV_NUM_DATA_POINTERS) {
        auto** planes = static_cast<std::uint8_t**>(av_calloc(channels, sizeof(std::uint8_t*)));
        if (planes == nullptr) return nullptr;
        frame->extended_data = planes;
    }
    frame->format = AV_SAMPLE_FMT_FLTP;
    frame->nb_samples = record.no_samples;
    frame->sample_rate = record.sample_rate;
    av_channel_layout_default(&frame->ch_layout, record.no_channels);
    for (std::size_t i = 0; i < channels; ++i) {
        frame->extended_data[i] =
            reinterpret_cast<std::uint8_t*>(record.p_data) + static_cast<std::int64_t>(i) * stride;
        if (i < AV_NUM_DATA_POINTERS) frame->data[i] = frame->extended_data[i];
    }
    frame->linesize[0] = static_cast<int>(plane);
    bytes = static_cast<std::size_t>(stride) * channels;
    return frame;
}

} // namespace

std::shared_ptr<NdiLibrary> NdiLibrary::open() {
    const ndi::Runtime* runtime = ndi::runtime();
    if (runtime == nullptr || !runtime->initialize()) return nullptr;
    return std::make_shared<NdiLibrary>(*runtime);
}

NdiFinder::NdiFinder(std::shared_ptr<NdiLibrary> library) : library_(std::move(library)) {
    const ndi::NDIlib_find_create_t settings;
    if (library_) finder_ = (*library_)->find_create_v2(&settings);
}

NdiFinder::~NdiFinder() {
    if (finder_ != nullptr) (*library_)->find_destroy(finder_);
}

std::vector<std::string> NdiFinder::sources() {
    std::vector<std::string> names;
    if (finder_ == nullptr) return names;
    (*library_)->find_wait_for_sources(finder_, waitMs);
    std::uint32_t count = 0;
    const ndi::NDIlib_source_t* sources = (*library_)->find_get_current_sources(finder_, &count);
    if (sources == nullptr) return names;
    for (std::uint32_t i = 0; i < count; ++i)
        names.emplace_back(sources[i].p_ndi_name != nullptr ? sources[i].p_ndi_name : "");
    return names;
}

std::shared_ptr<NdiReceiver> NdiReceiver::create(std::shared_ptr<NdiLibrary> library,
                                                 std::int32_t bandwidth) {
    if (!library) return nullptr;
    ndi::NDIlib_recv_create_v3_t settings;
    settings.color_format = ndi::color_format_fastest;
    settings.bandwidth = bandwidth;
    settings.allow_video_fields = true;
    settings.p_ndi_recv_name = "LLive Receiver";
    const ndi::Handle handle = (*library)->recv_create_v3(&settings);
    if (handle == nullptr) return nullptr;
    try {
        return std::make_shared<NdiReceiver>(library, handle);
    } catch (const std::bad_alloc&) {
        (*library)->recv_destroy(handle);
        return nullptr;
    }
}

NdiReceiver::NdiReceiver(std::shared_ptr<NdiLibrary> library, ndi::Handle handle)
    : library_(std::move(library)), handle_(handle) {}

NdiReceiver::~NdiReceiver() {
    (*library_)->recv_destroy(handle_);
}

void LiveNdi::ndiLoop() {
    receiver_ = NdiReceiver::create(library_, hub_.settings.ndiBandwidth);
    if (!receiver_) {
        hub_.state.running = false;
        return;
    }
    connect();
    while (hub_.state.running)
        hadMemory([this] { capture(); });
    // Frames that are still held keep the receiver, but not its source.
    (*receiver_)->recv_connect(receiver_->handle(), nullptr);
    receiver_.reset();
}

void LiveNdi::connect() {
    if (source_.empty()) {
        logError(
            "LLive: Selected NDI source index (%d) is out of bounds or empty. "
            "Waiting/receiver not connected.",
            channel_);
        return;
    }
    ndi::NDIlib_source_t source;
    source.p_ndi_name = source_.c_str();
    (*receiver_)->recv_connect(receiver_->handle(), &source);
}

void LiveNdi::capture() {
    constexpr std::int64_t pause = 10 * nanosPerMilli;
    ndi::NDIlib_video_frame_v2_t video;
    ndi::NDIlib_audio_frame_v2_t audio;
    switch ((*receiver_)->recv_capture_v2(receiver_->handle(), &video, &audio, nullptr, waitMs)) {
        case ndi::frame_type_none:
        case ndi::frame_type_error:
            hub_.state.sleeper.sleepFor(pause);
            break;
        case ndi::frame_type_video:
            takeVideo(video);
            break;
        case ndi::frame_type_audio:
            takeAudio(audio);
            break;
        default:
            break;
    }
}

// No pixel is copied unless another format is asked for: the record goes back to the receiver with
// the last reference to the frame.
void LiveNdi::takeVideo(const ndi::NDIlib_video_frame_v2_t& record) {
    const DevicePicture picture{record.p_data, record.xres, record.yres,
                                pixelFormatOf(record.FourCC), record.line_stride_in_bytes};
    auto holder = NdiVideoHolder::hold(receiver_, record);
    if (!holder) return;
    std::size_t bytes = 0;
    const FramePtr frame = viewPicture(picture, bytes);
    if (frame) hub_.state.setSize(record.xres, record.yres);
    const AVPixelFormat target =
        liveTargetFormat(hub_.settings.videoFormat().pixelFormat, picture.format);
    if (frame && target != picture.format) {
        takeConverted(*frame, target);
    } else if (frame && lendMemory(*frame, bytes, holder, ndi_frame_free_cb)) {
        hub_.processVideoFrame(frame.get());
    }
}

void LiveNdi::takeConverted(const AVFrame& view, AVPixelFormat format) {
    const FramePtr converted = pool_.get(view.width, view.height, format);
    if (!converted || !scaler_.scale(view, *converted, SWS_BILINEAR)) return;
    hub_.processVideoFrame(converted.get());
}

void LiveNdi::takeAudio(const ndi::NDIlib_audio_frame_v2_t& record) {
    auto holder = NdiAudioHolder::hold(receiver_, record);
    if (!holder) return;
    std::size_t bytes = 0;
    const FramePtr frame = viewSound(record, bytes);
    if (frame && lendMemory(*frame, bytes, holder, ndi_audio_frame_free_cb))
        hub_.processAudioFrame(frame.get());
}

} // namespace quol
