#include "outputs/ConvertInput.h"

#include <algorithm>

namespace quol {

namespace {

// One packet, or null for the last frames.
void decodePacket(AVCodecContext& decoder, const AVPacket* packet, AVFrame& frame,
                  const ConvertInput::Use& use, const std::function<bool()>& goOn) {
    if (avcodec_send_packet(&decoder, packet) < 0) return;
    while (goOn() && avcodec_receive_frame(&decoder, &frame) >= 0) {
        use(frame);
        av_frame_unref(&frame);
    }
}

} // namespace

double ConvertInput::measure(const std::string& path) {
    close();
    if (!media_.open(path)) return 0.0;
    const double seconds = media_.findStreamInfo() ? media_.durationMs() / 1000.0 : 0.0;
    close();
    return std::max(0.0, seconds);
}

bool ConvertInput::open(const std::string& path) {
    close();
    return packet_ && frame_ && media_.open(path);
}

CodecContextPtr ConvertInput::openStream(AVMediaType type, int& index) {
    index = media_.bestStream(type);
    const AVStream* stream = media_.stream(index);
    if (stream == nullptr) return nullptr;
    const bool pictures = type == AVMEDIA_TYPE_VIDEO;
    return openDecoder(*stream, pictures ? DecoderThreads::automatic : DecoderThreads::one);
}

bool ConvertInput::openStreams(bool picture, bool sound) {
    if (!media_.findStreamInfo()) return false;
    if (picture) video_ = openStream(AVMEDIA_TYPE_VIDEO, videoIndex_);
    if (sound) audio_ = openStream(AVMEDIA_TYPE_AUDIO, audioIndex_);
    media_.readOnly(video_ ? videoIndex_ : -1, audio_ ? audioIndex_ : -1);
    return true;
}

bool ConvertInput::read() {
    av_packet_unref(packet_.get());
    return av_read_frame(media_.get(), packet_.get()) >= 0;
}

std::optional<double> ConvertInput::packetTime() const {
    const AVStream* stream = media_.stream(packet_->stream_index);
    if (stream == nullptr || packet_->pts == AV_NOPTS_VALUE) return std::nullopt;
    return av_q2d(stream->time_base) * static_cast<double>(packet_->pts);
}

void ConvertInput::decode(const Use& picture, const Use& sound, const std::function<bool()>& goOn) {
    const int index = packet_->stream_index;
    if (video_ && index == videoIndex_) {
        decodePacket(*video_, packet_.get(), *frame_, picture, goOn);
    } else if (audio_ && index == audioIndex_) {
        decodePacket(*audio_, packet_.get(), *frame_, sound, goOn);
    }
}

void ConvertInput::drain(const Use& picture, const Use& sound, const std::function<bool()>& goOn) {
    if (video_) decodePacket(*video_, nullptr, *frame_, picture, goOn);
    if (audio_) decodePacket(*audio_, nullptr, *frame_, sound, goOn);
}

void ConvertInput::close() {
    if (packet_) av_packet_unref(packet_.get());
    video_.reset();
    audio_.reset();
    media_.close();
}

} // namespace quol
