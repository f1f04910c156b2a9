// Owning handles for FFmpeg's objects, each freed by the library's own function. A bare free call
// anywhere else in the tree is a mistake.
#pragma once

#include <memory>
#include <utility>

#include "quolsdk/FrameHandle.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavfilter/avfilter.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libavutil/channel_layout.h>
#include <libavutil/dict.h>
#include <libavutil/frame.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

namespace quol {

// Adapts FFmpeg's "free through the address of the pointer" functions to unique_ptr.
template <auto freeFunction>
struct FreeByAddress {
    template <typename T>
    void operator()(T* object) const noexcept {
        freeFunction(&object);
    }
};

struct SwsDeleter {
    void operator()(SwsContext* context) const noexcept { sws_freeContext(context); }
};

struct AudioFifoDeleter {
    void operator()(AVAudioFifo* fifo) const noexcept { av_audio_fifo_free(fifo); }
};

struct OutputFormatDeleter {
    // Closes the file, when one is open, before the muxer goes.
    void operator()(AVFormatContext* context) const noexcept {
        if (context->oformat != nullptr && (context->oformat->flags & AVFMT_NOFILE) == 0) {
            avio_closep(&context->pb);
        }
        avformat_free_context(context);
    }
};

using PacketPtr = std::unique_ptr<AVPacket, FreeByAddress<av_packet_free>>;
using CodecContextPtr = std::unique_ptr<AVCodecContext, FreeByAddress<avcodec_free_context>>;
using InputFormatPtr = std::unique_ptr<AVFormatContext, FreeByAddress<avformat_close_input>>;
using OutputFormatPtr = std::unique_ptr<AVFormatContext, OutputFormatDeleter>;
using FilterGraphPtr = std::unique_ptr<AVFilterGraph, FreeByAddress<avfilter_graph_free>>;
using FilterInOutPtr = std::unique_ptr<AVFilterInOut, FreeByAddress<avfilter_inout_free>>;
using AudioFifoPtr = std::unique_ptr<AVAudioFifo, AudioFifoDeleter>;
using SwsPtr = std::unique_ptr<SwsContext, SwsDeleter>;
using SwrPtr = std::unique_ptr<SwrContext, FreeByAddress<swr_free>>;

inline FramePtr makeFrame() {
    return FramePtr(av_frame_alloc());
}

inline PacketPtr makePacket() {
    return PacketPtr(av_packet_alloc());
}

// A dictionary of options, handed to FFmpeg by the address of its pointer.
class Dictionary {
public:
    Dictionary() = default;
    Dictionary(const Dictionary& other) { av_dict_copy(&entries_, other.entries_, 0); }
    Dictionary& operator=(const Dictionary&) = delete;
    ~Dictionary() { clear(); }

    void set(const char* key, const char* value) { av_dict_set(&entries_, key, value, 0); }
    void clear() { av_dict_free(&entries_); }
    const char* find(const char* key) const {
        const AVDictionaryEntry* entry = av_dict_get(entries_, key, nullptr, 0);
        return entry != nullptr ? entry->value : nullptr;
    }
    void swap(Dictionary& other) { std::swap(entries_, other.entries_); }
    AVDictionary** address() { return &entries_; }

private:
    AVDictionary* entries_ = nullptr;
};

// An AVChannelLayout that frees what it may own.
class ChannelLayout {
public:
    ChannelLayout() = default;
    explicit ChannelLayout(int channels) { av_channel_layout_default(&layout_, channels); }
    explicit ChannelLayout(const AVChannelLayout& other) { assign(other); }
    ChannelLayout(const ChannelLayout&) = delete;
    ChannelLayout& operator=(const ChannelLayout&) = delete;
    ~ChannelLayout() { av_channel_layout_uninit(&layout_); }

    // False when memory is short.
    bool assign(const AVChannelLayout& other) {
        return av_channel_layout_copy(&layout_, &other) >= 0;
    }
    const AVChannelLayout* get() const { return &layout_; }
    int channels() const { return layout_.nb_channels; }
    bool equals(const AVChannelLayout& other) const {
        return av_channel_layout_compare(&layout_, &other) == 0;
    }

private:
    AVChannelLayout layout_{};
};

} // namespace quol
