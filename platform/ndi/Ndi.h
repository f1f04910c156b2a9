// The NDI runtime. It is not part of this library: it is looked for while the program runs, and
// most machines have none.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/ndi/Records.h"

namespace quol::ndi {

// The runtime's operations under their published names, less the "NDIlib_" in front. Each one is
// there: a runtime that lacks any of them counts as absent.
struct Runtime {
    bool (*initialize)();
    void (*destroy)();

    Handle (*find_create_v2)(const NDIlib_find_create_t* settings);
    bool (*find_wait_for_sources)(Handle finder, std::uint32_t timeoutMs);
    // Belongs to the finder, and stays until it is asked again or destroyed.
    const NDIlib_source_t* (*find_get_current_sources)(Handle finder, std::uint32_t* count);
    void (*find_destroy)(Handle finder);

    Handle (*recv_create_v3)(const NDIlib_recv_create_v3_t* settings);
    void (*recv_connect)(Handle receiver, const NDIlib_source_t* source);
    // A FrameType. What it gave stays the receiver's: it goes back with recv_free_*, while the
    // receiver exists. Metadata is not taken when `metadata` is null.
    std::int32_t (*recv_capture_v2)(Handle receiver, NDIlib_video_frame_v2_t* video,
                                    NDIlib_audio_frame_v2_t* audio, void* metadata,
                                    std::uint32_t timeoutMs);
    void (*recv_free_video_v2)(Handle receiver, const NDIlib_video_frame_v2_t* frame);
    void (*recv_free_audio_v2)(Handle receiver, const NDIlib_audio_frame_v2_t* frame);
    void (*recv_destroy)(Handle receiver);

    Handle (*send_create)(const NDIlib_send_create_t* settings);
    // The caller's data is used until they return; clocked senders hold the caller back.
    void (*send_send_video_v2)(Handle sender, const NDIlib_video_frame_v2_t* frame);
    void (*send_send_audio_v2)(Handle sender, const NDIlib_audio_frame_v2_t* frame);
    void (*send_destroy)(Handle sender);
};

// The runtime of this process, or null where there is none. It is loaded at the first call that
// finds one and then stays for good, so the pointer may be kept. While there is none each call
// looks again: one that is installed later is found. Any thread.
const Runtime* runtime();

// The files that are tried, in this order: the folders that the environment names, newest
// generation first, then the loader's own search.
std::vector<std::string> runtimeCandidates();

// The first of `candidates` that is complete, opened for good.
std::optional<Runtime> loadRuntime(const std::vector<std::string>& candidates);

} // namespace quol::ndi
