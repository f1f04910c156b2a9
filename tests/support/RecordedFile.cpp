#include "support/RecordedFile.h"

#include <algorithm>
#include <cmath>
#include <limits>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace test {

namespace {

std::map<std::string, std::string> readMetadata(const AVDictionary* dictionary) {
    std::map<std::string, std::string> entries;
    const AVDictionaryEntry* entry = nullptr;
    while ((entry = av_dict_get(dictionary, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr) {
        entries[entry->key] = entry->value;
    }
    return entries;
}

double seconds(std::int64_t value, AVRational base) {
    return value == AV_NOPTS_VALUE ? 0.0 : static_cast<double>(value) * av_q2d(base);
}

double meanLuma(const AVFrame& frame) {
    const AVPixFmtDescriptor* descriptor =
        av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    const AVComponentDescriptor& component = descriptor->comp[0];
    double sum = 0.0;
    for (int y = 0; y < frame.height; ++y) {
        const std::uint8_t* row =
            frame.data[0] + static_cast<std::ptrdiff_t>(y) * frame.linesize[0] + component.offset;
        for (int x = 0; x < frame.width; ++x, row += component.step) {
            sum += component.depth > 8 ? row[0] + 256 * row[1] : row[0];
        }
    }
    return sum / frame.width / frame.height / (1 << (component.depth - 8));
}

float sampleAt(const AVFrame& frame, int channel, int index) {
    const auto format = static_cast<AVSampleFormat>(frame.format);
    const bool planar = av_sample_fmt_is_planar(format) != 0;
    const std::uint8_t* plane = frame.extended_data[planar ? channel : 0];
    const int at = planar ? index : index * frame.ch_layout.nb_channels + channel;
    switch (av_get_packed_sample_fmt(format)) {
        case AV_SAMPLE_FMT_S16:
            return static_cast<float>(reinterpret_cast<const std::int16_t*>(plane)[at]) / 32768.0F;
        case AV_SAMPLE_FMT_S32:
            return static_cast<float>(reinterpret_cast<const std::int32_t*>(plane)[at]) /
                   2147483648.0F;
        case AV_SAMPLE_FMT_FLT:
            return reinterpret_cast<const float*>(plane)[at];
        default:
            return std::numeric_limits<float>::quiet_NaN(); // no test may take this for sound
    }
}

class Reading {
public:
    Reading(RecordedFile& file, Keep keep) : file_(file), keep_(keep) {}

    void run(const std::string& path) {
        AVFormatContext* opened = nullptr;
        if (avformat_open_input(&opened, path.c_str(), nullptr, nullptr) < 0) {
            file_.error = "not opened";
            return;
        }
        input_.reset(opened);
        if (avformat_find_stream_info(opened, nullptr) < 0) file_.error = "no stream info";
        describe();
        readPackets();
        for (std::size_t i = 0; i < decoders_.size(); ++i)
            decode(i, nullptr);
    }

private:
    void describe() {
        file_.container = input_->iformat->name;
        if (input_->duration > 0) file_.duration = seconds(input_->duration, {1, AV_TIME_BASE});
        file_.metadata = readMetadata(input_->metadata);
        for (unsigned i = 0; i < input_->nb_streams; ++i) {
            const AVStream& stream = *input_->streams[i];
            const AVCodecParameters& coded = *stream.codecpar;
            RecordedStream record;
            record.type = coded.codec_type;
            record.codec = avcodec_get_name(coded.codec_id);
            record.profile = coded.profile;
            record.width = coded.width;
            record.height = coded.height;
            record.rate = stream.avg_frame_rate.den != 0 ? av_q2d(stream.avg_frame_rate) : 0.0;
            record.sampleRate = coded.sample_rate;
            record.channels = coded.ch_layout.nb_channels;
            record.bitRate = coded.bit_rate;
            if (stream.duration > 0) record.duration = seconds(stream.duration, stream.time_base);
            record.metadata = readMetadata(stream.metadata);
            file_.streams.push_back(std::move(record));
            decoders_.push_back(openDecoder(stream));
        }
    }

    quol::CodecContextPtr openDecoder(const AVStream& stream) {
        const AVCodec* codec = avcodec_find_decoder(stream.codecpar->codec_id);
        if (codec == nullptr) return nullptr;
        quol::CodecContextPtr context(avcodec_alloc_context3(codec));
        if (avcodec_parameters_to_context(context.get(), stream.codecpar) < 0) return nullptr;
        context->pkt_timebase =
            stream.time_base; // or the encoder's start-up samples shift the time
        context->thread_count = 1;
        if (avcodec_open2(context.get(), codec, nullptr) < 0) {
            file_.error = "no decoder";
            return nullptr;
        }
        return context;
    }

    void readPackets() {
        const quol::PacketPtr packet = quol::makePacket();
        int result = 0;
        while ((result = av_read_frame(input_.get(), packet.get())) >= 0) {
            const auto index = static_cast<std::size_t>(packet->stream_index);
            RecordedPacket record;
            record.seconds = seconds(packet->pts, input_->streams[index]->time_base);
            record.size = packet->size;
            record.key = (packet->flags & AV_PKT_FLAG_KEY) != 0;
            if ((packet->flags & AV_PKT_FLAG_CORRUPT) != 0) file_.error = "corrupt packet";
            file_.streams[index].packets.push_back(record);
            decode(index, packet.get());
            av_packet_unref(packet.get());
        }
        if (result != AVERROR_EOF) file_.error = "reading ended early";
    }

    void decode(std::size_t index, const AVPacket* packet) {
        AVCodecContext* decoder = decoders_[index].get();
        if (decoder == nullptr) return;
        if (avcodec_send_packet(decoder, packet) < 0) file_.error = "damaged packet";
        const quol::FramePtr frame = quol::makeFrame();
        while (avcodec_receive_frame(decoder, frame.get()) >= 0) {
            const AVRational base = input_->streams[index]->time_base;
            if (frame->decode_error_flags != 0) file_.error = "damaged frame";
            if (decoder->codec_type == AVMEDIA_TYPE_VIDEO) takePicture(*frame, base);
            if (decoder->codec_type == AVMEDIA_TYPE_AUDIO) takeSound(*frame, base);
            av_frame_unref(frame.get());
        }
    }

    void takePicture(const AVFrame& frame, AVRational base) {
        RecordedPicture picture;
        picture.seconds = seconds(frame.best_effort_timestamp, base);
        picture.width = frame.width;
        picture.height = frame.height;
        picture.luma = meanLuma(frame);
        if (keep_ == Keep::pictures) picture.frame = quol::cloneFrame(&frame);
        file_.pictures.push_back(std::move(picture));
    }

    void takeSound(const AVFrame& frame, AVRational base) {
        const double start = seconds(frame.best_effort_timestamp, base);
        if (file_.sound.empty()) {
            file_.soundStart = start;
            file_.soundRate = frame.sample_rate;
        } else {
            const double end = file_.soundStart + file_.soundSeconds();
            file_.soundHoles = std::max(file_.soundHoles, std::fabs(start - end));
        }
        const int right = frame.ch_layout.nb_channels > 1 ? 1 : 0;
        for (int i = 0; i < frame.nb_samples; ++i) {
            file_.sound.push_back(sampleAt(frame, 0, i));
            file_.sound.push_back(sampleAt(frame, right, i));
        }
    }

    RecordedFile& file_;
    Keep keep_;
    quol::InputFormatPtr input_;
    std::vector<quol::CodecContextPtr> decoders_;
};

} // namespace

const RecordedStream* RecordedFile::stream(AVMediaType type) const {
    const auto found = std::find_if(streams.begin(), streams.end(),
                                    [type](const auto& one) { return one.type == type; });
    return found != streams.end() ? &*found : nullptr;
}

double RecordedFile::soundSeconds() const {
    return soundRate > 0 ? static_cast<double>(soundPairs()) / soundRate : 0.0;
}

double RecordedFile::pictureSeconds() const {
    return pictures.empty() ? 0.0 : pictures.back().seconds - pictures.front().seconds;
}

double RecordedFile::longestPictureGap() const {
    double longest = 0.0;
    for (std::size_t i = 1; i < pictures.size(); ++i) {
        longest = std::max(longest, pictures[i].seconds - pictures[i - 1].seconds);
    }
    return longest;
}

double RecordedFile::largestSample() const {
    double largest = 0.0;
    for (const float sample : sound)
        largest = std::max<double>(largest, std::fabs(sample));
    return largest;
}

std::optional<std::string> RecordedFile::timecode() const {
    const auto inFile = metadata.find("timecode");
    if (inFile != metadata.end()) return inFile->second;
    for (const RecordedStream& one : streams) {
        const auto inStream = one.metadata.find("timecode");
        if (inStream != one.metadata.end()) return inStream->second;
    }
    return std::nullopt;
}

RecordedFile readRecordedFile(const std::string& path, Keep keep) {
    RecordedFile file;
    Reading(file, keep).run(path);
    return file;
}

std::vector<double> flashes(const RecordedFile& file) {
    constexpr double bright = 128.0;
    std::vector<double> times;
    bool wasBright = false;
    for (const RecordedPicture& picture : file.pictures) {
        if (picture.luma > bright && !wasBright) times.push_back(picture.seconds);
        wasBright = picture.luma > bright;
    }
    return times;
}

std::vector<double> beeps(const RecordedFile& file) {
    constexpr float loud = 0.02F;
    constexpr double silence = 0.1; // seconds
    std::vector<double> times;
    double lastLoud = -1.0;
    for (std::size_t i = 0; i < file.soundPairs(); ++i) {
        if (std::fabs(file.sound[i * 2]) < loud) continue;
        const double now = static_cast<double>(i) / file.soundRate;
        if (lastLoud < 0.0 || now - lastLoud > silence) times.push_back(file.soundStart + now);
        lastLoud = now;
    }
    return times;
}

std::vector<double> distances(const std::vector<double>& wanted,
                              const std::vector<double>& others) {
    std::vector<double> result;
    for (const double time : wanted) {
        double nearest = std::numeric_limits<double>::infinity();
        for (const double other : others) {
            if (std::fabs(other - time) < std::fabs(nearest)) nearest = other - time;
        }
        result.push_back(nearest);
    }
    return result;
}

} // namespace test
