#include "sources/LStreamPlayLoop.h"

#include <string_view>

#include "core/AudioPeak.h"
#include "core/ErrorText.h"
#include "core/Log.h"
#include "core/ModeTables.h"
#include "core/PauseTimer.h"
#include "core/Timecode.h"
#include "sources/StreamPacing.h"

namespace {

constexpr std::int64_t retrySleep = quol::nanosPerSecond;
constexpr std::int64_t lostSleep = 100 * quol::nanosPerMilli;
constexpr std::int64_t idleSleep = 10 * quol::nanosPerMilli;

} // namespace

namespace quol {

// Servers of RTMP keep recordings beside what is live; to all others the option means nothing. What
// is read before the first picture is shown stays between the two ends for as long as the
// connection lasts: five pictures tell the rate as well as FFmpeg's forty.
void askForLive(Dictionary& options) {
    options.set("rtmp_live", "live");
    options.set("fpsprobesize", "5");
}

} // namespace quol

void LStreamPlay::decodeLoopInternal() {
    DecodeLoop(*this).run();
}

void LStreamPlay::DecodeLoop::run() {
    while (player.playing) {
        if (input) {
            step();
        } else {
            connect();
        }
    }
    closeStream();
}

// One attempt. Behind one that fails it waits before the next.
void LStreamPlay::DecodeLoop::connect() {
    if (!packet || !decoded || !openStream()) {
        player.connected = false;
        closeStream();
        player.sleeper->sleepFor(retrySleep);
        return;
    }
    if (!player.playing) return;
    player.connected = true;
    player.flushSinks();
    const std::lock_guard lock(player.clockMutex);
    const std::int64_t now = quol::steadyNow();
    player.pacing->restart(now);
    player.pauseTimer->begin(now); // what a pause has lasted so far is behind the new clock
}

bool LStreamPlay::DecodeLoop::openStream() {
    quol::Dictionary options;
    quol::askForLive(options);
    if (!input.open(player.url, nullptr, &options)) return fail("avformat_open_input");
    // This container does not say what is in it, and FFmpeg would wait five seconds for sound where
    // there is none. What sets in later is taken up then.
    constexpr std::int64_t shortLook = 300'000; // microseconds
    if (std::string_view(input->iformat->name) == "flv") input->max_analyze_duration = shortLook;
    if (!input.findStreamInfo()) return fail("avformat_find_stream_info");
    met.clear();
    trackChosen = false;
    openVideo(input.bestStream(AVMEDIA_TYPE_VIDEO));
    openTrack(input.bestStream(AVMEDIA_TYPE_AUDIO, videoStream));
    readOnlyWanted();
    return video || audio;
}

// Says which step failed, unless it was told to.
bool LStreamPlay::DecodeLoop::fail(const char* what) {
    if (!player.playing) return false;
    quol::logOut("[LStreamPlay] openStream: %s failed for URL %s Error: %s", what,
                 player.url.c_str(), quol::errorText(input.error()).c_str());
    return false;
}

void LStreamPlay::DecodeLoop::openVideo(int index) {
    const AVStream* stream = input.stream(index);
    if (stream == nullptr) return;
    video = quol::openDecoder(*stream, quol::DecoderThreads::live);
    if (!video) return;
    videoStream = index;
    videoTimeBase = stream->time_base;
    double fps = quol::rationalOrZero(stream->avg_frame_rate);
    if (!(fps > 0.0)) fps = quol::rationalOrZero(stream->r_frame_rate);
    const std::lock_guard lock(player.settingsMutex);
    player.sourceFps = fps;
    player.sourceWidth = video->width;
    player.sourceHeight = video->height;
    if (player.videoFormat.mode < quol::firstTableMode) {
        player.videoFormat.width = video->width;
        player.videoFormat.height = video->height;
        player.videoFormat.fps = quol::fpsOrDefault(fps);
    }
}

// Takes the sound of a stream; none for an index that is none or not of sound.
void LStreamPlay::DecodeLoop::openTrack(int index) {
    audio.reset();
    sound.reset();
    audioStream = -1;
    const AVStream* stream = input.stream(index);
    if (stream != nullptr && stream->codecpar->codec_type == AVMEDIA_TYPE_AUDIO) {
        audio = quol::openDecoder(*stream, quol::DecoderThreads::one);
        if (audio) audioStream = index;
    }
}

// Where there is no picture, or no sound and none was asked for, it may still come.
void LStreamPlay::DecodeLoop::readOnlyWanted() {
    AVMediaType stillOpen = AVMEDIA_TYPE_UNKNOWN;
    if (!video) {
        stillOpen = AVMEDIA_TYPE_VIDEO;
    } else if (!audio && !trackChosen) {
        stillOpen = AVMEDIA_TYPE_AUDIO;
    }
    input.readOnly(videoStream, audioStream, stillOpen);
}

void LStreamPlay::DecodeLoop::switchTrack() {
    const std::int64_t wanted = player.wantedTrack.exchange(quol::noTrackWanted);
    if (wanted == quol::noTrackWanted) return;
    trackChosen = true;
    openTrack(static_cast<int>(wanted));
    readOnlyWanted();
}

// A stream that sent nothing yet when the address was opened takes the place that is still free.
void LStreamPlay::DecodeLoop::meetStream(int index) {
    if (!met.insert(index).second) return;
    const AVMediaType type = input.stream(index)->codecpar->codec_type;
    if (type == AVMEDIA_TYPE_VIDEO && !video) {
        openVideo(index);
    } else if (type == AVMEDIA_TYPE_AUDIO && !audio && !trackChosen) {
        openTrack(index);
    } else {
        return;
    }
    readOnlyWanted();
}

void LStreamPlay::DecodeLoop::closeStream() {
    input.close();
    video.reset();
    audio.reset();
    sound.reset();
    pictures.clear();
    videoStream = -1;
    audioStream = -1;
}

void LStreamPlay::DecodeLoop::step() {
    if (!goOn()) return;
    if (!input.readPacket(*packet)) {
        player.connected = false;
        player.sleeper->sleepFor(lostSleep);
        closeStream();
        return;
    }
    switchTrack();
    meetStream(packet->stream_index);
    if (goOn()) handle(*packet);
    av_packet_unref(packet.get());
}

// True while the player is paused; ends a timed pause.
bool LStreamPlay::DecodeLoop::idle() {
    if (player.endTimedPause()) player.setSinksPaused(false);
    if (!player.paused) return false;
    player.sleeper->sleepFor(idleSleep);
    return true;
}

// Waits out a pause; false when the player ends.
bool LStreamPlay::DecodeLoop::goOn() {
    while (player.playing) {
        if (!idle()) return true;
    }
    return false;
}

void LStreamPlay::DecodeLoop::handle(const AVPacket& arrived) {
    if (video && arrived.stream_index == videoStream) {
        videoPacket(arrived);
    } else if (audio && arrived.stream_index == audioStream) {
        audioPacket(arrived);
    }
}

void LStreamPlay::DecodeLoop::videoPacket(const AVPacket& arrived) {
    int sent = avcodec_send_packet(video.get(), &arrived);
    if (sent == AVERROR(EAGAIN)) {
        // Its outlet is full: empty it, then the packet goes in.
        receiveVideo();
        sent = avcodec_send_packet(video.get(), &arrived);
    }
    if (sent >= 0) receiveVideo();
}

void LStreamPlay::DecodeLoop::receiveVideo() {
    while (goOn() && avcodec_receive_frame(video.get(), decoded.get()) >= 0) {
        deliver(*decoded);
        av_frame_unref(decoded.get());
    }
}

// One picture, at its time.
void LStreamPlay::DecodeLoop::deliver(AVFrame& picture) {
    if (picture.pts != AV_NOPTS_VALUE) {
        const double seconds = av_q2d(videoTimeBase) * static_cast<double>(picture.pts);
        std::int64_t wait = 0;
        {
            const std::lock_guard lock(player.clockMutex);
            wait = player.pacing->waitFor(seconds, quol::steadyNow());
        }
        if (wait > 0) player.sleeper->sleepFor(wait);
    }
    if (!goOn()) return;
    // Sound has no time stamps, and those of the pictures are a clock of their own: consumers are
    // to take both as they come. Some versions of FFmpeg set a time base, others do not.
    picture.time_base = {0, 1};
    videoFormatProps wanted;
    {
        const std::lock_guard lock(player.settingsMutex);
        wanted = player.videoFormat;
    }
    player.distributeVideoFrame(pictures.get(picture, wanted, player.scalerFlags));
}

void LStreamPlay::DecodeLoop::audioPacket(const AVPacket& arrived) {
    if (avcodec_send_packet(audio.get(), &arrived) < 0) return;
    while (goOn() && avcodec_receive_frame(audio.get(), decoded.get()) >= 0) {
        if (player.audioEnabled) deliverSound(*decoded);
        av_frame_unref(decoded.get());
    }
}

void LStreamPlay::DecodeLoop::deliverSound(const AVFrame& block) {
    const quol::FramePtr stereo = sound.convert(block, soundRate(block), player.audioGain);
    if (!stereo) return;
    const quol::AudioPeak peak = quol::measurePeak(*stereo);
    player.audioPeakLeft = peak.left;
    player.audioPeakRight = peak.right;
    player.distributeAudioFrame(stereo.get());
}

// The rate wanted, else the stream's own.
int LStreamPlay::DecodeLoop::soundRate(const AVFrame& block) {
    const std::lock_guard lock(player.settingsMutex);
    const audioFormatProps& wanted = player.audioFormat;
    const bool own = wanted.mode == quol::modeNative || wanted.sampleRate < 1;
    return own ? block.sample_rate : wanted.sampleRate;
}
