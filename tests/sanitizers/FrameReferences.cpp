// Tells the thread sanitizer about FFmpeg's reference counts. Linked into every test of a thread
// sanitizer build, and into nothing else.
//
// Giving a reference back is an atomic decrement inside FFmpeg: whoever frees or reuses the memory
// as the last owner comes after everything the earlier owners did with it. FFmpeg is not
// instrumented, so the sanitizer does not see that order and would report each picture that one
// thread read and another one freed. These functions stand before FFmpeg's own, state the order
// that the decrement establishes, no more, and call FFmpeg's.

#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

extern "C" {
#include <libavcodec/packet.h>
#include <libavutil/buffer.h>
#include <libavutil/frame.h>
}

namespace {

template <typename Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void giveBack(const AVBufferRef* reference) {
    if (reference == nullptr) return;
    __tsan_acquire(reference->buffer);
    __tsan_release(reference->buffer);
}

void giveBack(const AVFrame* frame) {
    if (frame == nullptr) return;
    for (const AVBufferRef* reference : frame->buf) giveBack(reference);
    for (int i = 0; i < frame->nb_extended_buf; ++i) giveBack(frame->extended_buf[i]);
}

void giveBack(const AVPacket* packet) {
    if (packet != nullptr) giveBack(packet->buf);
}

} // namespace

extern "C" {

void av_buffer_unref(AVBufferRef** reference) {
    static const auto real = next<void(AVBufferRef**)>("av_buffer_unref");
    if (reference != nullptr) giveBack(*reference);
    real(reference);
}

void av_frame_unref(AVFrame* frame) {
    static const auto real = next<void(AVFrame*)>("av_frame_unref");
    giveBack(frame);
    real(frame);
}

void av_frame_free(AVFrame** frame) {
    static const auto real = next<void(AVFrame**)>("av_frame_free");
    if (frame != nullptr) giveBack(*frame);
    real(frame);
}

void av_packet_unref(AVPacket* packet) {
    static const auto real = next<void(AVPacket*)>("av_packet_unref");
    giveBack(packet);
    real(packet);
}

void av_packet_free(AVPacket** packet) {
    static const auto real = next<void(AVPacket**)>("av_packet_free");
    if (packet != nullptr) giveBack(*packet);
    real(packet);
}

} // extern "C"
