// The way of the pictures through the worker.
#include <algorithm>
#include <cmath>

#include "core/FilterText.h"
#include "core/ModeTables.h"
#include "core/Timecode.h"
#include "quolsdk/LFilter.h"
#include "sources/LFileLoop.h"

extern "C" {
#include <libavutil/mathematics.h>
}

// One packet, or null for the last pictures that the decoder keeps.
void LFile::DecodeLoop::videoPacket(const AVPacket* videoPacket) {
    AVCodecContext* decoder = media.videoCodecContext.get();
    int sent = avcodec_send_packet(decoder, videoPacket);
    if (sent == AVERROR(EAGAIN)) {
        // Its outlet is full: empty it, then the packet goes in.
        receiveVideo();
        sent = avcodec_send_packet(decoder, videoPacket);
    }
    if (sent >= 0) receiveVideo();
}

void LFile::DecodeLoop::receiveVideo() {
    while (goOn() && avcodec_receive_frame(media.videoCodecContext.get(), decoded.get()) >= 0) {
        const bool scrubbing = scrub;
        videoFrame();
        av_frame_unref(decoded.get());
        if (draining) pictureWentIn();
        if (scrubbing && !scrub) return; // the one picture has been shown
    }
}

// Gives a picture without a time stamp its place behind the one before.
void LFile::DecodeLoop::stampTime(AVFrame& frame) {
    if (frame.pts == AV_NOPTS_VALUE) frame.pts = frame.best_effort_timestamp;
    if (frame.pts == AV_NOPTS_VALUE) frame.pts = nextVideoPts != AV_NOPTS_VALUE ? nextVideoPts : 0;
    double fps = 0.0;
    {
        const std::lock_guard lock(file.mediaMutex);
        fps = quol::fpsOrDefault(file.media.fps);
    }
    constexpr double longest = 1e15; // ticks; a time base of damage must not overflow
    const auto length = std::llround(std::min(longest, 1.0 / fps / av_q2d(videoTimeBase)));
    nextVideoPts = av_sat_add64(frame.pts, std::max<std::int64_t>(1, length));
}

// One decoded picture: kept back before a seek's target, else shown.
void LFile::DecodeLoop::videoFrame() {
    AVFrame& frame = *decoded;
    stampTime(frame);
    const double unit = av_q2d(videoTimeBase);
    const double start = unit * static_cast<double>(frame.pts);
    const double length = unit * static_cast<double>(nextVideoPts - frame.pts);
    latestPicture = start;
    const std::optional<double> target = videoTarget;
    if (beforeTarget(videoTarget, start, length)) {
        lastSkipped = quol::cloneFrame(&frame);
        return;
    }
    // Where pictures last longer than most, the one before the target is still up when it comes.
    const bool scrubbing = scrub;
    if (target && start > *target + length / 2) showSkipped();
    lastSkipped.reset();
    mediaEnd = std::max(mediaEnd, start + length);
    if (scrubbing && !scrub) return; // that was the one picture to show
    showPicture(frame);
}

// Shows the latest picture before the target, at once and without setting the clock by it.
void LFile::DecodeLoop::showSkipped() {
    const quol::FramePtr picture = std::move(lastSkipped);
    if (!picture) return;
    anchorPending = false;
    showPicture(*picture);
}

// One picture by its chain, or directly onward.
void LFile::DecodeLoop::showPicture(AVFrame& frame) {
    quol::VideoChain chain;
    {
        const std::lock_guard lock(file.settingsMutex);
        chain.format = file.videoFormat;
        chain.scaleType = file.scaleType;
        chain.hasFilter = file.videoFilter != nullptr;
        if (chain.hasFilter) chain.filter = file.videoFilter->getFilterString();
    }
    chain.deinterlace = file.deinterlace;
    const std::string text = quol::videoChainText(chain);
    if (text.empty()) {
        videoGraph.reset();
        videoChain.clear();
        deliver(frame, videoTimeBase);
        return;
    }
    if (timeJumped(frame)) videoGraph.reset();
    if (!prepareGraph(frame, text) || !videoGraph.send(&frame)) return;
    lastGraphPts = frame.pts;
    receiveFiltered();
}

void LFile::DecodeLoop::receiveFiltered() {
    while (goOn() && videoGraph.receive(*filtered)) {
        deliver(*filtered, videoGraph.timeBase());
        av_frame_unref(filtered.get());
    }
}

// A filter that makes an even rate would fill a long gap with copies, and drop whatever lies behind
// a step back until the time is made good.
bool LFile::DecodeLoop::timeJumped(const AVFrame& frame) const {
    constexpr double longestGap = 10.0; // seconds
    if (!videoGraph) return false;
    const double gap = av_q2d(videoTimeBase) *
                       (static_cast<double>(frame.pts) - static_cast<double>(lastGraphPts));
    return gap < 0.0 || gap > longestGap;
}

// Builds the graph when the chain or the form of the pictures has changed. A chain that cannot be
// built is tried once, not for every picture.
bool LFile::DecodeLoop::prepareGraph(AVFrame& frame, const std::string& chain) {
    const int quality = file.scalingQuality;
    const bool same = chain == videoChain && quality == graphQuality;
    if (same && (videoGraph.takes(frame) || videoChainFailed)) return videoGraph.takes(frame);
    AVStream* stream = media.formatContext.stream(media.videoStreamIndex);
    const AVRational aspect =
        av_guess_sample_aspect_ratio(media.formatContext.get(), stream, &frame);
    videoChain = chain;
    videoChainFailed = false;
    graphQuality = quality;
    const bool built = videoGraph.buildVideo(
        {frame.width, frame.height, frame.format, videoTimeBase, aspect}, chain, quality);
    videoChainFailed = !built;
    return built;
}

void LFile::DecodeLoop::deliver(AVFrame& frame, AVRational timeBase) {
    const double seconds = av_q2d(timeBase) * static_cast<double>(frame.pts);
    const double fps = file.LFile::getFPS(); // not of a class that is being destroyed
    const std::int64_t position = quol::framesAt(seconds, fps);
    file.currentFrame =
        static_cast<std::int32_t>(std::clamp<std::int64_t>(position, INT32_MIN, INT32_MAX));
    if (file.rateChanged) {
        anchor(seconds);
        anchorPending = false;
    }
    checkOutPoint(seconds);
    if (!scrub) pace(seconds);
    const std::string timecode = timecodeOf(seconds, quol::fpsOrDefault(fps));
    distribute(frame, timeBase, &timecode);
    scrub = false;
    firstSinceSeek = false;
}

std::string LFile::DecodeLoop::timecodeOf(double seconds, double fps) {
    if (file.timecodeSource == 0) return quol::formatTimecode(quol::wallClockTimecode(fps));
    std::string start;
    {
        const std::lock_guard lock(file.mediaMutex);
        start = file.media.startTimecode;
    }
    return quol::framesToTimecodeText(
        quol::timecodeTextToFrames(start, fps) + quol::framesAt(seconds, fps), fps);
}

// Sinks get a reference of their own to share, with its time base and time code on it.
void LFile::DecodeLoop::distribute(AVFrame& frame, AVRational timeBase,
                                   const std::string* timecode) {
    const quol::FramePtr clone = quol::cloneFrame(&frame);
    if (!clone) return;
    clone->time_base = timeBase;
    if (timecode != nullptr) av_dict_set(&clone->metadata, "timecode", timecode->c_str(), 0);
    file.distributeVideoFrame(clone.get());
}

// Filters keep pictures back as decoders do: at the end of the file they are shown too, in their
// time. A jump or more pictures find a new graph.
void LFile::DecodeLoop::finishGraph() {
    if (!videoGraph || file.seekPending || !videoGraph.finish(nextVideoPts)) return;
    receiveFiltered();
    videoGraph.reset();
}

// What the filters still hold goes out when the worker ends, without pacing or a time code. A
// filter that repeats without end holds any number, so there is a limit.
void LFile::DecodeLoop::drainGraph() {
    constexpr int most = 100;
    if (!videoGraph || !videoGraph.send(nullptr)) return;
    for (int count = 0; count < most && videoGraph.receive(*filtered); ++count) {
        distribute(*filtered, videoGraph.timeBase(), nullptr);
        av_frame_unref(filtered.get());
    }
}
