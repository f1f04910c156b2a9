// One file that is being converted: its demuxer and decoders.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "core/MediaInput.h"

namespace quol {

// One thread, but for `interrupt`.
class ConvertInput {
public:
    using Use = std::function<void(const AVFrame&)>;

    // Ends every wait from now on (true), or no more (false). Any thread.
    void interrupt(bool on) { media_.interrupt(on); }

    // The container's duration in seconds; 0.0 for a file that cannot be opened or does not tell.
    double measure(const std::string& path);

    bool open(const std::string& path);

    // Looks for the best picture and the best sound and opens decoders for those that are wanted; a
    // stream without a decoder is left out. False when the streams cannot be told.
    bool openStreams(bool picture, bool sound);

    // Reads the next packet. False at the end, and when the file cannot be read any further.
    bool read();
    // When the packet is shown, in seconds; nothing where it does not tell.
    std::optional<double> packetTime() const;

    // Decodes the packet read last, if it is of a stream in use, and hands on every frame of it for
    // as long as `goOn` says so. A frame is borrowed for the call.
    void decode(const Use& picture, const Use& sound, const std::function<bool()>& goOn);
    // The same for the frames that the decoders still hold, at the end.
    void drain(const Use& picture, const Use& sound, const std::function<bool()>& goOn);

    void close();

private:
    CodecContextPtr openStream(AVMediaType type, int& index);

    MediaInput media_;
    CodecContextPtr video_; // null without
    CodecContextPtr audio_; // null without
    int videoIndex_ = -1;
    int audioIndex_ = -1;
    PacketPtr packet_ = makePacket();
    FramePtr frame_ = makeFrame();
};

} // namespace quol
