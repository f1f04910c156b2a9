// A finished or growing movie file, read back whole through FFmpeg's own demuxers and decoders.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/Handles.h"

namespace test {

struct RecordedPacket {
    double seconds = 0.0; // when it is shown
    int size = 0;
    bool key = false;
};

struct RecordedStream {
    AVMediaType type = AVMEDIA_TYPE_UNKNOWN;
    std::string codec; // as the codec is called, not its encoder: "h264"
    int profile = 0;
    int width = 0;
    int height = 0;
    double rate = 0.0; // average frame rate
    int sampleRate = 0;
    int channels = 0;
    std::int64_t bitRate = 0;
    double duration = 0.0; // seconds, 0 when the file does not say
    std::map<std::string, std::string> metadata;
    std::vector<RecordedPacket> packets;
};

struct RecordedPicture {
    double seconds = 0.0;
    int width = 0;
    int height = 0;
    double luma = 0.0;    // mean of the first plane, on a scale of 8 bits
    quol::FramePtr frame; // kept only on request
};

struct RecordedFile {
    std::string error; // empty when the file opened and nothing in it was damaged
    std::string container;
    double duration = 0.0; // seconds, by the container
    std::map<std::string, std::string> metadata;
    std::vector<RecordedStream> streams;
    std::vector<RecordedPicture> pictures;
    std::vector<float> sound; // left and right in turn, full scale is 1
    double soundStart = 0.0;  // seconds
    int soundRate = 0;
    double soundHoles = 0.0; // seconds by which blocks of sound miss the end of the one before

    const RecordedStream* stream(AVMediaType type) const; // the first one; null without
    const RecordedStream* video() const { return stream(AVMEDIA_TYPE_VIDEO); }
    const RecordedStream* audio() const { return stream(AVMEDIA_TYPE_AUDIO); }

    std::size_t soundPairs() const { return sound.size() / 2; }
    double soundSeconds() const;   // length
    double pictureSeconds() const; // from the first picture to the last
    double longestPictureGap() const;
    double largestSample() const; // absolute

    // The start time code, wherever the container keeps it; nothing without one.
    std::optional<std::string> timecode() const;
};

enum class Keep { nothing, pictures };

RecordedFile readRecordedFile(const std::string& path, Keep keep = Keep::nothing);

// When the pictures turn bright, and when sound sets in behind at least a tenth of a second of
// silence; seconds, from the same zero.
std::vector<double> flashes(const RecordedFile& file);
std::vector<double> beeps(const RecordedFile& file);

// For each of `wanted`, how far away the nearest of `others` is, with its sign (later is above 0).
std::vector<double> distances(const std::vector<double>& wanted, const std::vector<double>& others);

} // namespace test
