// The local copy of a stream: the same packets once more, in a file.
#pragma once

#include <cstdint>
#include <string>

#include "core/Handles.h"
#include "outputs/DiskReserve.h"

namespace quol {

// An mp4 file. It is not fragmented, so it is worth nothing without its end: it ends by itself
// while there is room for that when the disk runs full or a write fails. One thread at a time.
class StreamCopy {
public:
    enum class Begun { yes, noMuxer, noFile };

    // Makes "stream.mp4" in a folder that is there or, where that exists, "stream_1.mp4" and so on.
    // `audio` may be null.
    Begun begin(const std::string& folder, const AVCodecContext& video,
                const AVCodecContext* audio);

    // Adds a reference to a packet with its times in `timeBase`.
    void write(const AVPacket& packet, AVMediaType type, AVRational timeBase);

    // Makes the file whole and closes it.
    void finish();
    // Takes the file away again, if it was made, before anything was written.
    void discard();

    bool running() const { return running_; }
    const std::string& path() const { return path_; }

private:
    AVStream* addStream(const AVCodecContext& encoder);
    bool createFile(const std::string& folder);
    void end(int error);

    OutputFormatPtr output_;
    AVStream* video_ = nullptr; // owned by the muxer, as the next
    AVStream* audio_ = nullptr;
    PacketPtr packet_ = makePacket();
    DiskReserve reserve_;
    std::string path_; // of the file made here; empty before
    bool running_ = false;
    std::int64_t packets_ = 0;
    std::int64_t packetBytes_ = 0;
    std::int64_t bitRate_ = 0; // bits a second, of both
};

} // namespace quol
