#include "platform/vtp/PictureCoder.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "platform/vtp/Bytes.h"
#include "platform/vtp/Limits.h"
#include "platform/vtp/Message.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace quol::vtp {

namespace {

constexpr std::uint32_t usualStrips = 8;
constexpr AVPixelFormat codedFormat = AV_PIX_FMT_YUV422P;

// What a decoder gives for it, depending on its version.
bool isCodedFormat(int format) {
    return format == codedFormat || format == AV_PIX_FMT_YUVJ422P;
}

AVPixelFormat plainFormat(std::uint32_t pixelFormat) {
    constexpr std::array<AVPixelFormat, 4> formats{AV_PIX_FMT_RGB24, AV_PIX_FMT_RGBA,
                                                   AV_PIX_FMT_BGR24, AV_PIX_FMT_BGRA};
    return pixelFormat < formats.size() ? formats[pixelFormat] : AV_PIX_FMT_RGB24;
}

int scalerFlags(int quality) {
    if (quality <= 0) return SWS_FAST_BILINEAR;
    return quality == 1 ? SWS_BILINEAR : SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INP;
}

// Coded pictures use the whole range of their bytes, which is told by range: the formats that have
// it in their name are on their way out, and warned about.
SwsPtr makeScaler(std::uint32_t width, std::uint32_t height, AVPixelFormat from, AVPixelFormat to,
                  int flags) {
    SwsPtr scaler(sws_alloc_context());
    if (!scaler) return nullptr;
    const auto set = [&scaler](const char* option, std::int64_t value) {
        av_opt_set_int(scaler.get(), option, value, 0);
    };
    set("srcw", width);
    set("srch", height);
    set("dstw", width);
    set("dsth", height);
    set("src_format", from);
    set("dst_format", to);
    set("src_range", 1);
    set("dst_range", 1);
    set("sws_flags", flags);
    return sws_init_context(scaler.get(), nullptr, nullptr) >= 0 ? std::move(scaler) : nullptr;
}

CodecContextPtr openEncoder(std::uint32_t width, std::uint32_t height) {
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_MJPEG);
    if (codec == nullptr) return nullptr;
    CodecContextPtr context(avcodec_alloc_context3(codec));
    if (!context) return nullptr;
    context->width = static_cast<int>(width);
    context->height = static_cast<int>(height);
    context->pix_fmt = codedFormat;
    context->color_range = AVCOL_RANGE_JPEG;
    context->strict_std_compliance = FF_COMPLIANCE_UNOFFICIAL; // newer versions want it said
    context->time_base = {1, 1000};
    context->flags |= AV_CODEC_FLAG_QSCALE;
    context->flags |= AV_CODEC_FLAG_BITEXACT; // no comment that names the coder
    context->thread_count = 1;
    // Tables made for each picture would take a second pass over it.
    av_opt_set(context->priv_data, "huffman", "default", 0);
    return avcodec_open2(context.get(), codec, nullptr) >= 0 ? std::move(context) : nullptr;
}

CodecContextPtr openDecoder() {
    const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_MJPEG);
    if (codec == nullptr) return nullptr;
    CodecContextPtr context(avcodec_alloc_context3(codec));
    if (!context) return nullptr;
    context->thread_count = 1;
    context->err_recognition = AV_EF_EXPLODE;
    context->log_level_offset = AV_LOG_TRACE; // what others send must not fill the host's log
    return avcodec_open2(context.get(), codec, nullptr) >= 0 ? std::move(context) : nullptr;
}

// Whether rows that follow each other without a gap may be handed to swscale as they are.
bool isPlainSize(std::uint32_t width, std::uint32_t rows) {
    return width % 32 == 0 && rows % 2 == 0;
}

// With room beyond its rows.
FramePtr makePaddedFrame(std::uint32_t width, std::uint32_t rows, AVPixelFormat format) {
    FramePtr frame = makeFrame();
    if (!frame) return nullptr;
    frame->width = static_cast<int>(codedWidth(width));
    frame->height = static_cast<int>(codedRows(rows));
    frame->format = format;
    return av_frame_get_buffer(frame.get(), 0) >= 0 ? std::move(frame) : nullptr;
}

// Rows into a padded frame; the last pixel and the last row fill what is left over.
void padRows(const std::uint8_t* from, std::uint32_t width, std::uint32_t rows, std::size_t pixel,
             AVFrame& to) {
    const std::size_t rowBytes = width * pixel;
    for (int y = 0; y < to.height; ++y) {
        const std::uint32_t row = std::min(static_cast<std::uint32_t>(y), rows - 1);
        std::uint8_t* out = to.data[0] + y * to.linesize[0];
        std::memcpy(out, from + row * rowBytes, rowBytes);
        for (std::size_t x = width; x < static_cast<std::size_t>(to.width); ++x)
            std::memcpy(out + x * pixel, out + rowBytes - pixel, pixel);
    }
}

void cutRows(const AVFrame& from, std::size_t rowBytes, std::uint32_t rows, std::uint8_t* to) {
    for (std::uint32_t y = 0; y < rows; ++y)
        std::memcpy(to + y * rowBytes, from.data[0] + static_cast<int>(y) * from.linesize[0],
                    rowBytes);
}

FramePtr makeCodedFrame(std::uint32_t width, std::uint32_t rows) {
    FramePtr frame = makePaddedFrame(width, rows, codedFormat);
    if (!frame) return nullptr;
    frame->color_range = AVCOL_RANGE_JPEG;
    return frame;
}

} // namespace

// A payload: the number of strips, the rows of each but the last, the bytes of each; the strips.

PictureEncoder::PictureEncoder(std::size_t bytesAPicture)
    : team_(WorkerTeam::usualHelpers()), budget_(bytesAPicture) {}

BlockPtr PictureEncoder::encode(const std::uint8_t* picture, std::uint32_t width,
                                std::uint32_t height, std::uint32_t pixelFormat, int quality,
                                BlockPool& pool) {
    const Key key{width, height, pixelFormat, quality};
    if (!(key == key_)) prepare(key);
    if (!budget_.takesNext()) return nullptr;
    const std::size_t stripBytes =
        static_cast<std::size_t>(rows_) * width * bytesPerPixel(pixelFormat);
    const auto eachStrip = [this](const auto& work) {
        team_.run(static_cast<int>(strips_.size()),
                  [&](int i) { work(static_cast<std::size_t>(i)); });
    };
    eachStrip([&](std::size_t at) {
        Strip& strip = strips_[at];
        strip.isConverted = convert(strip, picture + at * stripBytes);
        code(strip, budget_.quantizer());
    });
    const auto isReady = [](const Strip& strip) { return strip.isReady; };
    while (std::all_of(strips_.begin(), strips_.end(), isReady)) {
        if (budget_.accepts(codedBytes())) return collect(pool);
        eachStrip([&](std::size_t at) { code(strips_[at], budget_.quantizer()); });
    }
    return nullptr;
}

void PictureEncoder::prepare(const Key& key) {
    key_ = {};
    rows_ = stripRows(key.height, usualStrips);
    strips_.clear();
    for (std::uint32_t row = 0; row < key.height; row += rows_) {
        const AVPixelFormat plain = plainFormat(key.pixelFormat);
        Strip strip;
        strip.rows = std::min(rows_, key.height - row);
        strip.codec = openEncoder(codedWidth(key.width), codedRows(strip.rows));
        strip.scaler = makeScaler(codedWidth(key.width), codedRows(strip.rows), plain, codedFormat,
                                  scalerFlags(key.quality));
        strip.frame = makeCodedFrame(key.width, strip.rows);
        if (!isPlainSize(key.width, strip.rows))
            strip.padded = makePaddedFrame(key.width, strip.rows, plain);
        strip.packet = makePacket();
        strips_.push_back(std::move(strip));
    }
    key_ = key; // not before all strips are there
}

bool PictureEncoder::convert(Strip& strip, const std::uint8_t* rows) {
    if (!strip.codec || !strip.scaler || !strip.frame || !strip.packet) return false;
    if (av_frame_make_writable(strip.frame.get()) < 0) return false;
    const std::uint32_t pixel = bytesPerPixel(key_.pixelFormat);
    int stride = static_cast<int>(key_.width * pixel);
    if (!isPlainSize(key_.width, strip.rows)) {
        if (!strip.padded) return false;
        padRows(rows, key_.width, strip.rows, pixel, *strip.padded);
        rows = strip.padded->data[0];
        stride = strip.padded->linesize[0];
    }
    sws_scale(strip.scaler.get(), &rows, &stride, 0, strip.frame->height, strip.frame->data,
              strip.frame->linesize);
    return true;
}

void PictureEncoder::code(Strip& strip, int quantizer) {
    strip.isReady = false;
    if (!strip.isConverted) return;
    av_packet_unref(strip.packet.get());
    strip.frame->quality = quantizer * FF_QP2LAMBDA;
    ++strip.frame->pts;
    if (avcodec_send_frame(strip.codec.get(), strip.frame.get()) < 0) return;
    strip.isReady = avcodec_receive_packet(strip.codec.get(), strip.packet.get()) >= 0;
}

std::size_t PictureEncoder::codedBytes() const {
    std::size_t size = 8 + 4 * strips_.size();
    for (const Strip& strip : strips_)
        size += static_cast<std::size_t>(strip.packet->size);
    return size;
}

BlockPtr PictureEncoder::collect(BlockPool& pool) {
    const std::size_t size = codedBytes();
    const std::size_t plain =
        static_cast<std::size_t>(key_.width) * key_.height * bytesPerPixel(key_.pixelFormat);
    if (size > maxCodedBytes(plain)) return nullptr;
    BlockPtr block = pool.get(size);
    if (!block) return nullptr;

    std::uint8_t* head = block->data();
    putNumber(head, static_cast<std::uint32_t>(strips_.size()));
    putNumber(head + 4, rows_);
    std::uint8_t* body = head + 8 + 4 * strips_.size();
    head += 8;
    for (const Strip& strip : strips_) {
        const auto bytes = static_cast<std::size_t>(strip.packet->size);
        putNumber(head, static_cast<std::uint32_t>(bytes));
        std::memcpy(body, strip.packet->data, bytes);
        head += 4;
        body += bytes;
    }
    return block;
}

PictureDecoder::PictureDecoder() : team_(WorkerTeam::usualHelpers()) {}

BlockPtr PictureDecoder::decode(std::span<const std::uint8_t> coded, std::uint32_t width,
                                std::uint32_t height, std::uint32_t pixelFormat, BlockPool& pool) {
    if (!splitStrips(coded, height, split_)) return nullptr;
    const std::size_t rowBytes = static_cast<std::size_t>(width) * bytesPerPixel(pixelFormat);
    BlockPtr block = pool.get(rowBytes * height);
    if (!block) return nullptr;
    const std::size_t count = split_.parts.size();
    if (strips_.size() < count) strips_.resize(count);
    team_.run(static_cast<int>(count), [&](int i) {
        const auto at = static_cast<std::uint32_t>(i);
        const std::uint32_t row = at * split_.rows;
        decodeStrip(strips_[at], split_.parts[at], block->data() + row * rowBytes,
                    {width, std::min(split_.rows, height - row), pixelFormat});
    });
    const bool isDone =
        std::all_of(strips_.begin(), strips_.begin() + static_cast<std::ptrdiff_t>(count),
                    [](const Strip& strip) { return strip.isDone; });
    return isDone ? block : nullptr;
}

void PictureDecoder::decodeStrip(Strip& strip, std::span<const std::uint8_t> coded,
                                 std::uint8_t* to, const StripKey& key) {
    strip.isDone = false;
    if (!isPlainJpeg(coded, codedWidth(key.width), codedRows(key.height))) return;
    strip.isDone = decodePlanes(strip, coded, key) && convert(strip, to, key);
    // What a damaged strip has left in the decoder is not for the next.
    if (!strip.isDone) strip.codec.reset();
}

bool PictureDecoder::decodePlanes(Strip& strip, std::span<const std::uint8_t> coded,
                                  const StripKey& key) {
    if (!strip.codec) {
        strip.codec = openDecoder();
        strip.frame = makeFrame();
        strip.packet = makePacket();
    }
    if (!strip.codec || !strip.frame || !strip.packet) return false;
    av_packet_unref(strip.packet.get());
    // The decoder reads beyond the end; a packet of its own has the room for that.
    if (av_new_packet(strip.packet.get(), static_cast<int>(coded.size())) < 0) return false;
    av_shrink_packet(strip.packet.get(),
                     static_cast<int>(copyUnlabelled(coded, strip.packet->data)));
    if (avcodec_send_packet(strip.codec.get(), strip.packet.get()) < 0 ||
        avcodec_receive_frame(strip.codec.get(), strip.frame.get()) < 0)
        return false;
    const AVFrame& frame = *strip.frame;
    return frame.width == static_cast<int>(codedWidth(key.width)) &&
           frame.height == static_cast<int>(codedRows(key.height)) && isCodedFormat(frame.format);
}

bool PictureDecoder::convert(Strip& strip, std::uint8_t* to, const StripKey& key) {
    const AVFrame& frame = *strip.frame;
    const bool isPlain = isPlainSize(key.width, key.height);
    const AVPixelFormat plain = plainFormat(key.pixelFormat);
    if (!(strip.key == key)) {
        strip.scaler = makeScaler(codedWidth(key.width), codedRows(key.height), codedFormat, plain,
                                  SWS_FAST_BILINEAR);
        strip.padded = isPlain ? nullptr : makePaddedFrame(key.width, key.height, plain);
        strip.key = key;
    }
    if (!strip.scaler) return false;
    const std::size_t rowBytes =
        static_cast<std::size_t>(key.width) * bytesPerPixel(key.pixelFormat);
    if (isPlain) {
        const int stride = static_cast<int>(rowBytes);
        sws_scale(strip.scaler.get(), frame.data, frame.linesize, 0, frame.height, &to, &stride);
        return true;
    }
    if (!strip.padded) return false;
    sws_scale(strip.scaler.get(), frame.data, frame.linesize, 0, frame.height, strip.padded->data,
              strip.padded->linesize);
    cutRows(*strip.padded, rowBytes, key.height, to);
    return true;
}

} // namespace quol::vtp
