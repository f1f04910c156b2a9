// The way of the sound through the worker.
#include <algorithm>
#include <cmath>

#include "core/AudioPeak.h"
#include "core/FilterText.h"
#include "core/Log.h"
#include "core/SoundBlock.h"
#include "quolsdk/LFilter.h"
#include "sources/LFileLoop.h"

extern "C" {
#include <libavutil/mathematics.h>
}

// How many pictures later a picture comes out of its decoder: one that works on several at once
// gives each when all of them are under way, and pictures stand in another order in the file.
int LFile::DecodeLoop::pictureDelay() const {
    const AVCodecContext* const decoder = media.videoCodecContext.get();
    if (decoder == nullptr || pacedBySound) return 0;
    const bool worksAhead = (decoder->active_thread_type & FF_THREAD_FRAME) != 0;
    const int ahead = worksAhead ? decoder->thread_count - 1 : 0;
    return std::max(0, ahead) + std::max(0, decoder->has_b_frames);
}

// Sound goes out when the pictures that lie beside it in the file do. Decoded as it is read it
// would be ahead of them by what the decoder of the pictures keeps back, half a second on a machine
// with many cores.
void LFile::DecodeLoop::soundPacket(const AVPacket& soundPacket) {
    const int delay = pictureDelay();
    if (delay == 0 && heldSound.empty()) {
        audioPacket(&soundPacket);
        return;
    }
    quol::PacketPtr kept(av_packet_clone(&soundPacket));
    if (!kept) return;
    heldSound.push_back({std::move(kept), picturesIn + delay});
    releaseSound();
}

void LFile::DecodeLoop::pictureWentIn() {
    ++picturesIn;
    releaseSound();
}

void LFile::DecodeLoop::releaseSound(bool all) {
    while (!heldSound.empty() && goOn()) {
        if (!all && heldSound.front().due > picturesIn && !heldTooLong()) return;
        const HeldSound next = std::move(heldSound.front());
        heldSound.pop_front();
        audioPacket(next.packet.get());
    }
}

// Pictures may end before the sound does, or come a long time later than their decoder lets them.
bool LFile::DecodeLoop::heldTooLong() const {
    const double longest = 2.0 + pictureDelay() * pictureLength; // seconds
    const std::int64_t first = heldSound.front().packet->dts;
    const std::int64_t last = heldSound.back().packet->dts;
    if (first == AV_NOPTS_VALUE || last == AV_NOPTS_VALUE) return heldSound.size() > 200;
    const double held = static_cast<double>(last) - static_cast<double>(first);
    return held * av_q2d(audioTimeBase) > longest;
}

// The last sound that the decoder and the filters keep.
void LFile::DecodeLoop::finishSound() {
    if (!media.audioCodecContext) return;
    audioPacket(nullptr);
    avcodec_flush_buffers(media.audioCodecContext.get());
    finishAudioGraph();
}

// One packet, or null for the last sound that the decoder keeps.
void LFile::DecodeLoop::audioPacket(const AVPacket* audioPacket) {
    AVCodecContext* decoder = media.audioCodecContext.get();
    if (avcodec_send_packet(decoder, audioPacket) < 0) return;
    while (goOn() && avcodec_receive_frame(decoder, decoded.get()) >= 0) {
        audioFrame();
        av_frame_unref(decoded.get());
    }
}

// One decoded block: dropped before a seek's target, else through its chain and onward.
void LFile::DecodeLoop::audioFrame() {
    AVFrame& frame = *decoded;
    if (frame.sample_rate < 1 || frame.nb_samples < 1) return;
    // The chain counts in samples, the container in what it likes.
    const AVRational sampleTime{1, frame.sample_rate};
    if (frame.pts == AV_NOPTS_VALUE) frame.pts = frame.best_effort_timestamp;
    frame.pts = frame.pts != AV_NOPTS_VALUE ? av_rescale_q(frame.pts, audioTimeBase, sampleTime)
                                            : (nextAudioPts != AV_NOPTS_VALUE ? nextAudioPts : 0);
    nextAudioPts = av_sat_add64(frame.pts, frame.nb_samples);
    const double start = av_q2d(sampleTime) * static_cast<double>(frame.pts);
    const double length = av_q2d(sampleTime) * frame.nb_samples;
    if (beforeTarget(audioTarget, start, length)) return;

    quol::AudioChain chain;
    {
        const std::lock_guard lock(file.settingsMutex);
        chain.format = file.audioFormat;
        chain.hasFilter = file.audioFilter != nullptr;
        if (chain.hasFilter) chain.filter = file.audioFilter->getFilterString();
    }
    chain.delayMs = file.audioDelayMs;
    if (!forceChannels(chain.format.channels)) return;
    mediaEnd = std::max(mediaEnd, start + length);
    paceSound(start, length);
    if (!prepareAudioGraph(quol::audioChainText(chain)) || !audioGraph.send(&frame)) return;
    receiveAudio();
}

void LFile::DecodeLoop::receiveAudio() {
    while (goOn() && audioGraph.receive(*audioFiltered)) {
        deliverAudio(*audioFiltered);
        av_frame_unref(audioFiltered.get());
    }
}

// What a delay or a change of rate keeps back at the end of the file.
void LFile::DecodeLoop::finishAudioGraph() {
    if (!audioGraph || file.seekPending || !audioGraph.finish(nextAudioPts)) return;
    receiveAudio();
    audioGraph.reset();
}

// Builds the graph when the chain or the form of the sound has changed, and behind a jump. One that
// cannot be built is told of once, and the sound is lost until the next of these.
bool LFile::DecodeLoop::prepareAudioGraph(const std::string& chain) {
    if (chain == audioChain && audioGraph.takes(*decoded)) return true;
    const bool failed = chain == brokenAudioChain;
    if (failed && audioGraph.hasForm(*decoded)) return false;
    audioChain = chain;
    if (audioGraph.buildAudio(*decoded, chain)) {
        brokenAudioChain.clear();
        return true;
    }
    brokenAudioChain = chain;
    if (!failed) quol::logError("LFile: Audio filter init FAILED for: %s", chain.c_str());
    return false;
}

// Makes the decoded block one of `channels` in their default layout; below 1 leaves it alone.
bool LFile::DecodeLoop::forceChannels(int channels) {
    AVFrame& frame = *decoded;
    const quol::ChannelLayout layout(channels >= 1 ? channels : frame.ch_layout.nb_channels);
    // Layouts that are none, or are made up, get the usual one of their count, if there is one.
    const bool unusual = frame.ch_layout.order != AV_CHANNEL_ORDER_NATIVE;
    if (unusual && layout.channels() == frame.ch_layout.nb_channels) {
        return av_channel_layout_copy(&frame.ch_layout, layout.get()) >= 0;
    }
    if (channels < 1 || layout.equals(frame.ch_layout)) return true;

    const auto format = static_cast<AVSampleFormat>(frame.format);
    // A count that no layout is known for: the sound stays as it is rather than fall silent.
    if (!channelForcer.prepare(frame, {channels, format, frame.sample_rate})) return true;
    const quol::FramePtr remixed =
        quol::makeSoundFrame(format, *layout.get(), frame.nb_samples, frame.sample_rate);
    if (!remixed || av_frame_copy_props(remixed.get(), &frame) < 0) return false;
    remixed->nb_samples = channelForcer.convert(frame, remixed->extended_data, frame.nb_samples);
    if (remixed->nb_samples < 1) return false;
    av_frame_unref(&frame);
    av_frame_move_ref(&frame, remixed.get());
    return true;
}

// Sound has no time-stretching: at any other rate than 1 it is measured and dropped.
void LFile::DecodeLoop::deliverAudio(AVFrame& frame) {
    const quol::AudioPeak peak = quol::measurePeak(frame);
    file.audioPeakLeft = peak.left;
    file.audioPeakRight = peak.right;
    if (!(std::fabs(file.rate - 1.0) < 0.01)) return;
    frame.time_base = audioGraph.timeBase();
    file.distributeAudioFrame(&frame);
}
