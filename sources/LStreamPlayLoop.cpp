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

double liveRate(const AVStream& stream) {
    constexpr double highest = 1000.0;
    for (const AVRational rate : {stream.avg_frame_rate, stream.r_frame_rate}) {
        const double fps = rationalOrZero(rate);
        if (fps > 0.0 && fps <= highest) return fps;
    }
    return 0.0;
}

bool isMoving(const AVStream& stream) {
    return stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
           (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) == 0;
}

} // namespace quol

void LStreamPlay::decodeLoopInternal() {
    DecodeLoop(*this).run();
}

void LStreamPlay::DecodeLoop::run() {
    while (player.playing) {
        try {
            if (input) {
                step();
            } else {
                connect();
            }
        } catch (...) { // no memory, or a host's sink that throws
            av_packet_unref(packet.get());
            if (!player.connected) closeStream();
            player.sleeper->sleepFor(idleSleep);
        }
    }
    closeStream();
}

// One attempt. Behind one that fails it waits before the next.
void LStreamPlay::DecodeLoop::connect() {
    if (!packet || !decoded || !openStream()) {
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
    const std::string_view container = input->iformat->name;
    if (container == "flv" || container == "live_flv") input->max_analyze_duration = shortLook;
    if (!input.findStreamInfo()) return fail("avformat_find_stream_info");
    met.clear();
    trackChosen.reset();
    openVideo(bestPicture());
    openTrack(input.bestStream(AVMEDIA_TYPE_AUDIO, videoStream));
    readOnlyWanted();
    if (!video && !audio && player.playing) {
        quol::logOut("[LStreamPlay] openStream: nothing that can be decoded at URL %s",
                     player.url.c_str());
    }
    return video || audio;
}

// Says which step failed, unless it was told to.
bool LStreamPlay::DecodeLoop::fail(const char* what) {
    if (!player.playing) return false;
    quol::logOut("[LStreamPlay] openStream: %s failed for URL %s Error: %s", what,
                 player.url.c_str(), quol::errorText(input.error()).c_str());
    return false;
}

// Index of the best stream of moving pictures, -1 for none.
int LStreamPlay::DecodeLoop::bestPicture() const {
    const int best = input.bestStream(AVMEDIA_TYPE_VIDEO);
    if (best < 0 || quol::isMoving(*input.stream(best))) return best;
    for (int other = 0; input.stream(other) != nullptr; ++other) {
        if (quol::isMoving(*input.stream(other))) return other;
    }
    return -1;
}

void LStreamPlay::DecodeLoop::openVideo(int index) {
    const AVStream* stream = input.stream(index);
    if (stream == nullptr) return;
    video = quol::openDecoder(*stream, quol::DecoderThreads::live);
    if (!video) return;
    videoStream = index;
    videoTimeBase = stream->time_base;
    const double fps = quol::liveRate(*stream);
    const std::lock_guard lock(player.settingsMutex);
    player.sourceFps = fps;
    if (player.videoFormat.mode < quol::firstTableMode)
        player.videoFormat.fps = quol::fpsOrDefault(fps);
    takeSize(video->width, video->height);
}

// Under `settingsMutex`.
void LStreamPlay::DecodeLoop::takeSize(int width, int height) {
    player.sourceWidth = width;
    player.sourceHeight = height;
    if (player.videoFormat.mode >= quol::firstTableMode) return;
    player.videoFormat.width = width;
    player.videoFormat.height = height;
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

// Where there is no picture or no sound it may still come. Sound that a host wants none of is read
// too: were the pictures to end, nothing would come that a switch back could follow.
void LStreamPlay::DecodeLoop::readOnlyWanted() {
    AVMediaType stillOpen = AVMEDIA_TYPE_UNKNOWN;
    if (audio && !video) stillOpen = AVMEDIA_TYPE_VIDEO;
    if (video && !audio) stillOpen = AVMEDIA_TYPE_AUDIO;
    input.readOnly(videoStream, audioStream, stillOpen);
}

void LStreamPlay::DecodeLoop::switchTrack() {
    const std::int64_t wanted = player.wantedTrack.exchange(quol::noTrackWanted);
    if (wanted == quol::noTrackWanted) return;
    trackChosen = static_cast<int>(wanted);
    openTrack(*trackChosen);
    readOnlyWanted();
}

// A stream that sent nothing yet when the address was opened takes the place that is still free.
void LStreamPlay::DecodeLoop::meetStream(int index) {
    if (!met.insert(index).second) return;
    const AVStream& stream = *input.stream(index);
    const bool sound = stream.codecpar->codec_type == AVMEDIA_TYPE_AUDIO;
    if (quol::isMoving(stream) && !video) {
        openVideo(index);
    } else if (sound && !audio && (!trackChosen || *trackChosen == index)) {
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
    player.connected = false;
}

void LStreamPlay::DecodeLoop::step() {
    if (!goOn()) return;
    switchTrack();
    if (!input.readPacket(*packet)) {
        player.connected = false;
        player.sleeper->sleepFor(lostSleep);
        closeStream();
        return;
    }
    switchTrack(); // asked for while it waited
    meetStream(packet->stream_index);
    if (goOn()) handle(*packet);
    av_packet_unref(packet.get());
}

// True while the player is paused; ends a timed pause.
bool LStreamPlay::DecodeLoop::idle() {
    player.endTimedPause();
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
    const bool sizeUnknown = video->width < 1;
    int sent = sendVideo(arrived);
    // Pictures that set in late tell their size in their first packet, behind the choice of
    // threads. Nothing has come out yet: a decoder that knows it takes over, with the same packet.
    if (sizeUnknown && video->width > 0) {
        AVCodecParameters& known = *input.stream(videoStream)->codecpar;
        known.width = video->width;
        known.height = video->height;
        openVideo(videoStream);
        sent = video ? sendVideo(arrived) : AVERROR_DECODER_NOT_FOUND;
    }
    if (sent >= 0) receiveVideo();
}

int LStreamPlay::DecodeLoop::sendVideo(const AVPacket& arrived) {
    const int sent = avcodec_send_packet(video.get(), &arrived);
    if (sent != AVERROR(EAGAIN)) return sent;
    // Its outlet is full: empty it, then the packet goes in.
    receiveVideo();
    return avcodec_send_packet(video.get(), &arrived);
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
        if (player.sourceWidth < 1) takeSize(picture.width, picture.height);
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
