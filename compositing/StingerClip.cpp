#include "compositing/StingerClip.h"

#include <cstring>

#include "core/ClipInput.h"
#include "core/MappedPicture.h"
#include "core/PictureCheck.h"

namespace quol {

namespace {

constexpr AVPixelFormat clipFormat = AV_PIX_FMT_YUVA420P;
// What a decoder may need for one pixel of the file's own size, a generous guess.
constexpr std::uint64_t decoderBytesPerPixel = 8;

void fillPlane(const AVFrame& frame, int plane, int rows, int level) {
    std::memset(frame.data[plane], level,
                static_cast<std::size_t>(rows) * static_cast<std::size_t>(frame.linesize[plane]));
}

// Opaque black: what a picture is that cannot be converted.
void fillBlack(const AVFrame& frame) {
    const int chromaRows = (frame.height + 1) / 2;
    fillPlane(frame, 0, frame.height, 0);
    fillPlane(frame, 1, chromaRows, 128);
    fillPlane(frame, 2, chromaRows, 128);
    fillPlane(frame, 3, frame.height, 255);
}

// FFmpeg draws text files as the terminals of old would have shown them.
bool isDrawnText(AVCodecID codec) {
    return codec == AV_CODEC_ID_ANSI || codec == AV_CODEC_ID_BINTEXT;
}

} // namespace

StingerClip::Outcome StingerClip::read(const ClipRequest& request) {
    const Outcome outcome = decode(request);
    input_.close();
    decoder_.reset();
    if (outcome != Outcome::decoded) frames_.clear();
    return outcome;
}

StingerClip::Outcome StingerClip::decode(const ClipRequest& request) {
    if (cancelled_) return Outcome::cancelled;
    const PacketPtr packet = makePacket();
    if (!packet || mappedPictureSize(request.width, request.height, clipFormat) == 0 ||
        !openClip(input_, request.path, request.fps) || !openStream())
        return cancelled_ ? Outcome::cancelled : Outcome::unreadable;
    // A damaged file may end early, and what came before it stands.
    while (!cancelled_ && av_read_frame(input_.get(), packet.get()) >= 0) {
        const bool wanted = packet->stream_index == stream_;
        const bool fits = !wanted || decodePacket(packet.get(), request);
        av_packet_unref(packet.get());
        if (!fits) return Outcome::tooLarge;
    }
    if (!cancelled_ && !decodePacket(nullptr, request)) return Outcome::tooLarge;
    if (cancelled_) return Outcome::cancelled;
    return frames_.empty() ? Outcome::unreadable : Outcome::decoded;
}

bool StingerClip::openStream() {
    if (!input_.findStreamInfo()) return false;
    stream_ = input_.bestStream(AVMEDIA_TYPE_VIDEO);
    const AVStream* stream = input_.stream(stream_);
    if (stream == nullptr || isDrawnText(stream->codecpar->codec_id)) return false;
    decoder_ = openDecoder(*stream, DecoderThreads::one);
    decoded_ = makeFrame();
    if (!decoder_ || !decoded_) return false;
    // A file of a few bytes can ask for a picture larger than memory.
    decoder_->max_pixels = static_cast<std::int64_t>(budget_.left() / decoderBytesPerPixel);
    input_.readOnly(stream_, -1);
    return true;
}

// Null drains the decoder. False when memory is short; what is damaged is left out.
bool StingerClip::decodePacket(const AVPacket* packet, const ClipRequest& request) {
    if (avcodec_send_packet(decoder_.get(), packet) == AVERROR(ENOMEM)) return false;
    int result = 0;
    while (!cancelled_ && (result = avcodec_receive_frame(decoder_.get(), decoded_.get())) >= 0) {
        FramePtr frame = convert(*decoded_, request);
        av_frame_unref(decoded_.get());
        if (!frame) return false;
        frames_.push_back(std::move(frame));
    }
    return result != AVERROR(ENOMEM);
}

// Null when memory is short. The scaler is made for the first picture and serves as long as the
// pictures stay as they are.
FramePtr StingerClip::convert(const AVFrame& picture, const ClipRequest& request) {
    if (!budget_.take(mappedPictureSize(request.width, request.height, clipFormat))) return nullptr;
    FramePtr frame = makeMappedPicture(request.width, request.height, clipFormat);
    if (!frame) return nullptr;
    if (!isReadablePicture(picture) || !scaler_.scale(picture, *frame, SWS_BICUBIC))
        fillBlack(*frame);
    return frame;
}

} // namespace quol
