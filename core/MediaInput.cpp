#include "core/MediaInput.h"

#include "core/PlainFile.h"

namespace quol {

int MediaInput::isInterrupted(void* self) {
    return static_cast<MediaInput*>(self)->interrupted_.load() ? 1 : 0;
}

bool MediaInput::open(const std::string& path, const char* format, Dictionary* options) {
    close();
    if (isEndless(path)) return false;
    AVFormatContext* context = avformat_alloc_context();
    if (context == nullptr) return false;
    context->interrupt_callback = {&MediaInput::isInterrupted, this};
    const AVInputFormat* demuxer = format != nullptr ? av_find_input_format(format) : nullptr;
    // On failure FFmpeg frees the context itself.
    const int result = avformat_open_input(&context, path.c_str(), demuxer,
                                           options != nullptr ? options->address() : nullptr);
    if (result < 0) return false;
    context_.reset(context);
    return true;
}

bool MediaInput::findStreamInfo() {
    return avformat_find_stream_info(context_.get(), nullptr) >= 0;
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

CodecContextPtr openDecoder(const AVStream& stream, DecoderThreads threads) {
    const AVCodec* decoder = avcodec_find_decoder(stream.codecpar->codec_id);
    if (decoder == nullptr) return nullptr;
    CodecContextPtr context(avcodec_alloc_context3(decoder));
    if (!context || avcodec_parameters_to_context(context.get(), stream.codecpar) < 0)
        return nullptr;
    context->pkt_timebase = stream.time_base;
    context->thread_count = threads == DecoderThreads::one ? 1 : 0;
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

} // namespace

namespace {

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
