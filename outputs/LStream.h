/// @file
/// The streamer: one source live to a network address.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "quolsdk/FrameHandle.h"
#include "quolsdk/LSink.h"
#include "quolsdk/formats.h"

class LObject;

namespace quol {
class Dictionary;
class EncoderPictures;
class EncoderQueue;
class EncoderSession;
class EncoderSound;
class StreamCopy;
class StreamGuard;
struct QueuedPicture;
} // namespace quol

/// A sink that encodes pictures and sound live, on a thread of its own, and sends them to an
/// address: an RTMP server as a rule, with a copy in a local file on request.
///
/// The address is the URL, or the URL, "/" and the key. "rtmp://" is sent as FLV. For all others
/// the ending of the address decides ("live.m3u8", "file.ts"), and where it says nothing the
/// protocol: FLV for rtmps, rtmpt, rtmpe, rtmpte and rtmpts; MPEG-TS for srt, udp, tcp, rist and
/// rtp.
///
/// The steady clock since the start gives the pictures their times, 60 ms ahead; at most one goes
/// into each tick of the rate. When the source stalls or is paused, black pictures and silence go
/// out in its place: from 60 ms on behind its latest picture, or one and a half of its own picture
/// lengths, whichever is longer.
///
/// A connection that breaks is not made anew, and ends neither the stream nor the copy: `Stats`
/// tells, whose framesSent and bytesSent stand still from then on, and the error stream. `Stop` and
/// `Start` begin again. A server that takes no data for five seconds counts as gone; what the
/// source delivers meanwhile is dropped, in the copy too, as far as the queue does not hold it.
///
/// The streaming thread and those of the picture's encoder give way to the threads that make
/// pictures (nice value 5): on a full machine the stream drops pictures before the programme is
/// late.
///
/// Threads: any. Start and Stop wait for each other and must not be called from inside a push.
class QUOLSDK_API LStream : public LSink {
public:
    /// How a stream stands; with the numbers of the last one when none runs.
    struct Stats {
        std::int64_t framesSent = 0;    ///< pictures handed to the network
        std::int64_t bytesSent = 0;     ///< of the packets handed to it, sound included
        int width = 0;                  ///< of the encoded pictures, 0 before the first stream
        int height = 0;                 ///< as width
        double fps = 0.0;               ///< as width
        std::int64_t framesDropped = 0; ///< pictures lost, whatever the reason
        int queueLength = 0;            ///< pictures that wait for the encoder
        std::string url;                ///< without the key; of the stream that runs, else as set
        bool running = false;           ///< as statusGet
    };

    LStream();
    /// Stops.
    ~LStream() override;

    void setStreamUrl(const std::string& url); ///< where to, without the key
    void setStreamKey(const std::string& key); ///< the stream's name behind the URL, or empty

    /// Whether a copy goes into a file as well; it also needs a folder.
    void setStreamClone(bool enabled);
    /// The folder of the copy, which must exist: "stream.mp4" there, or "stream_1.mp4", and so on,
    /// the first name that is free.
    void setStreamClonePath(const std::string& folder);

    void setVideoCodec(const std::string& name); ///< encoder, "libx264"; empty: the muxer's default
    void setAudioCodec(const std::string& name); ///< encoder, "aac"; empty: the muxer's default
    void setVideoBitrate(int kbps);              ///< kilobits a second, 4000
    void setAudioBitrate(int kbps);              ///< kilobits a second, 128

    /// Picture format of the stream. Mode 1, and what is missing in others, is taken from the
    /// source, else 1920x1080 at 25.
    void setVideoFormat(const videoFormatProps& format);
    void getVideoFormat(videoFormatProps& format);       ///< as stored, expanded
    void setAudioFormat(const audioFormatProps& format); ///< stored; sound is 48 kHz stereo
    void getAudioFormat(audioFormatProps& format);       ///< as stored, expanded

    /// Sets an option of the video encoder, for the next `Start`; an equal key is replaced, and an
    /// empty value leaves the option to the encoder. To begin with: "preset" = "ultrafast", "tune"
    /// = "zerolatency", "g" = "30". "bitrate_mode" set to anything but "cbr", to nothing too, lets
    /// the bit rate vary; it is constant unless set. What the encoder does not know goes to the
    /// protocol and the muxer.
    void setProps(const std::string& key, const std::string& value);
    /// Sets several, "preset=fast g=50 fastdecode": a word without "=" gets the value "1".
    void customSet(const std::string& options);

    /// Reaches the address and starts. False when it streams already, without a source, and when
    /// the address is not reached within five seconds, or another thread calls `Stop` meanwhile; or
    /// the encoders or the copy cannot be begun. The error stream tells.
    bool Start();
    /// Sends what is queued, finishes the copy and leaves the source. Within a second where only a
    /// network is written to; a file, the copy too, gets all that is queued, however long a slow
    /// encoder takes. Harmless when idle.
    void Stop();

    /// Paused, black pictures and silence are sent. `Start` goes on.
    void setPaused(bool pause) override;
    /// Drops the pictures that wait.
    void flush() override;

    void statusGet(int& status); ///< 1 while it streams, paused included, else 0
    void getStats(Stats& stats); ///< how the stream stands

    /// Queues a reference to the picture; with 11 waiting the new one is dropped and counted.
    void pushVideoFrame(AVFrame* frame) override;
    /// Queues the sound as 16-bit stereo. The conversion is made for the first block and never
    /// rebuilt: sound of another format or layout is dropped.
    void pushAudioFrame(AVFrame* frame) override;

    /// What to stream, not owned; counts from the next `Start`, which needs one.
    std::atomic<LObject*> source{nullptr};

private:
    // What a stream is asked to be. Copied at its start, so that the host may change it.
    struct Settings {
        std::string url;
        std::string key;
        bool clone = false;
        std::string clonePath;
        std::string videoCodec = "libx264";
        std::string audioCodec = "aac";
        int videoBitrate = 4000; // kilobits a second
        int audioBitrate = 128;  // kilobits a second
        videoFormatProps videoFormat;
        audioFormatProps audioFormat;
        std::map<std::string, std::string> options{
            {"preset", "ultrafast"}, {"tune", "zerolatency"}, {"g", "30"}};
    };

    bool initFFmpeg(LObject& from);
    bool initVideo(LObject& from, quol::Dictionary& options);
    bool initAddress(const std::string& address, quol::Dictionary& options);
    bool initClone();
    bool startThread(LObject& from);
    void leaveSource();
    void releaseAll();
    void stopLocked();

    void streamLoop();
    bool streamNext();
    bool encodePicture(const quol::QueuedPicture& record);
    void encodeBlack();
    void encode(AVFrame& picture, std::int64_t pts, double sourceTime);
    bool sourceStalls();
    bool leavesTheRest() const;
    void followSession();
    std::int64_t ticks(std::int64_t elapsed) const;
    std::int64_t elapsedNow() const;

    std::mutex settingsMutex;
    Settings settings; ///< guarded by `settingsMutex`
    Stats last;        ///< size, rate and URL of the latest stream; guarded by `settingsMutex`

    /// Serialises Start and Stop; taken before every other mutex.
    std::mutex controlMutex;
    std::thread thread;            ///< guarded by `controlMutex`
    LObject* attachedTo = nullptr; ///< guarded by `controlMutex`
    Settings job;                  ///< the stream's own; written before the thread starts

    const std::unique_ptr<quol::StreamGuard> guard; ///< asked by FFmpeg on the sending thread

    // Made before the thread starts, then the stream thread's alone, freed after it is joined.
    std::unique_ptr<quol::EncoderSession> session;
    std::unique_ptr<quol::StreamCopy> copy; ///< null without one
    const std::unique_ptr<quol::EncoderPictures> pictures;
    quol::FramePtr black;
    bool guarded = false;            ///< the address is not of the file system
    bool failureTold = false;        ///< nothing is sent any more
    bool stalled = false;            ///< the latest picture was a black one
    std::int64_t patience = 0;       ///< microseconds without a picture that are no stall
    std::int64_t lastVideoPts = -1;  ///< in the encoder's time base
    std::int64_t lastPictureAt = 0;  ///< microseconds since the start
    std::int64_t lastPicturePts = 0; ///< of the source's latest picture
    double lastPictureTime = 0.0;    ///< its time by the source, seconds

    // Filled by the source's thread, emptied by the stream thread; they have locks of their own.
    const std::unique_ptr<quol::EncoderQueue> queue;
    const std::unique_ptr<quol::EncoderSound> sound;

    std::atomic<std::int64_t> startTime{0}; ///< steady microseconds
    std::atomic<bool> running{false};
    std::atomic<bool> paused{false};
    std::atomic<std::int64_t> framesSent{0};
    std::atomic<std::int64_t> bytesSent{0};
};
