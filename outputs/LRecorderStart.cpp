// How a recording begins: the muxer, its encoders, its file.
#include <algorithm>
#include <cmath>

#include "core/Log.h"
#include "core/Timecode.h"
#include "outputs/DiskReserve.h"
#include "outputs/EncoderPictures.h"
#include "outputs/EncoderSession.h"
#include "outputs/EncoderSound.h"
#include "quolsdk/LObject.h"
#include "quolsdk/LRecorder.h"

namespace {

constexpr std::size_t longestTimecode = 31;

} // namespace

bool LRecorder::initFFmpeg(LObject* from) {
    session = std::make_unique<quol::EncoderSession>();
    if (!session->createOutput(job.container, job.filePath)) {
        quol::logError("LRecorder: Could not create output context");
        return false;
    }
    quol::Dictionary options;
    if (!initVideo(from, options)) return false;
    if (!sound->open(*session, job.audioCodec, job.audioBitrate, quol::AudioTrack::Waiting::always))
        quol::logError("LRecorder: Could not open audio codec"); // it goes on as picture only
    return initFile(options);
}

bool LRecorder::initVideo(LObject* from, quol::Dictionary& options) {
    std::string name = job.videoCodec;
    const AVCodec* codec =
        quol::chooseEncoder(*session->output()->oformat, AVMEDIA_TYPE_VIDEO, "libx264", name);
    if (codec == nullptr) {
        quol::logError("LRecorder: Video codec not found: %s", name.c_str());
        return false;
    }
    const videoFormatProps format = quol::encodedFormat(job.videoFormat, from);
    for (const auto& [key, value] : job.options)
        options.set(key.c_str(), value.c_str());
    if (job.timecode && options.find("timecode") == nullptr) setTimecode(from, format.fps, options);
    const quol::VideoEncoding encoding{format.width, format.height, quol::rationalRate(format.fps),
                                       job.videoBitrate * quol::bitsPerKilobit};
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
        if (!text.empty() && text != quol::noTimecode) return text;
        clock.frames = 0;
        return quol::formatTimecode(clock);
    }
    if (job.timecodeSource == given) return job.timecodeStart;
    clock.frames = std::min(clock.frames, std::max(0, static_cast<int>(fps - 1)));
    return quol::formatTimecode(clock);
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
