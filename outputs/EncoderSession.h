// From frames to a file: a muxer and the encoders that feed it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "core/Handles.h"

namespace quol {

inline constexpr std::int64_t bitsPerKilobit = 1000;

// Which of its formats an encoder gets.
enum class FormatChoice {
    common, // 8 bits in 4:2:0, planar floating point, where it has them; else its first
    first,  // the first that it lists
};

// What a video encoder is opened for.
struct VideoEncoding {
    int width = 0;
    int height = 0;
    AVRational frameRate{25, 1};
    std::int64_t bitRate = 0; // bits a second
    FormatChoice format = FormatChoice::common;
    bool constantBitRate = false; // no second above it and none below
};

// What an audio encoder is opened for; the channels in their default layout.
struct AudioEncoding {
    int sampleRate = 48000;
    int channels = 2;
    std::int64_t bitRate = 0; // bits a second
    FormatChoice format = FormatChoice::common;
};

// The encoder of that name; for an empty name the muxer's default of that type, else `fallback`.
// `name` becomes the name looked for. Null without one.
const AVCodec* chooseEncoder(const AVOutputFormat& muxer, AVMediaType type, const char* fallback,
                             std::string& name);

// The encoder of that name and type, else the muxer's default of that type. Null without one.
const AVCodec* encoderOrDefault(const AVOutputFormat& muxer, AVMediaType type,
                                const std::string& name);

// Names of all muxers, sorted.
std::vector<std::string> availableContainers();

// Names of all encoders of a type that the muxer of `container` ("mp4" when empty) accepts.
std::vector<std::string> availableEncoders(const std::string& container, AVMediaType type);

// The steps in order: createOutput, openVideo, openAudio, openFile, writeHeader; then frames; then
// finish. One thread at a time.
class EncoderSession {
public:
    // Is shown every packet, before it is written, with its times in `timeBase`.
    using Tap = std::function<void(const AVPacket& packet, AVMediaType type, AVRational timeBase)>;

    // Makes the muxer, by its name or, for an empty one, by the ending of `path`.
    bool createOutput(const std::string& container, const std::string& path);

    // Opens an encoder with a stream for it. `options` go to the encoder, which takes out those it
    // knows. An encoder that refuses an odd size gets the next smaller even one.
    bool openVideo(const AVCodec& codec, const VideoEncoding& encoding, Dictionary& options);
    bool openAudio(const AVCodec& codec, const AudioEncoding& encoding, Dictionary& options);

    // Both before the encoders are opened. With the second their streams fit any other muxer too.
    void setTap(Tap tap) { tap_ = std::move(tap); }
    void wantGlobalHeaders() { globalHeaders_ = true; }

    // Creates the file, or reaches the address, where the muxer has one; the muxer's
    // interrupt_callback may end it. What is known of `options` is taken out.
    bool openFile(const std::string& path);
    bool openFile(const std::string& path, Dictionary& options);
    // Whether the muxer takes the streams: writes the header to memory, so that a file that is
    // there need not be opened for that. Always true for muxers that open their files themselves.
    bool takesHeader() const;
    bool writeHeader(Dictionary& options);

    // Encodes one frame and writes what comes of it.
    void encodeVideo(const AVFrame* frame) { encode(video_.get(), videoStream_, frame); }
    void encodeAudio(const AVFrame* frame) { encode(audio_.get(), audioStream_, frame); }

    // Drains the encoders, for as long as `wanted` says so, writes the trailer and closes the file.
    void finish(const std::function<bool()>& wanted = [] { return true; });

    AVFormatContext* output() const { return output_.get(); }
    AVCodecContext* video() const { return video_.get(); } // null without one
    AVCodecContext* audio() const { return audio_.get(); } // null without one

    // The error after which the file takes no more, 0 while it does. Nothing is written then.
    int error() const { return error_; }
    // What was written until then: pictures, and bytes of all packets.
    std::int64_t picturesWritten() const { return picturesWritten_; }
    std::int64_t packetBytesWritten() const { return packetBytesWritten_; }
    // Bytes that lie in the file so far.
    std::int64_t bytesWritten() const;
    // An upper bound, in bytes, of what is still to come of the frames taken so far: the pictures
    // that the encoder and the muxer hold back, and the index of what is written.
    std::int64_t bytesHeldBack() const;
    // Bytes that the file needs behind its end to be finished from here at that bit rate: what is
    // held back, or some seconds where that is more, up to a rate that is one.
    std::int64_t roomToFinish(std::int64_t bitsPerSecond) const;

private:
    CodecContextPtr makeContext(const AVCodec& codec) const;
    CodecContextPtr openVideoContext(const AVCodec& codec, const VideoEncoding& encoding,
                                     Dictionary& options) const;
    AVStream* addStream(const AVCodecContext& encoder);
    void encode(AVCodecContext* encoder, AVStream* stream, const AVFrame* frame);
    bool writeNextPacket(AVCodecContext& encoder, const AVStream& stream);
    void drain(AVCodecContext* encoder, const AVStream* stream,
               const std::function<bool()>& wanted);
    void writePacket(const AVCodecContext& encoder, const AVStream& stream);

    OutputFormatPtr output_;
    CodecContextPtr video_;
    CodecContextPtr audio_;
    AVStream* videoStream_ = nullptr; // owned by the muxer
    AVStream* audioStream_ = nullptr; // owned by the muxer
    PacketPtr packet_ = makePacket();
    Tap tap_;
    bool globalHeaders_ = false;
    bool headerWritten_ = false;
    int error_ = 0;
    std::int64_t framesTaken_ = 0;   // by the video encoder
    std::int64_t framesGiven_ = 0;   // packets of the video encoder
    std::int64_t largestPacket_ = 0; // bytes
    std::int64_t packets_ = 0;       // of all encoders
    std::int64_t packetBytes_ = 0;
    std::int64_t picturesWritten_ = 0;
    std::int64_t packetBytesWritten_ = 0;
};

} // namespace quol
