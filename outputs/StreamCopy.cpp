#include "outputs/StreamCopy.h"

#include <fcntl.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <utility>

#include "core/ErrorText.h"
#include "core/Log.h"

namespace quol {

StreamCopy::Begun StreamCopy::begin(const std::string& folder, const AVCodecContext& video,
                                    const AVCodecContext* audio) {
    AVFormatContext* made = nullptr;
    if (avformat_alloc_output_context2(&made, nullptr, "mp4", nullptr) < 0) return Begun::noMuxer;
    output_.reset(made);
    video_ = addStream(video);
    audio_ = audio != nullptr ? addStream(*audio) : nullptr;
    if (!packet_ || video_ == nullptr || (audio != nullptr && audio_ == nullptr))
        return Begun::noMuxer;
    bitRate_ = video.bit_rate + (audio != nullptr ? audio->bit_rate : 0);
    if (!createFile(folder)) {
        discard();
        return Begun::noFile;
    }
    running_ = avformat_write_header(output_.get(), nullptr) >= 0;
    if (!running_) {
        discard();
        return Begun::noFile;
    }
    reserve_.open(path_);
    return Begun::yes;
}

AVStream* StreamCopy::addStream(const AVCodecContext& encoder) {
    AVStream* stream = avformat_new_stream(output_.get(), nullptr);
    if (stream == nullptr || avcodec_parameters_from_context(stream->codecpar, &encoder) < 0)
        return nullptr;
    stream->codecpar->codec_tag = 0; // the muxer's own
    stream->time_base = encoder.time_base;
    return stream;
}

// Takes the first free name. The file is made in the same step as it is found missing, so that two
// streams into one folder never share a file.
bool StreamCopy::createFile(const std::string& folder) {
    constexpr int lastNumber = 1000000;
    const std::string base = folder + (folder.ends_with('/') ? "stream" : "/stream");
    for (int number = 0; number < lastNumber; ++number) {
        std::string path = base;
        if (number > 0) path.append("_").append(std::to_string(number));
        path.append(".mp4");
        const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                                    S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH);
        if (descriptor < 0) {
            if (errno == EEXIST) continue;
            return false;
        }
        close(descriptor);
        path_ = std::move(path);
        // With the scheme, or FFmpeg would look for one in a relative path with a colon.
        if (avio_open(&output_->pb, ("file:" + path_).c_str(), AVIO_FLAG_WRITE) >= 0) return true;
        return false;
    }
    return false;
}

void StreamCopy::write(const AVPacket& packet, AVMediaType type, AVRational timeBase) {
    if (!running_) return;
    const AVStream* stream = type == AVMEDIA_TYPE_VIDEO ? video_ : audio_;
    if (stream == nullptr) return;
    if (av_packet_ref(packet_.get(), &packet) < 0) return;
    av_packet_rescale_ts(packet_.get(), timeBase, stream->time_base);
    packet_->stream_index = stream->index;
    ++packets_;
    packetBytes_ += packet.size;
    // A packet that the muxer refuses is one packet lost; a file that takes no more is the end.
    av_interleaved_write_frame(output_.get(), packet_.get());
    av_packet_unref(packet_.get());
    if (output_->pb->error < 0) {
        end(output_->pb->error);
        return;
    }
    // What the muxer holds back, the index, and some seconds more.
    constexpr std::int64_t base = 256 * 1024;
    constexpr std::int64_t secondsHeldBack = 4;
    constexpr std::int64_t indexBytesPerPacket = 40;
    const std::int64_t written = std::max<std::int64_t>(0, avio_tell(output_->pb));
    const std::int64_t inMuxer = std::max<std::int64_t>(0, packetBytes_ - written);
    const std::int64_t room =
        base + secondsHeldBack * bitRate_ / 8 + inMuxer + packets_ * indexBytesPerPacket;
    if (!reserve_.hold(written, room)) end(AVERROR(ENOSPC));
}

void StreamCopy::end(int error) {
    finish(); // who reads the line finds the file whole
    logError("[LStream] Copy ended, %s: %s", errorText(error).c_str(), path_.c_str());
}

void StreamCopy::discard() {
    running_ = false;
    output_.reset();
    reserve_.release();
    if (!path_.empty()) unlink(path_.c_str());
}

void StreamCopy::finish() {
    if (!running_) return;
    running_ = false;
    av_interleaved_write_frame(output_.get(), nullptr);
    av_write_trailer(output_.get());
    avio_closep(&output_->pb);
    output_.reset();
    reserve_.release();
}

} // namespace quol
