// Decodes a whole clip into memory.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "core/AvailableMemory.h"
#include "core/Handles.h"
#include "core/MediaInput.h"
#include "core/Scaler.h"

namespace quol {

struct ClipRequest {
    std::string path; // with a "%" the pattern of an image sequence
    int width = 0;
    int height = 0;
    double fps = 0.0; // of an image sequence; nothing else depends on it
};

// Reads one clip, once.
class StingerClip {
public:
    enum class Outcome {
        decoded,    // at least one picture
        unreadable, // no file, no video, no picture, or no such size
        tooLarge,   // more than fits into memory
        cancelled,
    };

    // `cancelled` is asked before every packet. Both must outlive the clip; the input is left
    // closed.
    StingerClip(MediaInput& input, const std::atomic<bool>& cancelled,
                MemoryBudget budget = MemoryBudget())
        : input_(input), cancelled_(cancelled), budget_(std::move(budget)) {}

    Outcome read(const ClipRequest& request);

    // All pictures when the outcome is `decoded`, else none: YUVA 4:2:0 of the size asked for.
    std::vector<FramePtr> takeFrames() { return std::move(frames_); }

private:
    Outcome decode(const ClipRequest& request);
    bool openStream();
    bool decodePacket(const AVPacket* packet, const ClipRequest& request);
    FramePtr convert(const AVFrame& picture, const ClipRequest& request);

    MediaInput& input_;
    const std::atomic<bool>& cancelled_;
    MemoryBudget budget_;
    CodecContextPtr decoder_;
    FramePtr decoded_;
    int stream_ = -1;
    Scaler scaler_;
    std::vector<FramePtr> frames_;
};

} // namespace quol
