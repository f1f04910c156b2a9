#include "outputs/ReplayMovie.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "core/PlainFile.h"
#include "core/Timecode.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/mathematics.h>
}

namespace quol {

namespace {

constexpr AVRational millisecond{1, 1000};

bool isThere(const std::string& path) {
    std::error_code error;
    return std::filesystem::exists(std::filesystem::symlink_status(path, error));
}

} // namespace

bool ReplayMovie::open(const std::string& path, const ReplayMovieFormat& format) {
    if (isEndless(path)) return false;
    AVFormatContext* context = nullptr;
    avformat_alloc_output_context2(&context, nullptr, nullptr, path.c_str());
    output_.reset(context);
    if (!output_ || !packet_ || !addStreams(format)) return false;
    // Picture and sound come together: what is held back until the other one has come needs no more
    // memory than a second does, even where there is no sound at all.
    constexpr std::int64_t oneSecond = AV_TIME_BASE;
    output_->max_interleave_delta = oneSecond;
    const bool isNew = !isThere(path);
    const bool needsFile = (output_->oformat->flags & AVFMT_NOFILE) == 0;
    if (needsFile && avio_open(&output_->pb, path.c_str(), AVIO_FLAG_WRITE) < 0) {
        output_.reset();
        return false;
    }
    Dictionary options;
    if (!format.timecode.empty()) {
        const char* timecode = format.timecode.c_str();
        av_dict_set(&output_->metadata, "timecode", timecode, 0);
        av_dict_set(&video_->metadata, "timecode", timecode, 0);
        options.set("timecode", timecode);
    }
    if (avformat_write_header(output_.get(), options.address()) >= 0) return true;
    output_.reset();
    std::error_code error;
    if (isNew && isPlainFile(path)) std::filesystem::remove(path, error);
    return false;
}

bool ReplayMovie::addStreams(const ReplayMovieFormat& format) {
    video_ = avformat_new_stream(output_.get(), nullptr);
    audio_ = avformat_new_stream(output_.get(), nullptr);
    if (video_ == nullptr || audio_ == nullptr) return false;
    rate_ = format.rate;
    sampleRate_ = format.sampleRate;
    video_->codecpar->codec_type = AVMEDIA_TYPE_VIDEO;
    video_->codecpar->codec_id = AV_CODEC_ID_MJPEG;
    video_->codecpar->format = AV_PIX_FMT_YUVJ422P;
    video_->codecpar->width = format.width;
    video_->codecpar->height = format.height;
    video_->time_base = millisecond;
    const int wholeRate = std::max(1, static_cast<int>(format.rate));
    video_->avg_frame_rate = {wholeRate, 1};
    video_->r_frame_rate = {wholeRate, 1};
    AVCodecParameters& sound = *audio_->codecpar;
    sound.codec_type = AVMEDIA_TYPE_AUDIO;
    sound.codec_id = AV_CODEC_ID_PCM_S16LE;
    sound.format = AV_SAMPLE_FMT_S16;
    sound.sample_rate = format.sampleRate;
    av_channel_layout_default(&sound.ch_layout, 2);
    sound.bits_per_coded_sample = 16;
    sound.block_align = 4;
    audio_->time_base = {1, format.sampleRate};
    return true;
}

void ReplayMovie::addPicture(std::int64_t index, const std::uint8_t* bytes, std::int32_t size) {
    const std::int64_t time = wholeFrames(static_cast<double>(index) * 1000.0 / rate_);
    if (lastPicture_ != AV_NOPTS_VALUE && time <= lastPicture_) return;
    lastPicture_ = time;
    write(*video_, av_rescale_q(time, millisecond, video_->time_base), bytes, size);
}

void ReplayMovie::addSound(double time, const std::uint8_t* bytes, std::int32_t size) {
    const std::int64_t pts = wholeFrames(std::round(time * sampleRate_));
    if (lastSound_ != AV_NOPTS_VALUE && pts <= lastSound_) return;
    lastSound_ = pts;
    write(*audio_, av_rescale_q(pts, {1, sampleRate_}, audio_->time_base), bytes, size);
}

void ReplayMovie::write(const AVStream& stream, std::int64_t pts, const std::uint8_t* bytes,
                        std::int32_t size) {
    if (error_ != 0) return;
    av_packet_unref(packet_.get());
    error_ = av_new_packet(packet_.get(), size);
    if (error_ != 0) return;
    std::memcpy(packet_->data, bytes, static_cast<std::size_t>(size));
    packet_->stream_index = stream.index;
    packet_->pts = pts;
    packet_->dts = pts;
    packet_->flags |= AV_PKT_FLAG_KEY;
    error_ = std::min(0, av_interleaved_write_frame(output_.get(), packet_.get()));
    if (error_ == 0 && output_->pb != nullptr) error_ = std::min(0, output_->pb->error);
}

bool ReplayMovie::finish() {
    const int trailer = std::min(0, av_write_trailer(output_.get()));
    if (error_ == 0) error_ = trailer;
    if (output_->pb != nullptr && (output_->oformat->flags & AVFMT_NOFILE) == 0) {
        const int closed = std::min(0, avio_closep(&output_->pb));
        if (error_ == 0) error_ = closed;
    }
    output_.reset();
    return error_ == 0;
}

} // namespace quol
