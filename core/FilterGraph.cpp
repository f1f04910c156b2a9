#include "core/FilterGraph.h"

#include <array>
#include <cstdio>

#include "core/ErrorText.h"
#include "core/Log.h"
#include "core/NumericLocale.h"

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/opt.h>
}

namespace quol {

namespace {

const char* scalingFlags(int quality) {
    switch (quality) {
        case 1:
            return "neighbor";
        case 2:
            return "bilinear";
        case 4:
            return "lanczos";
        default:
            return "bicubic";
    }
}

AVFilterContext* makeEnd(AVFilterGraph& graph, const char* filter, const char* name,
                         const char* arguments) {
    AVFilterContext* end = nullptr;
    const AVFilter* type = avfilter_get_by_name(filter);
    const bool made = type != nullptr && avfilter_graph_create_filter(&end, type, name, arguments,
                                                                      nullptr, &graph) >= 0;
    return made ? end : nullptr;
}

FilterInOutPtr makeInOut(const char* name, AVFilterContext* end) {
    FilterInOutPtr record(avfilter_inout_alloc());
    if (!record) return nullptr;
    record->name = av_strdup(name);
    record->filter_ctx = end;
    record->pad_idx = 0;
    record->next = nullptr;
    return record;
}

} // namespace

// The chain's open input is fed by "in", its open output goes to "out".
bool FilterGraph::parse(const std::string& chain, bool report) {
    FilterInOutPtr outputs = makeInOut("in", source_);
    FilterInOutPtr inputs = makeInOut("out", sink_);
    if (!outputs || !inputs) return false;
    AVFilterInOut* openInputs = inputs.release();
    AVFilterInOut* openOutputs = outputs.release();
    const int result =
        avfilter_graph_parse_ptr(graph_.get(), chain.c_str(), &openInputs, &openOutputs, nullptr);
    inputs.reset(openInputs);
    outputs.reset(openOutputs);
    if (result < 0 && report) {
        logError("%sAVFILTER PARSE ERROR: %s\nDESC: %s", tag_, errorText(result).c_str(),
                 chain.c_str());
    }
    return result >= 0;
}

bool FilterGraph::buildVideo(const VideoInput& input, const std::string& chain,
                             int scalingQuality) {
    reset();
    format_ = input.format;
    width_ = input.width;
    height_ = input.height;
    graph_.reset(avfilter_graph_alloc());
    if (!graph_) return false;
    std::array<char, 256> arguments{};
    std::snprintf(arguments.data(), arguments.size(),
                  "video_size=%dx%d:pix_fmt=%d:time_base=%d/%d:pixel_aspect=%d/%d", input.width,
                  input.height, input.format, input.timeBase.num, input.timeBase.den,
                  input.pixelAspect.num, input.pixelAspect.den);
    source_ = makeEnd(*graph_, "buffer", "in", arguments.data());
    sink_ = makeEnd(*graph_, "buffersink", "out", nullptr);
    // Scale filters take these as they are parsed, so they stand before the chain is read.
    const std::string flags = std::string("flags=") + scalingFlags(scalingQuality);
    av_opt_set(graph_.get(), "scale_sws_opts", flags.c_str(), 0);
    const NumericLocaleC locale; // some numbers are read as late as the graph is configured
    const bool built = source_ != nullptr && sink_ != nullptr && parse(chain, true) &&
                       avfilter_graph_config(graph_.get(), nullptr) >= 0;
    return built || drop();
}

bool FilterGraph::buildAudio(const AVFrame& frame, const std::string& chain) {
    reset();
    if (!layout_.assign(frame.ch_layout)) return false;
    format_ = frame.format;
    sampleRate_ = frame.sample_rate;
    graph_.reset(avfilter_graph_alloc());
    if (!graph_) return false;
    std::array<char, 256> arguments{};
    if (frame.ch_layout.order == AV_CHANNEL_ORDER_NATIVE) {
        std::snprintf(arguments.data(), arguments.size(),
                      "sample_rate=%d:sample_fmt=%d:channel_layout=0x%lx", frame.sample_rate,
                      frame.format, static_cast<unsigned long>(frame.ch_layout.u.mask));
    } else {
        // A channel count that no layout is known for.
        std::snprintf(arguments.data(), arguments.size(),
                      "sample_rate=%d:sample_fmt=%d:channels=%d", frame.sample_rate, frame.format,
                      frame.ch_layout.nb_channels);
    }
    source_ = makeEnd(*graph_, "abuffer", "in", arguments.data());
    sink_ = makeEnd(*graph_, "abuffersink", "out", "all_channel_counts=1");
    const NumericLocaleC locale;
    const bool built = source_ != nullptr && sink_ != nullptr && parse(chain, false) &&
                       avfilter_graph_config(graph_.get(), nullptr) >= 0;
    return built || drop();
}

// Leaves the form of what could not be built. False, for those who fail.
bool FilterGraph::drop() {
    graph_.reset();
    source_ = nullptr;
    sink_ = nullptr;
    return false;
}

void FilterGraph::reset() {
    drop();
    format_ = -1;
    width_ = 0;
    height_ = 0;
    sampleRate_ = 0;
}

bool FilterGraph::hasForm(const AVFrame& frame) const {
    if (frame.format != format_) return false;
    if (sampleRate_ > 0) return frame.sample_rate == sampleRate_ && layout_.equals(frame.ch_layout);
    return frame.width == width_ && frame.height == height_;
}

bool FilterGraph::send(AVFrame* frame) {
    return av_buffersrc_add_frame_flags(source_, frame, AV_BUFFERSRC_FLAG_KEEP_REF) >= 0;
}

bool FilterGraph::finish(std::int64_t end) {
    return av_buffersrc_close(source_, end, 0) >= 0;
}

bool FilterGraph::receive(AVFrame& frame) {
    return av_buffersink_get_frame(sink_, &frame) >= 0;
}

AVRational FilterGraph::timeBase() const {
    return av_buffersink_get_time_base(sink_);
}

} // namespace quol
