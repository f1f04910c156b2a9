// What becomes of the count where a recorder's or a stream's encoder gets no hold of a picture that
// waited for it. FFmpeg's own function stands behind that of this program.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "quolsdk/LObject.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/Frames.h"
#include "support/FunctionBehind.h"
#include "support/Recording.h"
#include "support/Streaming.h"

namespace {

std::atomic<int> refusals{0}; // clones of marked pictures that fail from now on
int mark = 0;                 // of what the tests push
thread_local bool isPusher = false;

} // namespace

extern "C" AVFrame* av_frame_clone(const AVFrame* frame) {
    if (!isPusher && frame->opaque == &mark && refusals > 0) {
        --refusals;
        return nullptr;
    }
    return test::functionBehind<decltype(av_frame_clone)>("av_frame_clone")(frame);
}

namespace {

constexpr int refused = 5;

// Pushes pictures, each into a tick of its own, until the encoder has been refused so many.
template <typename Encoder>
void push(Encoder& encoder) {
    isPusher = true;
    const quol::FramePtr picture = test::makePicture(64, 48, AV_PIX_FMT_YUV420P);
    picture->opaque = &mark;
    refusals = refused;
    EXPECT_TRUE(test::waitUntil([&] {
        encoder.pushVideoFrame(picture.get());
        std::this_thread::sleep_for(std::chrono::milliseconds(45));
        return refusals == 0;
    }));
}

TEST(EncodersWithoutPictures, ARecorderCountsThem) {
    LRecorder recorder;
    test::configure(recorder, test::temporaryPath("refused.nut"), {"nut", "rawvideo", "pcm_s16le"});
    test::setPictures(recorder, 64, 48, 25);
    ASSERT_TRUE(recorder.Record());
    push(recorder);
    EXPECT_TRUE(test::waitUntil([&] { return test::statsOf(recorder).framesDropped >= refused; }));
    recorder.Stop();
    EXPECT_EQ(test::statsOf(recorder).framesDropped, refused);
}

TEST(EncodersWithoutPictures, AStreamCountsThem) {
    LStream stream;
    videoFormatProps format;
    format.width = 64;
    format.height = 48;
    format.fps = 25;
    stream.setVideoFormat(format);
    stream.setVideoCodec("mpeg2video");
    stream.setStreamUrl(test::temporaryPath("refused.ts"));
    LObject source;
    stream.source = &source;
    ASSERT_TRUE(stream.Start());
    push(stream);
    EXPECT_TRUE(test::waitUntil([&] { return test::statsOf(stream).framesDropped >= refused; }));
    stream.Stop();
    EXPECT_EQ(test::statsOf(stream).framesDropped, refused);
}

} // namespace
