// Opening and closing the file of an LFile.
#include "core/ClipInput.h"
#include "core/Log.h"
#include "core/ModeTables.h"
#include "core/Timecode.h"
#include "quolsdk/LFile.h"
#include "sources/LFileDecoders.h"

namespace {

bool hasDecoder(const AVStream* stream) {
    return stream != nullptr && avcodec_find_decoder(stream->codecpar->codec_id) != nullptr;
}

} // namespace

void LFile::Decoders::discardUnused() {
    formatContext.readOnly(videoStreamIndex, audioStreamIndex);
}

bool LFile::openFile() {
    closeFile();
    decoders->formatContext.interrupt(false);
    if (stopsWaiting > 0) decoders->formatContext.interrupt(true);
    if (!openInput()) return false;
    Decoders& open = *decoders;
    if (!open.formatContext.findStreamInfo()) return false;

    Media opened;
    opened.open = true;
    opened.durationMs = open.formatContext.durationMs();
    open.videoStreamIndex = open.formatContext.bestStream(AVMEDIA_TYPE_VIDEO);
    open.audioStreamIndex =
        open.formatContext.bestStream(AVMEDIA_TYPE_AUDIO, open.videoStreamIndex);
    readTimecode(opened);
    // What nobody knows how to decode is passed over, and is no reason to refuse the file.
    const bool decodable = hasDecoder(open.formatContext.stream(open.videoStreamIndex)) ||
                           hasDecoder(open.formatContext.stream(open.audioStreamIndex));
    const bool video = openVideo(opened);
    const bool audio = openAudio();
    if (decodable && !video && !audio) {
        closeFile();
        return false;
    }
    open.discardUnused();
    const std::lock_guard lock(mediaMutex);
    media = opened;
    return true;
}

// An image sequence has the format's rate.
bool LFile::openInput() {
    double fps = 0.0;
    {
        const std::lock_guard lock(settingsMutex);
        fps = videoFormat.fps;
    }
    return quol::openClip(decoders->formatContext, filePath, fps);
}

void LFile::readTimecode(Media& opened) {
    const char* timecode = decoders->formatContext.timecode(decoders->videoStreamIndex);
    if (timecode == nullptr) return;
    opened.hasTimecode = true;
    opened.startTimecode = timecode;
    quol::logOut("[LFile] Found Timecode: %s", timecode);
}

// False without a picture that can be decoded: the file then plays its sound.
bool LFile::openVideo(Media& opened) {
    Decoders& open = *decoders;
    const AVStream* stream = open.formatContext.stream(open.videoStreamIndex);
    if (stream == nullptr) return false;
    open.videoCodecContext = quol::openDecoder(*stream, quol::DecoderThreads::automatic);
    if (!open.videoCodecContext) {
        open.videoStreamIndex = -1;
        return false;
    }
    opened.hasVideo = true;
    opened.width = open.videoCodecContext->width;
    opened.height = open.videoCodecContext->height;
    opened.fps = quol::rationalOrZero(stream->avg_frame_rate);
    const std::lock_guard lock(settingsMutex);
    if (videoFormat.mode < quol::firstTableMode) {
        videoFormat.width = opened.width;
        videoFormat.height = opened.height;
        videoFormat.fps = quol::fpsOrDefault(opened.fps);
    }
    return true;
}

// False without sound that can be decoded: the file then plays its picture.
bool LFile::openAudio() {
    Decoders& open = *decoders;
    const AVStream* stream = open.formatContext.stream(open.audioStreamIndex);
    if (stream == nullptr) return false;
    open.audioCodecContext = quol::openDecoder(*stream, quol::DecoderThreads::one);
    if (!open.audioCodecContext) open.audioStreamIndex = -1;
    return open.audioCodecContext != nullptr;
}

void LFile::closeFile() {
    decoders->videoCodecContext.reset();
    decoders->audioCodecContext.reset();
    decoders->formatContext.close();
    decoders->videoStreamIndex = -1;
    decoders->audioStreamIndex = -1;
    // Size and rate stay: a compositor may still lay out by them.
    const std::lock_guard lock(mediaMutex);
    media.open = false;
    media.hasVideo = false;
    media.hasTimecode = false;
    media.durationMs = 0.0;
}
