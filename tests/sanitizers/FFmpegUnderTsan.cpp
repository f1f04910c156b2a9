// Tells the thread sanitizer what it cannot see of FFmpeg, which is not instrumented. Linked into
// every test of a thread sanitizer build, and into nothing else: these functions stand before
// FFmpeg's own and call them. With them the suite needs no suppression of whole libraries, which
// would hide our own mistakes with frames too.
//
// Reference counts. Giving a reference back is an atomic decrement inside FFmpeg: whoever frees or
// reuses the memory as the last owner comes after everything the earlier owners did with it.
// Unseen, each picture that one thread read and another one freed would be reported. The functions
// here state the order that the decrement establishes, no more.
//
// Whoever finds itself to be the only owner may write: it comes after what the others did, too.
//
// Worker threads. Decoders, encoders and filters hand pictures from their workers to the caller by
// atomic flags. As what is under test are our threads, theirs are not started.

#include <sanitizer/tsan_interface.h>
#include <sched.h>

#include "support/FunctionBehind.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavfilter/avfilter.h>
#include <libavutil/buffer.h>
#include <libavutil/frame.h>
}

// What these functions themselves read may have been written inside FFmpeg.
#define NOT_INSTRUMENTED __attribute__((no_sanitize("thread")))

namespace {

NOT_INSTRUMENTED void giveBack(const AVBufferRef* reference) {
    if (reference == nullptr) return;
    __tsan_acquire(reference->buffer);
    __tsan_release(reference->buffer);
}

NOT_INSTRUMENTED void giveBack(const AVFrame* frame) {
    if (frame == nullptr) return;
    for (const AVBufferRef* reference : frame->buf)
        giveBack(reference);
    for (int i = 0; i < frame->nb_extended_buf; ++i)
        giveBack(frame->extended_buf[i]);
}

NOT_INSTRUMENTED void giveBack(const AVPacket* packet) {
    if (packet != nullptr) giveBack(packet->buf);
}

// Telling and giving back are one step: of two owners who do it at the same time the last one must
// have been told of the other. Nested, for what is freed may hold references itself. The sanitizer
// does not see this lock, which would otherwise order what our threads do.
bool taken = false;
thread_local int depth = 0;

class OneAtATime {
public:
    NOT_INSTRUMENTED OneAtATime() {
        if (depth++ > 0) return;
        while (__atomic_test_and_set(&taken, __ATOMIC_ACQUIRE))
            sched_yield();
    }
    NOT_INSTRUMENTED ~OneAtATime() {
        if (--depth == 0) __atomic_clear(&taken, __ATOMIC_RELEASE);
    }
    OneAtATime(const OneAtATime&) = delete;
    OneAtATime& operator=(const OneAtATime&) = delete;
};

} // namespace

extern "C" {

NOT_INSTRUMENTED void av_buffer_unref(AVBufferRef** reference) {
    static const auto real = test::functionBehind<void(AVBufferRef**)>("av_buffer_unref");
    const OneAtATime step;
    if (reference != nullptr) giveBack(*reference);
    real(reference);
}

NOT_INSTRUMENTED void av_frame_unref(AVFrame* frame) {
    static const auto real = test::functionBehind<void(AVFrame*)>("av_frame_unref");
    const OneAtATime step;
    giveBack(frame);
    real(frame);
}

NOT_INSTRUMENTED void av_frame_free(AVFrame** frame) {
    static const auto real = test::functionBehind<void(AVFrame**)>("av_frame_free");
    const OneAtATime step;
    if (frame != nullptr) giveBack(*frame);
    real(frame);
}

NOT_INSTRUMENTED int av_frame_is_writable(AVFrame* frame) {
    static const auto real = test::functionBehind<int(AVFrame*)>("av_frame_is_writable");
    const OneAtATime step;
    const int isWritable = real(frame);
    if (isWritable > 0) {
        for (const AVBufferRef* reference : frame->buf)
            if (reference != nullptr) __tsan_acquire(reference->buffer);
    }
    return isWritable;
}

NOT_INSTRUMENTED void av_packet_unref(AVPacket* packet) {
    static const auto real = test::functionBehind<void(AVPacket*)>("av_packet_unref");
    const OneAtATime step;
    giveBack(packet);
    real(packet);
}

NOT_INSTRUMENTED void av_packet_free(AVPacket** packet) {
    static const auto real = test::functionBehind<void(AVPacket**)>("av_packet_free");
    const OneAtATime step;
    if (packet != nullptr) giveBack(*packet);
    real(packet);
}

NOT_INSTRUMENTED int avcodec_open2(AVCodecContext* context, const AVCodec* codec,
                                   AVDictionary** options) {
    static const auto real =
        test::functionBehind<int(AVCodecContext*, const AVCodec*, AVDictionary**)>("avcodec_open2");
    if (context != nullptr) context->thread_count = 1;
    return real(context, codec, options);
}

NOT_INSTRUMENTED AVFilterGraph* avfilter_graph_alloc() {
    static const auto real = test::functionBehind<AVFilterGraph*()>("avfilter_graph_alloc");
    AVFilterGraph* graph = real();
    if (graph != nullptr) graph->nb_threads = 1;
    return graph;
}

} // extern "C"
