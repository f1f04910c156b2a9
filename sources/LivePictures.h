// The way of a live picture from the device's loop to the sinks.
#pragma once

#include <string>

#include "core/FilterGraph.h"
#include "core/PicturePool.h"
#include "core/ScaledPicture.h"
#include "core/Scaler.h"
#include "sources/LiveState.h"

namespace quol {

// Time stamp, the host's filters, time code, the wanted size and format. What needs none of them
// reaches the sinks as the very picture that came in. One thread at a time.
class LivePictures {
public:
    LivePictures(const LiveSettings& settings, LiveState& state, const LiveOutlets& outlets)
        : settings_(settings), state_(state), outlets_(outlets) {}

    // Takes one picture; null is ignored. The frame stays the caller's, its time stamp and metadata
    // may be filled in. Of `sameAsEver` memory nobody ever writes to it again: such a picture is
    // converted once.
    enum class Contents { moving, sameAsEver };
    void processVideoFrame(AVFrame* frame, Contents contents = Contents::moving);

    // The end of a run: gives filters, scaler and kept memory back.
    void reset();

private:
    // What a filter graph depends on besides its text.
    struct Form {
        int width = 0;
        int height = 0;
        int format = -1;
        bool operator==(const Form&) const = default;
    };

    bool filterText(std::string& text) const;
    void build_filters(const AVFrame& frame, const std::string& text);
    void processVideoFrameInternal(AVFrame& frame, Contents contents);
    void stampTimecode(AVFrame& frame);
    void distributeScaled(AVFrame& frame, int width, int height, AVPixelFormat format,
                          Contents contents);
    FramePtr scaled(AVFrame& frame, int width, int height, AVPixelFormat format, Contents contents);

    const LiveSettings& settings_;
    LiveState& state_;
    const LiveOutlets& outlets_;
    FilterGraph graph_{"LLive: "};
    FramePtr filtered_;
    std::string graphText_; // what the graph was built from, or failed to be
    Form graphForm_;        // of the pictures it was built for, or failed to be
    Scaler scaler_;
    PicturePool pool_;
    ScaledPicture still_;
};

} // namespace quol
