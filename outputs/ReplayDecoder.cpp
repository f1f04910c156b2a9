#include "outputs/ReplayDecoder.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace quol {

namespace {

constexpr int silent = 100; // a damaged picture is not shown, and that is all

constexpr unsigned marker = 0xFF;
constexpr unsigned startOfScan = 0xDA;

// Those that begin with a picture's size. C4, C8 and CC are tables and extensions.
bool isFrameHeader(unsigned code) {
    return code >= 0xC0 && code <= 0xCF && code != 0xC4 && code != 0xC8 && code != 0xCC;
}

} // namespace

std::optional<ReplaySize> jpegSize(const std::uint8_t* bytes, std::size_t size) {
    constexpr std::size_t header = 9; // marker, length, depth, height, width
    const auto two = [bytes](std::size_t at) { return bytes[at] * 256 + bytes[at + 1]; };
    std::size_t at = 2; // behind the start of the image
    while (at + header <= size && bytes[at] == marker && bytes[at + 1] != startOfScan) {
        if (isFrameHeader(bytes[at + 1])) return ReplaySize{two(at + 7), two(at + 5)};
        at += 2 + static_cast<std::size_t>(two(at + 2));
    }
    return std::nullopt;
}

bool ReplayDecoder::open() {
    if (context_) return true;
    const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_MJPEG);
    CodecContextPtr context(codec != nullptr ? avcodec_alloc_context3(codec) : nullptr);
    packet_ = makePacket();
    if (!context || !packet_) return false;
    context->thread_count = 1; // or a picture would wait for the next one
    context->log_level_offset = silent;
    if (avcodec_open2(context.get(), codec, nullptr) < 0) return false;
    context_ = std::move(context);
    return true;
}

FramePtr ReplayDecoder::picture(const std::shared_ptr<ReplayReader>& reader,
                                const ReplayPiece& piece, ReplaySize size) {
    const bool isLatest = latest_ && latestReader_.lock() == reader &&
                          latestPiece_.offset == piece.offset && latestPiece_.size == piece.size &&
                          latestSize_.width == size.width && latestSize_.height == size.height;
    if (!isLatest) {
        latest_.reset();
        latestReader_ = reader;
        latestPiece_ = piece;
        latestSize_ = size;
        const FramePtr decoded = reader && open() ? decode(*reader, piece) : nullptr;
        if (decoded) latest_ = convert(*decoded, size);
    }
    return cloneFrame(latest_.get());
}

FramePtr ReplayDecoder::decode(const ReplayReader& reader, const ReplayPiece& piece) {
    if (!reader.readPicture(piece, bytes_)) return nullptr;
    packet_->data = bytes_.data();
    packet_->size = piece.size;
    const int sent = avcodec_send_packet(context_.get(), packet_.get());
    packet_->data = nullptr;
    packet_->size = 0;
    FramePtr decoded = makeFrame();
    if (sent < 0 || !decoded || avcodec_receive_frame(context_.get(), decoded.get()) < 0) {
        avcodec_flush_buffers(context_.get());
        return nullptr;
    }
    return decoded;
}

FramePtr ReplayDecoder::convert(const AVFrame& decoded, ReplaySize size) {
    const bool own = size.width < 1 || size.height < 1;
    FramePtr picture = pool_.get(own ? decoded.width : size.width,
                                 own ? decoded.height : size.height, AV_PIX_FMT_YUVA420P);
    if (!picture) return nullptr;
    const bool sameSize = picture->width == decoded.width && picture->height == decoded.height;
    if (sameSize && ReplayView::takes(decoded)) {
        view_.convert(decoded, *picture);
    } else if (!scaler_.scale(decoded, *picture, SWS_BILINEAR)) {
        return nullptr;
    }
    return picture;
}

} // namespace quol
