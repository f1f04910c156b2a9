// The worker of an LFile: demux, decode, filter, pace, distribute.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>

#include "core/FilterGraph.h"
#include "core/Resampler.h"
#include "quolsdk/LFile.h"
#include "sources/LFileDecoders.h"

// Lives on the worker's thread for one run of it.
class LFile::DecodeLoop {
public:
    DecodeLoop(LFile& file, bool scrub);
    // Plays until the player's `playing` is cleared.
    void run();

private:
    bool ready() const { return packet && decoded && filtered && audioFiltered; }
    void step();
    void dropAtHand();
    bool idle();
    bool goOn();
    void seek();
    bool seekInFile(std::int64_t target);
    bool nextKeyPictureIsBehind(std::int64_t target);
    bool heldBack();
    void endOfFile();
    void startAgain();
    bool reopen();
    void drainDecoders();

    void videoPacket(const AVPacket* videoPacket);
    void receiveVideo();
    void videoFrame();
    void showPicture(AVFrame& frame);
    void showSkipped();
    void stampTime(AVFrame& frame);
    bool prepareGraph(AVFrame& frame, const std::string& chain);
    void deliver(AVFrame& frame, AVRational timeBase);
    void distribute(AVFrame& frame, AVRational timeBase, const std::string* timecode);
    void receiveFiltered();
    bool timeJumped(const AVFrame& frame) const;
    void finishGraph();
    void drainGraph();
    std::string timecodeOf(double seconds, double fps);

    int pictureDelay() const;
    void soundPacket(const AVPacket& soundPacket);
    void pictureWentIn();
    void releaseSound(bool all = false);
    bool heldTooLong() const;
    void finishSound();
    void audioPacket(const AVPacket* audioPacket);
    void audioFrame();
    bool forceChannels(int channels);
    bool prepareAudioGraph(const std::string& chain);
    void receiveAudio();
    void finishAudioGraph();
    void deliverAudio(AVFrame& frame);

    void anchor(double seconds);
    double mediaTime() const;
    void pace(double seconds);
    void waitFor(double seconds);
    void paceSound(double seconds, double length);
    void checkOutPoint(double seconds);
    double playRate() const;
    static bool beforeTarget(std::optional<double>& target, double start, double length);

    LFile& file;
    Decoders& media;
    bool scrub;       // paused, but one picture is to be shown
    std::string path; // of the open file
    const quol::PacketPtr packet;
    const quol::FramePtr decoded;
    const quol::FramePtr filtered;
    const quol::FramePtr audioFiltered;

    quol::FilterGraph videoGraph;
    std::string videoChain; // the chain the graph was built from, or failed to be
    int graphQuality = 0;
    std::int64_t lastGraphPts = 0; // of the latest picture that went into the graph
    bool videoChainFailed = false;
    quol::FilterGraph audioGraph;
    std::string audioChain;       // the chain the graph was built from
    std::string brokenAudioChain; // the latest one, if none could be
    quol::Resampler channelForcer;

    AVRational videoTimeBase{1, 1};
    AVRational audioTimeBase{1, 1};
    bool pacedBySound = false;      // no moving picture holds the sound back
    double mediaStart = 0.0;        // seconds: where the time stamps begin, 0 unless far from it
    bool anchorPending = true;      // the first frame after a start or seek may set the clock back
    double mediaEnd = 0.0;          // seconds: where the latest frame ends
    bool firstSinceSeek = false;    // nothing has been shown, or heard alone, since a seek
    double pictureLength = 0.04;    // seconds, as the container tells of the whole file
    std::optional<double> soundEnd; // seconds: where the latest block ends
    // Seconds: where the latest picture came out of the decoder, or the first sound since a seek.
    std::optional<double> latestPicture;
    bool seekUntold = false; // a seek has been made and nothing has come of it yet
    bool drained = false;    // the decoders have given their last frames
    // Sound that waits for the pictures beside it to come out of their decoder.
    struct HeldSound {
        quol::PacketPtr packet;
        std::int64_t due; // goes on when so many pictures have gone in
    };
    std::deque<HeldSound> heldSound;
    std::int64_t picturesIn = 0; // packets; at the end of the file, the pictures that come out
    bool draining = false;
    // Seconds: frames that end before a seek's target are decoded, not shown.
    std::optional<double> videoTarget;
    std::optional<double> audioTarget;
    quol::FramePtr lastSkipped;                 // the last picture before the target
    std::int64_t nextVideoPts = AV_NOPTS_VALUE; // where a picture without a time stamp goes
    std::int64_t nextAudioPts = AV_NOPTS_VALUE;
};
