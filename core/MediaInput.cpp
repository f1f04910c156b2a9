#include "core/MediaInput.h"

#include <algorithm>
#include <span>
#include <thread>

#include "core/Clock.h"
#include "core/PlainFile.h"
#include "core/Protocols.h"

namespace quol {

int MediaInput::isInterrupted(void* self) {
    const auto& input = *static_cast<const MediaInput*>(self);
    if (input.interrupted_.load()) return 1;
    const std::int64_t deadline = input.deadline_.load(std::memory_order_relaxed);
    return deadline != 0 && steadyNow() >= deadline ? 1 : 0;
}

// What took too long looks like an interruption to FFmpeg.
bool MediaInput::finishWaiting(int result) {
    error_ = result == AVERROR_EXIT && !interrupted_ ? AVERROR(ETIMEDOUT) : result;
    return result >= 0;
}

void MediaInput::startWaiting() {
    deadline_.store(longestWait_ > 0 ? steadyNow() + longestWait_ : 0, std::memory_order_relaxed);
}

bool MediaInput::open(const std::string& path, const char* format, Dictionary* options) {
    close();
    error_ = AVERROR(EINVAL);
    if (isEndless(path)) return false;
    AVFormatContext* context = avformat_alloc_context();
    error_ = AVERROR(ENOMEM);
    if (context == nullptr) return false;
    context->interrupt_callback = {&MediaInput::isInterrupted, this};
    const AVInputFormat* demuxer = format != nullptr ? av_find_input_format(format) : nullptr;
    Dictionary none;
    Dictionary& all = options != nullptr ? *options : none;
    completeProtocolOptions(path, all);
    startWaiting();
    // On failure FFmpeg frees the context itself.
    const int result = avformat_open_input(&context, path.c_str(), demuxer, all.address());
    if (!finishWaiting(result)) return false;
    context_.reset(context);
    return true;
}

bool MediaInput::findStreamInfo() {
    startWaiting();
    return finishWaiting(avformat_find_stream_info(context_.get(), nullptr));
}

bool MediaInput::readPacket(AVPacket& packet) {
    startWaiting();
    return finishWaiting(context_ ? av_read_frame(context_.get(), &packet) : AVERROR(EINVAL));
}

void MediaInput::readOnly(int stream, int otherStream, AVMediaType also) {
    if (!context_) return;
    const auto isUsed = [=](const AVStream* each) {
        const bool ofType = also != AVMEDIA_TYPE_UNKNOWN && each->codecpar->codec_type == also;
        return each->index == stream || each->index == otherStream || ofType;
    };
    const std::span streams(context_->streams, context_->nb_streams);
    const bool none = std::none_of(streams.begin(), streams.end(), isUsed);
    for (AVStream* each : streams)
        each->discard = none || isUsed(each) ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
}

int MediaInput::bestStream(AVMediaType type, int related) const {
    if (!context_) return -1;
    const int index = av_find_best_stream(context_.get(), type, -1, related, nullptr, 0);
    return index < 0 ? -1 : index;
}

int MediaInput::firstStream(AVMediaType type) const {
    for (unsigned int i = 0; context_ && i < context_->nb_streams; ++i) {
        if (context_->streams[i]->codecpar->codec_type == type) return static_cast<int>(i);
    }
    return -1;
}

AVStream* MediaInput::stream(int index) const {
    const bool known =
        context_ && index >= 0 && static_cast<unsigned>(index) < context_->nb_streams;
    return known ? context_->streams[index] : nullptr;
}

double MediaInput::durationMs() const {
    if (!context_ || context_->duration == AV_NOPTS_VALUE) return 0.0;
    return static_cast<double>(context_->duration) / 1000.0;
}

const char* MediaInput::timecode(int videoStream) const {
    const auto find = [](const AVDictionary* entries) -> const char* {
        const AVDictionaryEntry* entry = av_dict_get(entries, "timecode", nullptr, 0);
        return entry != nullptr ? entry->value : nullptr;
    };
    if (!context_) return nullptr;
    const char* own = find(context_->metadata);
    const AVStream* picture = stream(videoStream);
    return own != nullptr || picture == nullptr ? own : find(picture->metadata);
}

namespace {

void shareOut(AVCodecContext& context, DecoderThreads threads) {
    constexpr unsigned most = 4;
    if (threads == DecoderThreads::automatic) {
        context.thread_count = 0;
    } else if (threads == DecoderThreads::one) {
        context.thread_count = 1;
    } else {
        const std::int64_t pixels = std::int64_t{context.width} * context.height;
        const bool large = pixels > std::int64_t{1920} * 1088;
        context.thread_count =
            static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, most));
        context.thread_type = large ? FF_THREAD_FRAME | FF_THREAD_SLICE : FF_THREAD_SLICE;
    }
}

} // namespace

CodecContextPtr openDecoder(const AVStream& stream, DecoderThreads threads) {
    const AVCodec* decoder = avcodec_find_decoder(stream.codecpar->codec_id);
    if (decoder == nullptr) return nullptr;
    CodecContextPtr context(avcodec_alloc_context3(decoder));
    if (!context || avcodec_parameters_to_context(context.get(), stream.codecpar) < 0)
        return nullptr;
    context->pkt_timebase = stream.time_base;
    shareOut(*context, threads);
    if (avcodec_open2(context.get(), decoder, nullptr) < 0) return nullptr;
    return context;
}

namespace {

// Closes an input at the end of a scope.
class Closing {
public:
    explicit Closing(MediaInput& input) : input_(input) {}
    Closing(const Closing&) = delete;
    Closing& operator=(const Closing&) = delete;
    ~Closing() { input_.close(); }

private:
    MediaInput& input_;
};

// Sends one packet, null to drain, and receives the first picture it leads to.
FramePtr decodePicture(AVCodecContext& decoder, const AVPacket* packet) {
    if (avcodec_send_packet(&decoder, packet) < 0) return nullptr;
    FramePtr frame = makeFrame();
    if (!frame || avcodec_receive_frame(&decoder, frame.get()) < 0) return nullptr;
    return frame;
}

// The first picture of a stream of an input that has been opened.
FramePtr firstPictureOf(MediaInput& input, int index, int maxPackets) {
    const AVStream* stream = input.stream(index);
    if (stream == nullptr) return nullptr;
    const CodecContextPtr decoder = openDecoder(*stream, DecoderThreads::one);
    const PacketPtr packet = makePacket();
    if (!decoder || !packet) return nullptr;
    for (int read = 0; read < maxPackets && av_read_frame(input.get(), packet.get()) >= 0; ++read) {
        FramePtr frame;
        if (packet->stream_index == index) frame = decodePicture(*decoder, packet.get());
        av_packet_unref(packet.get());
        if (frame) return frame;
    }
    return decodePicture(*decoder, nullptr);
}

} // namespace

FramePtr decodeFirstPicture(const std::string& path, int maxPackets, StreamChoice choice) {
    MediaInput input;
    if (choice == StreamChoice::best) return decodeFirstPicture(input, path, maxPackets);
    if (!input.open(path) || !input.findStreamInfo()) return nullptr;
    return firstPictureOf(input, input.firstStream(AVMEDIA_TYPE_VIDEO), maxPackets);
}

FramePtr decodeFirstPicture(MediaInput& input, const std::string& path, int maxPackets) {
    const Closing closing(input);
    if (!input.open(path) || !input.findStreamInfo()) return nullptr;
    return firstPictureOf(input, input.bestStream(AVMEDIA_TYPE_VIDEO), maxPackets);
}

double rationalOrZero(AVRational rate) {
    return rate.num > 0 && rate.den > 0 ? av_q2d(rate) : 0.0;
}

} // namespace quol
