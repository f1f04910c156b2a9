#include "outputs/EncoderSession.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <span>
#include <utility>
#include <vector>

#include "core/FFmpegCompat.h"
#include "core/NumericLocale.h"
#include "core/Protocols.h"
#include "core/ThreadPriority.h"

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

namespace quol {

namespace {

// The first listed format, but one of `preferred` when the list has it.
template <typename Format, typename Formats>
Format chooseFormat(Formats listed, std::initializer_list<Format> preferred, Format otherwise) {
    const auto wanted =
        std::find_first_of(listed.begin(), listed.end(), preferred.begin(), preferred.end());
    if (wanted != listed.end()) return *wanted;
    return listed.empty() ? otherwise : listed.front();
}

AVPixelFormat choosePixelFormat(const AVCodec& codec, FormatChoice choice) {
    const auto listed = encoderPixelFormats(codec);
    constexpr AVPixelFormat otherwise = AV_PIX_FMT_YUV420P;
    if (choice == FormatChoice::first) return chooseFormat<AVPixelFormat>(listed, {}, otherwise);
    return chooseFormat<AVPixelFormat>(listed, {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVJ420P},
                                       otherwise);
}

AVSampleFormat chooseSampleFormat(const AVCodec& codec, FormatChoice choice) {
    const auto listed = encoderSampleFormats(codec);
    constexpr AVSampleFormat otherwise = AV_SAMPLE_FMT_S16;
    if (choice == FormatChoice::first) return chooseFormat<AVSampleFormat>(listed, {}, otherwise);
    return chooseFormat<AVSampleFormat>(listed, {AV_SAMPLE_FMT_FLTP}, otherwise);
}

// The size rounded down to what the chroma of `format` divides evenly.
VideoEncoding evenSize(VideoEncoding encoding, AVPixelFormat format) {
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(format);
    if (descriptor == nullptr) return encoding;
    encoding.width &= ~((1 << descriptor->log2_chroma_w) - 1);
    encoding.height &= ~((1 << descriptor->log2_chroma_h) - 1);
    return encoding;
}

// Of the disk, or of the connection.
bool isLastingError(int error) {
    constexpr std::array lasting{
        AVERROR(ENOSPC),   AVERROR(EIO),          AVERROR(EFBIG),        AVERROR(EDQUOT),
        AVERROR(EROFS),    AVERROR(EPIPE),        AVERROR(ECONNRESET),   AVERROR(ECONNREFUSED),
        AVERROR(ENOTCONN), AVERROR(ETIMEDOUT),    AVERROR(EHOSTUNREACH), AVERROR(ENETUNREACH),
        AVERROR(ENETDOWN), AVERROR(ECONNABORTED), AVERROR_EXIT,
    };
    return std::find(lasting.begin(), lasting.end(), error) != lasting.end();
}

// Whether pictures that are too small can be filled up to the rate. Encoders of formats in which
// they cannot be refuse such pictures when there is a least rate, and so do those of the older MPEG
// formats when a picture is so small that its filling does not fit into their buffer.
bool fillsUp(const AVCodecContext& context, AVCodecID codec) {
    constexpr std::array without{
        AV_CODEC_ID_MJPEG, AV_CODEC_ID_AMV,  AV_CODEC_ID_H261,      AV_CODEC_ID_H263,
        AV_CODEC_ID_H263P, AV_CODEC_ID_FLV1, AV_CODEC_ID_MSMPEG4V2, AV_CODEC_ID_MSMPEG4V3,
        AV_CODEC_ID_WMV1,  AV_CODEC_ID_WMV2, AV_CODEC_ID_RV10,      AV_CODEC_ID_RV20,
    };
    constexpr std::array buffered{AV_CODEC_ID_MPEG1VIDEO, AV_CODEC_ID_MPEG2VIDEO,
                                  AV_CODEC_ID_MPEG4};
    const auto in = [codec](const auto& list) {
        return std::find(list.begin(), list.end(), codec) != list.end();
    };
    if (!in(buffered)) return !in(without);
    constexpr std::int64_t bytesPerBlock = 64; // of 16 by 16 pixels
    const std::int64_t blocks = ((context.width + 15LL) / 16) * ((context.height + 15LL) / 16);
    const double bytes = static_cast<double>(context.bit_rate) / 8 * av_q2d(context.time_base);
    return bytes < static_cast<double>(blocks * bytesPerBlock);
}

// A rate that never changes needs a second of buffer, and encoders that can say so in the stream
// (HRD) are told to.
void setConstantBitRate(AVCodecContext& context, const AVCodec& codec, Dictionary& options) {
    if (const char* wanted = options.find("b")) av_opt_set(&context, "b", wanted, 0);
    const std::int64_t bitRate = context.bit_rate;
    if (bitRate <= 0) return;
    context.rc_max_rate = bitRate;
    if (fillsUp(context, codec.id)) context.rc_min_rate = bitRate;
    context.rc_buffer_size =
        static_cast<int>(std::min<std::int64_t>(bitRate, std::numeric_limits<int>::max()));
    const AVClass* own = codec.priv_class;
    const bool tells = own != nullptr &&
                       av_opt_find(&own, "nal-hrd", nullptr, 0, AV_OPT_SEARCH_FAKE_OBJ) != nullptr;
    if (tells && options.find("nal-hrd") == nullptr) options.set("nal-hrd", "cbr");
}

} // namespace

const AVCodec* chooseEncoder(const AVOutputFormat& muxer, AVMediaType type, const char* fallback,
                             std::string& name) {
    if (name.empty()) {
        const AVCodecID id = type == AVMEDIA_TYPE_VIDEO ? muxer.video_codec : muxer.audio_codec;
        const AVCodec* standard = id != AV_CODEC_ID_NONE ? avcodec_find_encoder(id) : nullptr;
        name = standard != nullptr ? standard->name : fallback;
    }
    const AVCodec* codec = avcodec_find_encoder_by_name(name.c_str());
    return codec != nullptr && codec->type == type ? codec : nullptr;
}

const AVCodec* encoderOrDefault(const AVOutputFormat& muxer, AVMediaType type,
                                const std::string& name) {
    const AVCodec* codec = avcodec_find_encoder_by_name(name.c_str());
    if (codec != nullptr && codec->type == type) return codec;
    const AVCodecID id = type == AVMEDIA_TYPE_VIDEO ? muxer.video_codec : muxer.audio_codec;
    return id != AV_CODEC_ID_NONE ? avcodec_find_encoder(id) : nullptr;
}

std::vector<std::string> availableContainers() {
    std::vector<std::string> names;
    void* position = nullptr;
    while (const AVOutputFormat* muxer = av_muxer_iterate(&position))
        names.emplace_back(muxer->name);
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> availableEncoders(const std::string& container, AVMediaType type) {
    std::vector<std::string> names;
    const char* muxerName = container.empty() ? "mp4" : container.c_str();
    const AVOutputFormat* muxer = av_guess_format(muxerName, nullptr, nullptr);
    if (muxer == nullptr) return names;
    void* position = nullptr;
    while (const AVCodec* codec = av_codec_iterate(&position)) {
        if (codec->type != type || av_codec_is_encoder(codec) == 0) continue;
        if (avformat_query_codec(muxer, codec->id, FF_COMPLIANCE_NORMAL) == 1)
            names.emplace_back(codec->name);
    }
    return names;
}

bool EncoderSession::createOutput(const std::string& container, const std::string& path) {
    AVFormatContext* made = nullptr;
    const char* muxer = container.empty() ? nullptr : container.c_str();
    if (avformat_alloc_output_context2(&made, nullptr, muxer, path.c_str()) < 0) return false;
    output_.reset(made);
    return output_ != nullptr && packet_ != nullptr;
}

CodecContextPtr EncoderSession::makeContext(const AVCodec& codec) const {
    CodecContextPtr context(avcodec_alloc_context3(&codec));
    if (!context) return nullptr;
    context->thread_count = 0; // as many as help; the option "threads" says otherwise
    if (globalHeaders_ || (output_->oformat->flags & AVFMT_GLOBALHEADER) != 0) {
        context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
    return context;
}

CodecContextPtr EncoderSession::openVideoContext(const AVCodec& codec,
                                                 const VideoEncoding& encoding,
                                                 Dictionary& options) const {
    CodecContextPtr context = makeContext(codec);
    if (!context) return nullptr;
    context->width = encoding.width;
    context->height = encoding.height;
    context->time_base = av_inv_q(encoding.frameRate);
    context->framerate = encoding.frameRate;
    context->pix_fmt = choosePixelFormat(codec, encoding.format);
    context->bit_rate = encoding.bitRate;
    if (encoding.constantBitRate) setConstantBitRate(*context, codec, options);
    // Encoders start their threads as they are opened, and these keep their priority.
    int result = 0;
    runAtPriority(ThreadPriority::behindAir, [&] {
        const NumericLocaleC locale;
        result = avcodec_open2(context.get(), &codec, options.address());
    });
    if (result < 0) return nullptr;
    return context;
}

AVStream* EncoderSession::addStream(const AVCodecContext& encoder) {
    AVStream* stream = avformat_new_stream(output_.get(), nullptr);
    if (stream == nullptr || avcodec_parameters_from_context(stream->codecpar, &encoder) < 0)
        return nullptr;
    stream->time_base = encoder.time_base;
    return stream;
}

bool EncoderSession::openVideo(const AVCodec& codec, const VideoEncoding& encoding,
                               Dictionary& options) {
    Dictionary secondTry(options);
    CodecContextPtr context = openVideoContext(codec, encoding, options);
    const VideoEncoding even = evenSize(encoding, choosePixelFormat(codec, encoding.format));
    if (!context && (even.width != encoding.width || even.height != encoding.height)) {
        options.swap(secondTry);
        context = openVideoContext(codec, even, options);
    }
    AVStream* stream = context ? addStream(*context) : nullptr;
    if (stream == nullptr) return false;
    stream->avg_frame_rate = context->framerate;
    videoStream_ = stream;
    video_ = std::move(context);
    return true;
}

bool EncoderSession::openAudio(const AVCodec& codec, const AudioEncoding& encoding,
                               Dictionary& options) {
    CodecContextPtr context = makeContext(codec);
    if (!context) return false;
    context->sample_fmt = chooseSampleFormat(codec, encoding.format);
    context->sample_rate = encoding.sampleRate;
    av_channel_layout_default(&context->ch_layout, encoding.channels);
    context->bit_rate = encoding.bitRate;
    context->time_base = {1, encoding.sampleRate};
    const NumericLocaleC locale;
    if (avcodec_open2(context.get(), &codec, options.address()) < 0) return false;
    audioStream_ = addStream(*context);
    if (audioStream_ == nullptr) return false;
    audio_ = std::move(context);
    return true;
}

bool EncoderSession::openFile(const std::string& path) {
    Dictionary none;
    return openFile(path, none);
}

bool EncoderSession::openFile(const std::string& path, Dictionary& options) {
    if ((output_->oformat->flags & AVFMT_NOFILE) != 0) return true;
    completeProtocolOptions(path, options);
    return avio_open2(&output_->pb, path.c_str(), AVIO_FLAG_WRITE, &output_->interrupt_callback,
                      options.address()) >= 0;
}

bool EncoderSession::takesHeader() const {
    if ((output_->oformat->flags & AVFMT_NOFILE) != 0) return true;
    AVFormatContext* made = nullptr;
    if (avformat_alloc_output_context2(&made, output_->oformat, nullptr, output_->url) < 0)
        return false;
    const OutputFormatPtr trial(made);
    for (const AVStream* stream : std::span(output_->streams, output_->nb_streams)) {
        AVStream* copy = avformat_new_stream(made, nullptr);
        if (copy == nullptr || avcodec_parameters_copy(copy->codecpar, stream->codecpar) < 0)
            return false;
        copy->time_base = stream->time_base;
        copy->avg_frame_rate = stream->avg_frame_rate;
    }
    if (avio_open_dyn_buf(&made->pb) < 0) return false;
    const bool taken = avformat_write_header(made, nullptr) >= 0;
    std::uint8_t* bytes = nullptr;
    avio_close_dyn_buf(std::exchange(made->pb, nullptr), &bytes);
    av_free(bytes);
    return taken;
}

bool EncoderSession::writeHeader(Dictionary& options) {
    const NumericLocaleC locale;
    headerWritten_ = avformat_write_header(output_.get(), options.address()) >= 0;
    return headerWritten_;
}

void EncoderSession::encode(AVCodecContext* encoder, AVStream* stream, const AVFrame* frame) {
    if (encoder == nullptr || avcodec_send_frame(encoder, frame) < 0) return;
    if (encoder == video_.get()) ++framesTaken_;
    while (writeNextPacket(*encoder, *stream)) {
    }
}

// False when there is none for now.
bool EncoderSession::writeNextPacket(AVCodecContext& encoder, const AVStream& stream) {
    if (avcodec_receive_packet(&encoder, packet_.get()) < 0) return false;
    const bool video = &encoder == video_.get();
    if (video) ++framesGiven_;
    // Without one the last picture takes no time, and some players leave it out. Encoders may pass
    // on that of the source, which counts in other steps.
    if (video) packet_->duration = 1;
    writePacket(encoder, stream);
    av_packet_unref(packet_.get());
    return true;
}

void EncoderSession::drain(AVCodecContext* encoder, const AVStream* stream,
                           const std::function<bool()>& wanted) {
    if (encoder == nullptr || !wanted() || avcodec_send_frame(encoder, nullptr) < 0) return;
    while (wanted() && writeNextPacket(*encoder, *stream)) {
    }
}

// A packet that the muxer refuses is one packet lost; a file that takes no more is the end.
void EncoderSession::writePacket(const AVCodecContext& encoder, const AVStream& stream) {
    if (tap_) tap_(*packet_, encoder.codec_type, encoder.time_base);
    if (error_ != 0) return;
    av_packet_rescale_ts(packet_.get(), encoder.time_base, stream.time_base);
    packet_->stream_index = stream.index;
    const std::int64_t size = packet_->size;
    ++packets_;
    packetBytes_ += size;
    largestPacket_ = std::max(largestPacket_, size);
    const int result = av_interleaved_write_frame(output_.get(), packet_.get());
    const AVIOContext* file = output_->pb;
    if (file != nullptr && file->error < 0) {
        error_ = file->error;
    } else if (result < 0 && (file == nullptr || isLastingError(result))) {
        error_ = result;
    }
    if (result < 0) return;
    packetBytesWritten_ += size;
    if (encoder.codec_type == AVMEDIA_TYPE_VIDEO) ++picturesWritten_;
}

void EncoderSession::finish(const std::function<bool()>& wanted) {
    if (!headerWritten_) return;
    drain(video_.get(), videoStream_, wanted);
    drain(audio_.get(), audioStream_, wanted);
    // It empties the muxer's queue too, and what waits in front of that. Emptied before, a
    // container that puts picture and sound in pairs would drop the last picture where the sound is
    // shorter.
    int result = av_write_trailer(output_.get());
    if (output_->pb != nullptr && (output_->oformat->flags & AVFMT_NOFILE) == 0) {
        result = std::min(result, avio_closep(&output_->pb));
    }
    if (result < 0 && error_ == 0) error_ = result;
    headerWritten_ = false;
    video_.reset();
    audio_.reset();
    output_.reset();
}

std::int64_t EncoderSession::bytesWritten() const {
    return output_ && output_->pb != nullptr ? std::max<std::int64_t>(0, avio_tell(output_->pb))
                                             : 0;
}

std::int64_t EncoderSession::bytesHeldBack() const {
    constexpr std::int64_t indexBytesPerPacket = 40;
    constexpr std::int64_t spare = 8; // pictures
    const std::int64_t inEncoder = (framesTaken_ - framesGiven_ + spare) * largestPacket_;
    const std::int64_t inMuxer = std::max<std::int64_t>(0, packetBytes_ - bytesWritten());
    return inEncoder + inMuxer + packets_ * indexBytesPerPacket;
}

std::int64_t EncoderSession::roomToFinish(std::int64_t bitsPerSecond) const {
    constexpr std::int64_t base = 256 * 1024;
    constexpr std::int64_t secondsHeldBack = 4;
    constexpr std::int64_t fastest = 1'000'000'000; // no encoder makes use of more in advance
    const std::int64_t rate = std::clamp<std::int64_t>(bitsPerSecond, 0, fastest);
    return base + std::max(bytesHeldBack(), secondsHeldBack * rate / 8);
}

} // namespace quol
