// A filter chain at work: one end takes frames, the other gives them.
#pragma once

#include <cstdint>
#include <string>

#include "core/Handles.h"

namespace quol {

// One graph with one input and one output, built for one form of input. One thread at a time.
class FilterGraph {
public:
    // `tag` stands in front of the message about a chain that cannot be read; a text that lasts.
    explicit FilterGraph(const char* tag = "") : tag_(tag) {}

    // What the input end is told about the pictures to come.
    struct VideoInput {
        int width = 0;
        int height = 0;
        int format = AV_PIX_FMT_NONE;
        AVRational timeBase{1, 1};
        AVRational pixelAspect{0, 1};
    };

    // Builds the graph of a picture chain; `scalingQuality` 1 neighbour, 2 bilinear, 4 lanczos,
    // anything else bicubic. A chain that cannot be read writes one message to standard error.
    // False without a graph.
    bool buildVideo(const VideoInput& input, const std::string& chain, int scalingQuality);

    // Builds the graph of a sound chain for frames like `frame`. False without a graph; silent.
    // The input end counts in 1/rate seconds.
    bool buildAudio(const AVFrame& frame, const std::string& chain);

    void reset();
    explicit operator bool() const { return graph_ != nullptr; }

    // True when `frame` has the form that the graph was built for.
    bool takes(const AVFrame& frame) const { return graph_ && hasForm(frame); }

    // True when `frame` has the form of the latest attempt to build one, whatever came of it.
    bool hasForm(const AVFrame& frame) const;

    // Hands a frame to the input end, which takes a reference of its own; null says that no more
    // will come. False when it was refused.
    bool send(AVFrame* frame);

    // Says that no more frames will come, the last one lasting until `end` of the input end's time:
    // a filter that changes the rate of pictures goes by it.
    bool finish(std::int64_t end);

    // The next frame of the output end into `frame`; false when there is none now.
    bool receive(AVFrame& frame);

    // Time base of the frames received.
    AVRational timeBase() const;

private:
    bool parse(const std::string& chain, bool report);
    bool drop();

    const char* tag_;
    FilterGraphPtr graph_;
    AVFilterContext* source_ = nullptr; // owned by the graph
    AVFilterContext* sink_ = nullptr;   // owned by the graph
    // The form of the frames that the input end was to be told of.
    int format_ = -1;
    int width_ = 0;
    int height_ = 0;
    int sampleRate_ = 0;
    ChannelLayout layout_;
};

} // namespace quol
