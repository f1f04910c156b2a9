// The records that pass between us and the NDI runtime, and the numbers in them. Names are the
// published ones; the layout is fixed by the runtime's binary interface on 64-bit Linux.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

namespace quol::ndi {

using Handle = void*; // a finder, a receiver or a sender

struct NDIlib_source_t {
    const char* p_ndi_name = nullptr;
    const char* p_url_address = nullptr;
};

struct NDIlib_find_create_t {
    bool show_local_sources = true;
    const char* p_groups = nullptr;
    const char* p_extra_ips = nullptr;
};

enum ColorFormat : std::int32_t {
    color_format_BGRX_BGRA = 0,
    color_format_UYVY_BGRA = 1,
    color_format_RGBX_RGBA = 2,
    color_format_UYVY_RGBA = 3,
    color_format_fastest = 100,
    color_format_best = 101,
};

enum Bandwidth : std::int32_t {
    bandwidth_metadata_only = -10,
    bandwidth_lowest = 0,
    bandwidth_audio_only = 10,
    bandwidth_highest = 100,
};

struct NDIlib_recv_create_v3_t {
    NDIlib_source_t source_to_connect_to;
    std::int32_t color_format = color_format_UYVY_BGRA;
    std::int32_t bandwidth = bandwidth_highest;
    bool allow_video_fields = true;
    const char* p_ndi_recv_name = nullptr;
};

struct NDIlib_send_create_t {
    const char* p_ndi_name = nullptr;
    const char* p_groups = nullptr;
    bool clock_video = true;
    bool clock_audio = true;
};

// The first letter lies in the lowest byte.
constexpr std::uint32_t fourCC(const char (&letters)[5]) {
    std::uint32_t code = 0;
    for (int i = 3; i >= 0; --i)
        code = code << 8 | static_cast<unsigned char>(letters[i]);
    return code;
}

enum FrameFormat : std::int32_t {
    frame_format_interleaved = 0,
    frame_format_progressive = 1,
    frame_format_field_0 = 2,
    frame_format_field_1 = 3,
};

// As a frame's timecode: the sender makes one up.
inline constexpr std::int64_t timecode_synthesize = std::numeric_limits<std::int64_t>::max();

// Timecodes and timestamps count 100 ns.
struct NDIlib_video_frame_v2_t {
    std::int32_t xres = 0;
    std::int32_t yres = 0;
    std::uint32_t FourCC = 0;
    std::int32_t frame_rate_N = 0;
    std::int32_t frame_rate_D = 0;
    float picture_aspect_ratio = 0.0F;
    std::int32_t frame_format_type = frame_format_progressive;
    std::int64_t timecode = timecode_synthesize;
    std::uint8_t* p_data = nullptr;
    std::int32_t line_stride_in_bytes = 0;
    const char* p_metadata = nullptr;
    std::int64_t timestamp = 0;
};

// One plane of floats for each channel.
struct NDIlib_audio_frame_v2_t {
    std::int32_t sample_rate = 0;
    std::int32_t no_channels = 0;
    std::int32_t no_samples = 0;
    std::int64_t timecode = timecode_synthesize;
    float* p_data = nullptr;
    std::int32_t channel_stride_in_bytes = 0;
    const char* p_metadata = nullptr;
    std::int64_t timestamp = 0;
};

// What a capture brought.
enum FrameType : std::int32_t {
    frame_type_none = 0,
    frame_type_video = 1,
    frame_type_audio = 2,
    frame_type_metadata = 3,
    frame_type_error = 4,
    frame_type_status_change = 100,
    frame_type_source_change = 101,
};

static_assert(sizeof(NDIlib_source_t) == 16);
static_assert(offsetof(NDIlib_source_t, p_url_address) == 8);

static_assert(sizeof(NDIlib_find_create_t) == 24);
static_assert(offsetof(NDIlib_find_create_t, p_groups) == 8);
static_assert(offsetof(NDIlib_find_create_t, p_extra_ips) == 16);

static_assert(sizeof(NDIlib_recv_create_v3_t) == 40);
static_assert(offsetof(NDIlib_recv_create_v3_t, color_format) == 16);
static_assert(offsetof(NDIlib_recv_create_v3_t, bandwidth) == 20);
static_assert(offsetof(NDIlib_recv_create_v3_t, allow_video_fields) == 24);
static_assert(offsetof(NDIlib_recv_create_v3_t, p_ndi_recv_name) == 32);

static_assert(sizeof(NDIlib_send_create_t) == 24);
static_assert(offsetof(NDIlib_send_create_t, p_groups) == 8);
static_assert(offsetof(NDIlib_send_create_t, clock_video) == 16);
static_assert(offsetof(NDIlib_send_create_t, clock_audio) == 17);

static_assert(sizeof(NDIlib_video_frame_v2_t) == 72);
static_assert(offsetof(NDIlib_video_frame_v2_t, FourCC) == 8);
static_assert(offsetof(NDIlib_video_frame_v2_t, frame_rate_N) == 12);
static_assert(offsetof(NDIlib_video_frame_v2_t, picture_aspect_ratio) == 20);
static_assert(offsetof(NDIlib_video_frame_v2_t, frame_format_type) == 24);
static_assert(offsetof(NDIlib_video_frame_v2_t, timecode) == 32);
static_assert(offsetof(NDIlib_video_frame_v2_t, p_data) == 40);
static_assert(offsetof(NDIlib_video_frame_v2_t, line_stride_in_bytes) == 48);
static_assert(offsetof(NDIlib_video_frame_v2_t, p_metadata) == 56);
static_assert(offsetof(NDIlib_video_frame_v2_t, timestamp) == 64);

static_assert(sizeof(NDIlib_audio_frame_v2_t) == 56);
static_assert(offsetof(NDIlib_audio_frame_v2_t, no_channels) == 4);
static_assert(offsetof(NDIlib_audio_frame_v2_t, no_samples) == 8);
static_assert(offsetof(NDIlib_audio_frame_v2_t, timecode) == 16);
static_assert(offsetof(NDIlib_audio_frame_v2_t, p_data) == 24);
static_assert(offsetof(NDIlib_audio_frame_v2_t, channel_stride_in_bytes) == 32);
static_assert(offsetof(NDIlib_audio_frame_v2_t, p_metadata) == 40);
static_assert(offsetof(NDIlib_audio_frame_v2_t, timestamp) == 48);

} // namespace quol::ndi
