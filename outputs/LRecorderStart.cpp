// How a recording begins: the muxer, its encoders, its file.
#include <algorithm>
#include <array>
#include <cmath>

#include "core/Log.h"
#include "core/ModeTables.h"
#include "core/Timecode.h"
#include "outputs/AudioTrack.h"
#include "outputs/DiskReserve.h"
#include "outputs/EncoderSession.h"
#include "quolsdk/LObject.h"
#include "quolsdk/LRecorder.h"

namespace {

constexpr int defaultWidth = 1920;
constexpr int defaultHeight = 1080;
constexpr int audioSampleRate = 48000;
constexpr std::int64_t bitsPerKilobit = 1000;
constexpr std::size_t longestTimecode = 31;
constexpr auto noTimecode = "00:00:00:00"; // what a source without one answers

AVRational rationalRate(double fps) {
    constexpr int limit = 1000000;
    const AVRational rate = av_d2q(fps, limit);
    return rate.num > 0 && rate.den > 0 ? rate : AVRational{25, 1};
}

} // namespace

bool LRecorder::initFFmpeg(LObject* from) {
    session = std::make_unique<quol::EncoderSession>();
    if (!session->createOutput(job.container, job.filePath)) {
        quol::logError("LRecorder: Could not create output context");
        return false;
    }
    quol::Dictionary options;
    if (!initVideo(from, options)) return false;
    initAudio();
    return initFile(options);
}

// The wanted format, then the source's, then the defaults, each for what the ones before leave
// open.
videoFormatProps LRecorder::pictureFormat(LObject* from) const {
    videoFormatProps format;
    if (job.videoFormat.mode != quol::modeNative) format = job.videoFormat;
    if (from != nullptr) {
        if (format.width <= 0) format.width = from->getWidth();
        if (format.height <= 0) format.height = from->getHeight();
        if (!(format.fps > 0.0)) format.fps = from->getFPS();
    }
    if (format.width <= 0) format.width = defaultWidth;
    if (format.height <= 0) format.height = defaultHeight;
    format.fps = quol::fpsOrDefault(format.fps);
    return format;
}

bool LRecorder::initVideo(LObject* from, quol::Dictionary& options) {
    std::string name = job.videoCodec;
    const AVCodec* codec =
        quol::chooseEncoder(*session->output()->oformat, AVMEDIA_TYPE_VIDEO, "libx264", name);
    if (codec == nullptr) {
        quol::logError("LRecorder: Video codec not found: %s", name.c_str());
        return false;
    }
    const videoFormatProps format = pictureFormat(from);
    for (const auto& [key, value] : job.options)
        options.set(key.c_str(), value.c_str());
    if (job.timecode && options.find("timecode") == nullptr) setTimecode(from, format.fps, options);
    const quol::VideoEncoding encoding{format.width, format.height, rationalRate(format.fps),
                                       job.videoBitrate * bitsPerKilobit};
    if (!session->openVideo(*codec, encoding, options)) {
        quol::logError("LRecorder: Could not open video codec");
        return false;
    }
    return true;
}

void LRecorder::setTimecode(LObject* from, double fps, quol::Dictionary& options) {
    const std::string text = startTimecode(from, fps).substr(0, longestTimecode);
    options.set("timecode", text.c_str());
    av_dict_set(&session->output()->metadata, "timecode", text.c_str(), 0);
    quol::logOut("LRecorder: Auto-Timecode set to %s", text.c_str());
}

std::string LRecorder::startTimecode(LObject* from, double fps) const {
    constexpr int ofSource = 1;
    constexpr int given = 2;
    quol::Timecode clock = quol::wallClockTimecode(fps);
    if (job.timecodeSource == ofSource) {
        std::string text = from != nullptr ? from->getTimeCode() : std::string{};
        if (!text.empty() && text != noTimecode) return text;
        clock.frames = 0;
        return quol::formatTimecode(clock);
    }
    if (job.timecodeSource == given) return job.timecodeStart;
    clock.frames = std::min(clock.frames, std::max(0, static_cast<int>(fps - 1)));
    return quol::formatTimecode(clock);
}

// Without an encoder the recording goes on as picture only.
void LRecorder::initAudio() {
    std::string name = job.audioCodec;
    const AVCodec* codec =
        quol::chooseEncoder(*session->output()->oformat, AVMEDIA_TYPE_AUDIO, "aac", name);
    const std::lock_guard lock(audioMutex);
    audioTrack.reset();
    if (codec == nullptr) return;
    quol::Dictionary options;
    const quol::AudioEncoding encoding{audioSampleRate, 2, job.audioBitrate * bitsPerKilobit};
    if (!session->openAudio(*codec, encoding, options)) {
        quol::logError("LRecorder: Could not open audio codec");
        return;
    }
    audioRate = session->audio()->sample_rate;
    const double pictureLength = av_q2d(session->video()->time_base);
    audioTrack = std::make_unique<quol::AudioTrack>(
        *session->audio(), pictureLength,
        [encoder = session.get()](const AVFrame& frame) { encoder->encodeAudio(&frame); });
}

bool LRecorder::initFile(quol::Dictionary& options) {
    if (!session->openFile(job.filePath)) {
        quol::logError("LRecorder: Could not open output file: %s", job.filePath.c_str());
        return false;
    }
    if (job.playWhileRec) {
        options.set("movflags", "frag_keyframe+empty_moov+default_base_moof");
        // Or what is finished waits in memory, seconds of it at a low bit rate.
        session->output()->flags |= AVFMT_FLAG_FLUSH_PACKETS;
    }
    if (!session->writeHeader(options)) {
        quol::logError("LRecorder: Error occurred when writing header");
        return false;
    }
    reserve->open(job.filePath);
    return true;
}
