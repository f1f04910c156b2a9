/// @file
/// Questions about a media file, without playing it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "quolsdk/export.h"

struct AVStream;

namespace quol {
class MediaInput;
} // namespace quol

/// A read-only view of what a file's container says. No thread, no messages, no exceptions: on a
/// closed reader every question gets a neutral answer.
///
/// Threads: one at a time.
class QUOLSDK_API LReader {
public:
    LReader();
    LReader(const LReader&) = delete;
    LReader& operator=(const LReader&) = delete;
    ~LReader();

    /// Closes what is open and opens `path`. False when it is no media file. A file without a
    /// picture, or without sound, opens fine.
    bool open(const std::string& path);
    void close(); ///< closes the file, if one is open

    double getDurationMs() const;    ///< milliseconds; 0.0 when not known
    double getFPS() const;           ///< average frame rate; 0.0 without a picture
    std::int64_t getWidth() const;   ///< pixels as coded; 0 without a picture
    std::int64_t getHeight() const;  ///< pixels as coded; 0 without a picture
    std::int64_t getFileLen() const; ///< bytes, by the file system; 0 on failure

    std::string getVideoCodec() const; ///< decoder's name; "Unknown" without one
    std::string getAudioCodec() const; ///< decoder's name; "Unknown" without one
    std::string getContainer() const;  ///< the format's short name; "Unknown" when closed

    std::int64_t getBitrate() const;       ///< of the container, bits a second
    std::int64_t getAudioBitrate() const;  ///< bits a second; 0 without sound
    std::int64_t getAudioChannels() const; ///< 0 without sound

    /// Display aspect ratio in lowest terms, "16:9"; "N/A" without a picture.
    std::string getAspectRatio() const;
    /// FFmpeg's name of the colour space ("unknown" where the file does not say); "Unknown" without
    /// a picture.
    std::string getColorSpace() const;
    /// "4:2:0", "4:2:2" or "4:4:4"; "Unknown" for any other.
    std::string getChromaSubsampling() const;
    /// Bits of the first component; 0 without a picture, 8 when its format is not known.
    int getBitDepth() const;
    /// "Progressive" (also where the file does not say) or "Interlaced"; "N/A" without a picture.
    std::string getScanType() const;

    /// Start time code of the container, else of the picture's stream, else "00:00:00:00".
    std::string getInTC() const;
    /// The start time code plus the duration, counted at the average frame rate.
    std::string getOutTC() const;

private:
    const AVStream* videoStream() const;
    const AVStream* audioStream() const;

    const std::unique_ptr<quol::MediaInput> formatContext;
    int videoStreamIndex = -1;
    int audioStreamIndex = -1;
    std::string filePath;
};
