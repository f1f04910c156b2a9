// A movie of stored JPEGs and stored sound; nothing in it is encoded again.
#pragma once

#include <cstdint>
#include <string>

#include "core/Handles.h"
#include "outputs/ReplayFiles.h"

namespace quol {

// What a movie is made of.
struct ReplayMovieFormat {
    int width = 0;
    int height = 0;
    double rate = 0.0; // pictures a second
    int sampleRate = 0;
    std::string timecode; // empty for none
};

// One thread at a time.
class ReplayMovie {
public:
    // Makes the file, its container by its ending, and writes the header. False when one of them
    // fails; a file made for a header that the muxer refuses is removed. Pipes and devices are
    // refused: writing to one may never end.
    bool open(const std::string& path, const ReplayMovieFormat& format);

    // Picture number `index` of the movie; times are whole milliseconds, and a second picture of
    // the same one is left out. The bytes are copied.
    void addPicture(std::int64_t index, const std::uint8_t* bytes, std::int32_t size);
    // Interleaved 16-bit stereo, `time` in seconds since the first picture. Sound that does not
    // begin behind the block before is left out. The bytes are copied.
    void addSound(double time, const std::uint8_t* bytes, std::int32_t size);

    // Whether everything could be written until now.
    bool good() const { return error_ == 0; }

    // Writes the trailer and closes the file. False when the movie is not whole.
    bool finish();

private:
    bool addStreams(const ReplayMovieFormat& format);
    void write(const AVStream& stream, std::int64_t pts, const std::uint8_t* bytes,
               std::int32_t size);

    OutputFormatPtr output_;
    AVStream* video_ = nullptr; // the muxer's
    AVStream* audio_ = nullptr; // the muxer's
    PacketPtr packet_ = makePacket();
    double rate_ = 0.0;
    int sampleRate_ = 0;
    std::int64_t lastPicture_ = AV_NOPTS_VALUE; // milliseconds
    std::int64_t lastSound_ = AV_NOPTS_VALUE;   // in samples
    int error_ = 0;
};

} // namespace quol
