// Opening a media file, choosing its streams and decoding from them.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "core/Handles.h"

namespace quol {

// A demuxer that another thread can get out of a blocking read.
class MediaInput {
public:
    // Opens `path`; `format` forces a demuxer ("image2"), null leaves the choice to FFmpeg. False
    // when it cannot be opened, with nothing open; pipes and devices are refused.
    // The options that nobody knew are left in `options`.
    bool open(const std::string& path, const char* format = nullptr, Dictionary* options = nullptr);

    // Reads ahead until the streams are known. False on failure; the file stays open.
    bool findStreamInfo();

    void close() { context_.reset(); }

    // The next packet. False at the end, on failure and when interrupted; `packet` is empty then.
    bool readPacket(AVPacket& packet);

    // FFmpeg's error behind the latest `open`, `findStreamInfo` or `readPacket` that was false.
    // AVERROR_EXIT for one that was interrupted, ETIMEDOUT's for one that took too long.
    int error() const { return error_; }

    // Lets each `open`, `findStreamInfo` and `readPacket` from now on fail when it takes longer, in
    // nanoseconds. 0, the default, is no limit.
    void setLongestWait(std::int64_t nanoseconds) { longestWait_ = nanoseconds; }

    // Keeps the demuxer from reading streams other than these two, as far as it can help it; -1 for
    // none. All of the type `also` are read as well. Where that leaves nothing, everything is read:
    // a demuxer that discards it all does not return before the end, which a live stream has not.
    void readOnly(int stream, int otherStream, AVMediaType also = AVMEDIA_TYPE_UNKNOWN);

    // Makes every open and every read fail from now on (true) or work again (false); opening does
    // not change it, so that a call to end is not lost to one that begins. Any thread.
    void interrupt(bool on) { interrupted_.store(on); }

    AVFormatContext* get() const { return context_.get(); }
    AVFormatContext* operator->() const { return context_.get(); }
    explicit operator bool() const { return context_ != nullptr; }

    // Index of the best stream of a type, -1 for none.
    int bestStream(AVMediaType type, int related = -1) const;

    // Index of the first stream of a type, -1 for none.
    int firstStream(AVMediaType type) const;

    // The stream of an index, null for -1 or with nothing open.
    AVStream* stream(int index) const;

    // Container duration in milliseconds, 0.0 with nothing open or none known.
    double durationMs() const;

    // The start time code: the container's own entry, else that of the stream given (a time code
    // track is told there). Null without one.
    const char* timecode(int videoStream) const;

private:
    static int isInterrupted(void* self);
    void startWaiting();
    bool finishWaiting(int result);

    std::atomic<bool> interrupted_{false};
    std::int64_t longestWait_ = 0;
    // Steady nanoseconds, 0 for none. Written by the thread that reads; FFmpeg may ask on others.
    std::atomic<std::int64_t> deadline_{0};
    int error_ = 0;
    InputFormatPtr context_; // the last: while it is closed FFmpeg asks for those above
};

// How many threads a decoder gets.
enum class DecoderThreads {
    automatic, // FFmpeg's own choice: playing a clip
    one,       // no picture waits inside: a single still
    live,      // a few that share a picture, so that none waits inside; beyond 1920x1088, where one
               // thread may be too slow, a few pictures at a time
};

// Opens a decoder for a stream. Null without one, or when it does not open.
CodecContextPtr openDecoder(const AVStream& stream, DecoderThreads threads);

// Which of several video streams is meant.
enum class StreamChoice { best, first };

// Decodes the first picture of a video stream of `path`, the best one or the first, reading at most
// `maxPackets` packets. Null when it cannot. With an input of the caller's it can be interrupted,
// takes the best stream, and leaves the input closed.
FramePtr decodeFirstPicture(const std::string& path, int maxPackets,
                            StreamChoice choice = StreamChoice::best);
FramePtr decodeFirstPicture(MediaInput& input, const std::string& path, int maxPackets);

// A rate as a number; 0.0 for one that is none.
double rationalOrZero(AVRational rate);

} // namespace quol
