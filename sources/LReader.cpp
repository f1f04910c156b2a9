#include "quolsdk/LReader.h"

#include "core/MediaInput.h"
#include "core/PlainFile.h"
#include "core/Timecode.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace {

constexpr auto unknown = "Unknown";
constexpr auto notApplicable = "N/A";

std::string textOr(const char* text, const char* otherwise) {
    return text != nullptr ? text : otherwise;
}

std::string decoderName(const AVStream* stream) {
    const AVCodec* decoder =
        stream != nullptr ? avcodec_find_decoder(stream->codecpar->codec_id) : nullptr;
    return textOr(decoder != nullptr ? decoder->name : nullptr, unknown);
}

const AVPixFmtDescriptor* pixelFormatOf(const AVStream* stream) {
    return stream != nullptr
               ? av_pix_fmt_desc_get(static_cast<AVPixelFormat>(stream->codecpar->format))
               : nullptr;
}

} // namespace

LReader::LReader() : formatContext(std::make_unique<quol::MediaInput>()) {}

LReader::~LReader() = default;

bool LReader::open(const std::string& path) {
    close();
    filePath = path;
    if (!formatContext->open(path) || !formatContext->findStreamInfo()) return false;
    videoStreamIndex = formatContext->bestStream(AVMEDIA_TYPE_VIDEO);
    audioStreamIndex = formatContext->bestStream(AVMEDIA_TYPE_AUDIO);
    return true;
}

void LReader::close() {
    formatContext->close();
    videoStreamIndex = -1;
    audioStreamIndex = -1;
    filePath.clear();
}

const AVStream* LReader::videoStream() const {
    return formatContext->stream(videoStreamIndex);
}

const AVStream* LReader::audioStream() const {
    return formatContext->stream(audioStreamIndex);
}

double LReader::getDurationMs() const {
    return formatContext->durationMs();
}

double LReader::getFPS() const {
    const AVStream* stream = videoStream();
    return stream != nullptr ? quol::rationalOrZero(stream->avg_frame_rate) : 0.0;
}

std::int64_t LReader::getWidth() const {
    const AVStream* stream = videoStream();
    return stream != nullptr ? stream->codecpar->width : 0;
}

std::int64_t LReader::getHeight() const {
    const AVStream* stream = videoStream();
    return stream != nullptr ? stream->codecpar->height : 0;
}

std::int64_t LReader::getFileLen() const {
    return quol::fileSize(filePath);
}

std::string LReader::getVideoCodec() const {
    return decoderName(videoStream());
}

std::string LReader::getAudioCodec() const {
    return decoderName(audioStream());
}

std::string LReader::getContainer() const {
    return textOr(*formatContext ? formatContext->get()->iformat->name : nullptr, unknown);
}

std::int64_t LReader::getBitrate() const {
    return *formatContext ? formatContext->get()->bit_rate : 0;
}

std::int64_t LReader::getAudioBitrate() const {
    const AVStream* stream = audioStream();
    return stream != nullptr ? stream->codecpar->bit_rate : 0;
}

std::int64_t LReader::getAudioChannels() const {
    const AVStream* stream = audioStream();
    return stream != nullptr ? stream->codecpar->ch_layout.nb_channels : 0;
}

std::string LReader::getAspectRatio() const {
    const AVStream* stream = videoStream();
    if (stream == nullptr) return notApplicable;
    std::int64_t wide = stream->codecpar->width;
    std::int64_t high = stream->codecpar->height;
    // The container's, or where it has none the stream's own.
    const AVRational pixel =
        av_guess_sample_aspect_ratio(formatContext->get(), const_cast<AVStream*>(stream), nullptr);
    if (pixel.num != 0) {
        wide *= pixel.num;
        high *= pixel.den;
    }
    constexpr int limit = 1024;
    int x = 0;
    int y = 0;
    av_reduce(&x, &y, wide, high, limit);
    return std::to_string(x) + ':' + std::to_string(y);
}

std::string LReader::getColorSpace() const {
    const AVStream* stream = videoStream();
    return textOr(stream != nullptr ? av_color_space_name(stream->codecpar->color_space) : nullptr,
                  unknown);
}

std::string LReader::getChromaSubsampling() const {
    const AVPixFmtDescriptor* format = pixelFormatOf(videoStream());
    if (format == nullptr) return unknown;
    if (format->log2_chroma_w == 1 && format->log2_chroma_h == 1) return "4:2:0";
    if (format->log2_chroma_w == 1 && format->log2_chroma_h == 0) return "4:2:2";
    if (format->log2_chroma_w == 0 && format->log2_chroma_h == 0) return "4:4:4";
    return unknown;
}

int LReader::getBitDepth() const {
    const AVStream* stream = videoStream();
    if (stream == nullptr) return 0;
    const AVPixFmtDescriptor* format = pixelFormatOf(stream);
    return format != nullptr ? format->comp[0].depth : 8;
}

std::string LReader::getScanType() const {
    const AVStream* stream = videoStream();
    if (stream == nullptr) return notApplicable;
    return stream->codecpar->field_order <= AV_FIELD_PROGRESSIVE ? "Progressive" : "Interlaced";
}

std::string LReader::getInTC() const {
    return textOr(formatContext->timecode(videoStreamIndex), quol::noTimecode);
}

std::string LReader::getOutTC() const {
    const double fps = quol::fpsOrDefault(getFPS());
    return quol::framesToTimecodeText(
        quol::timecodeTextToFrames(getInTC(), fps) + quol::framesAt(getDurationMs() / 1000.0, fps),
        fps);
}
