// What the stand-in for the NDI runtime exports.
#include <new>

#include "ndi/Network.h"

using namespace quol::ndi;
using standin::Network;

extern "C" {

#pragma GCC visibility push(default)

void* ndiStandinControl() {
    return static_cast<test::NdiStandin*>(&Network::instance());
}

bool NDIlib_initialize() {
    return Network::instance().initialize();
}
void NDIlib_destroy() {
    Network::instance().destroy();
}

Handle NDIlib_find_create_v2(const NDIlib_find_create_t* settings) {
    return Network::instance().createFinder(settings);
}
bool NDIlib_find_wait_for_sources(Handle finder, std::uint32_t timeoutMs) {
    return Network::instance().waitForSources(finder, timeoutMs);
}
const NDIlib_source_t* NDIlib_find_get_current_sources(Handle finder, std::uint32_t* count) {
    return Network::instance().currentSources(finder, count);
}
void NDIlib_find_destroy(Handle finder) {
    Network::instance().destroyFinder(finder);
}

Handle NDIlib_recv_create_v3(const NDIlib_recv_create_v3_t* settings) {
    try {
        return Network::instance().createReceiver(settings);
    } catch (const std::bad_alloc&) { // as one in C, which has no other way to tell
        return nullptr;
    }
}
void NDIlib_recv_connect(Handle receiver, const NDIlib_source_t* source) {
    Network::instance().connect(receiver, source);
}
std::int32_t NDIlib_recv_capture_v2(Handle receiver, NDIlib_video_frame_v2_t* video,
                                    NDIlib_audio_frame_v2_t* audio, void* /*metadata*/,
                                    std::uint32_t timeoutMs) {
    return Network::instance().capture(receiver, video, audio, timeoutMs);
}
void NDIlib_recv_free_video_v2(Handle receiver, const NDIlib_video_frame_v2_t* frame) {
    Network::instance().giveBack(receiver, frame->p_data, true, "NDIlib_recv_free_video_v2");
}
void NDIlib_recv_free_audio_v2(Handle receiver, const NDIlib_audio_frame_v2_t* frame) {
    Network::instance().giveBack(receiver, frame->p_data, false, "NDIlib_recv_free_audio_v2");
}
void NDIlib_recv_destroy(Handle receiver) {
    Network::instance().destroyReceiver(receiver);
}

Handle NDIlib_send_create(const NDIlib_send_create_t* settings) {
    return Network::instance().createSender(settings);
}
void NDIlib_send_send_video_v2(Handle sender, const NDIlib_video_frame_v2_t* frame) {
    Network::instance().sendVideo(sender, frame);
}
void NDIlib_send_send_audio_v2(Handle sender, const NDIlib_audio_frame_v2_t* frame) {
    Network::instance().sendAudio(sender, frame);
}
void NDIlib_send_destroy(Handle sender) {
    Network::instance().destroySender(sender);
}

#pragma GCC visibility pop

} // extern "C"
