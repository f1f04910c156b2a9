// An NDI runtime that sends nothing: its senders take what they are given at once, so that what an
// output costs by itself can be measured. The library under test loads it like the real one.
#include <cstdint>

namespace {

void (*onVideo)() = nullptr;
int handle = 0; // every handle points here

} // namespace

#define EXPORTED __attribute__((visibility("default")))

extern "C" {

// Called by every video send, on its thread. Set while nothing is being sent.
EXPORTED void benchOnVideo(void (*call)()) {
    onVideo = call;
}

EXPORTED bool NDIlib_initialize() {
    return true;
}
EXPORTED void NDIlib_destroy() {}

EXPORTED void* NDIlib_find_create_v2(const void*) {
    return nullptr;
}
EXPORTED bool NDIlib_find_wait_for_sources(void*, std::uint32_t) {
    return false;
}
EXPORTED const void* NDIlib_find_get_current_sources(void*, std::uint32_t* count) {
    *count = 0;
    return nullptr;
}
EXPORTED void NDIlib_find_destroy(void*) {}

EXPORTED void* NDIlib_recv_create_v3(const void*) {
    return nullptr;
}
EXPORTED void NDIlib_recv_connect(void*, const void*) {}
EXPORTED std::int32_t NDIlib_recv_capture_v2(void*, void*, void*, void*, std::uint32_t) {
    return 0;
}
EXPORTED void NDIlib_recv_free_video_v2(void*, const void*) {}
EXPORTED void NDIlib_recv_free_audio_v2(void*, const void*) {}
EXPORTED void NDIlib_recv_destroy(void*) {}

EXPORTED void* NDIlib_send_create(const void*) {
    return &handle;
}
EXPORTED void NDIlib_send_send_video_v2(void*, const void*) {
    if (onVideo != nullptr) onVideo();
}
EXPORTED void NDIlib_send_send_audio_v2(void*, const void*) {}
EXPORTED void NDIlib_send_destroy(void*) {}
}
