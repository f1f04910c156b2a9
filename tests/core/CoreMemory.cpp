// The pieces that every class is made of, when memory is short: what was in the making is lost, and
// the next one is right.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "core/AudioInput.h"
#include "core/FilterGraph.h"
#include "core/Log.h"
#include "core/PicturePool.h"
#include "core/Resampler.h"
#include "core/ScaledPicture.h"
#include "core/Scaler.h"
#include "quolsdk/LFrame.h"
#include "quolsdk/LObject.h"
#include "support/CapturedStream.h"
#include "support/Frames.h"
#include "support/MemoryShortage.h"

namespace {

using test::CountingSink;
using test::makePicture;
using test::makeSound;
using test::refuseEach;

// One that has no memory for what it is pushed.
class PoorSink : public CountingSink {
public:
    void pushVideoFrame(AVFrame* /*frame*/) override { throw std::bad_alloc(); }
    void pushAudioFrame(AVFrame* /*frame*/) override { throw std::bad_alloc(); }
    void flush() override { throw std::bad_alloc(); }
    void setPaused(bool /*paused*/) override { throw std::bad_alloc(); }
};

class FlushedSink : public CountingSink {
public:
    void flush() override { ++flushes; }
    void setPaused(bool /*paused*/) override { ++pauses; }
    int flushes = 0;
    int pauses = 0;
};

class OpenObject : public LObject {
public:
    using LObject::flushSinks;
    using LObject::queuedFrames;
    using LObject::setSinksPaused;
};

TEST(LObjectMemory, WhatIsPushedIsLostForTheSinkAloneThatHasNone) {
    OpenObject source;
    PoorSink poor;
    FlushedSink other;
    source.addSink(&poor);
    source.addSink(&other);
    const quol::FramePtr picture = makePicture(16, 16, AV_PIX_FMT_YUV420P);
    const quol::FramePtr sound = makeSound(48, 48000, 2, AV_SAMPLE_FMT_S16);
    EXPECT_NO_THROW(source.distributeVideoFrame(picture.get()));
    EXPECT_NO_THROW(source.distributeAudioFrame(sound.get()));
    EXPECT_NO_THROW(source.flushSinks());
    EXPECT_NO_THROW(source.setSinksPaused(true));
    EXPECT_EQ(other.pictures, 1);
    EXPECT_EQ(other.sounds, 1);
    EXPECT_EQ(other.flushes, 1);
    EXPECT_EQ(other.pauses, 1);
    source.removeSink(&poor);
    source.removeSink(&other);
}

TEST(LObjectMemory, APictureThatTheQueueHasNoneForIsLost) {
    OpenObject source;
    const quol::FramePtr picture = makePicture(16, 16, AV_PIX_FMT_YUV420P);
    std::size_t kept = 0;
    int refused = 0;
    for (int i = 0; i < 200; ++i) {
        test::failAfter = i % 3;
        EXPECT_NO_THROW(source.distributeVideoFrame(picture.get()));
        if (test::failAfter < 0) ++refused;
        test::failAfter = -1;
        kept = std::max(kept, source.queuedFrames());
    }
    EXPECT_GE(refused, 60);
    EXPECT_EQ(kept, 50U);
    EXPECT_EQ(source.queuedFrames(), 50U);
}

TEST(LogMemory, ALineNeedsNoneOrIsCut) {
    test::CapturedStream out(test::CapturedStream::Stream::output);
    test::failAfter = 0;
    quol::logOut("%s", std::string(0, 'x').c_str());
    EXPECT_EQ(test::failAfter, 0); // asked for none
    test::failAfter = -1;
    const std::string longer(2000, 'y');
    test::failAfter = 0;
    quol::logOut("%s", longer.c_str());
    test::failAfter = -1;
    quol::logOut("%s", longer.c_str());
    EXPECT_EQ(out.text(), "\n" + std::string(511, 'y') + "\n" + longer + "\n");
}

TEST(PicturePoolMemory, APictureForWhichThereIsNoneIsNullAndTheNextIsWhole) {
    quol::PicturePool pool;
    quol::FramePtr picture;
    const auto get = [&](int width) { picture = pool.get(width, 48, AV_PIX_FMT_YUVA420P); };
    int size = 64;
    EXPECT_GT(refuseEach([&] { get(64); },
                         [&] {
                             picture.reset();
                             pool.clear();
                         }),
              4);
    // Another layout each time.
    EXPECT_GT(refuseEach(
                  [&] {
                      picture.reset();
                      get(size += 2);
                  },
                  [&] {
                      get(size);
                      ASSERT_TRUE(picture);
                      EXPECT_EQ(picture->width, size);
                  }),
              4);
}

TEST(ScalerMemory, AScalingForWhichThereIsNoneFailsAndTheNextIsRight) {
    const quol::FramePtr source = makePicture(64, 48, AV_PIX_FMT_YUV420P);
    const quol::FramePtr wanted = makePicture(40, 30, AV_PIX_FMT_YUV422P);
    ASSERT_TRUE(quol::Scaler().scale(*source, *wanted, SWS_BILINEAR));
    const quol::FramePtr target = makePicture(40, 30, AV_PIX_FMT_YUV422P);
    int failed = 0;
    const int refused = refuseEach([&] {
        quol::Scaler scaler;
        if (!scaler.scale(*source, *target, SWS_BILINEAR)) ++failed;
    });
    EXPECT_GT(refused, 4);
    EXPECT_GT(failed, 4);
    // The same one, short of memory once for each key.
    quol::Scaler scaler;
    int width = 64;
    refuseEach(
        [&] {
            const quol::FramePtr other =
                test::withMemory([&] { return makePicture(width += 2, 48, AV_PIX_FMT_YUV420P); });
            scaler.scale(*other, *target, SWS_BILINEAR);
        },
        [&] {
            ASSERT_TRUE(scaler.scale(*source, *target, SWS_BILINEAR));
            for (int y = 0; y < 30; ++y)
                ASSERT_EQ(std::memcmp(target->data[0] + y * target->linesize[0],
                                      wanted->data[0] + y * wanted->linesize[0], 40),
                          0);
        });
}

TEST(ScaledPictureMemory, WhatThereIsNoneForIsNullAndTheNextIsRight) {
    const quol::FramePtr source = makePicture(64, 48, AV_PIX_FMT_YUV420P);
    quol::ScaledPicture scaled;
    int width = 30;
    EXPECT_GT(refuseEach(
                  [&] {
                      width += 2;
                      scaled.get(*source, width, 30, AV_PIX_FMT_YUV420P);
                  },
                  [&] {
                      const AVFrame* const picture =
                          scaled.get(*source, width, 30, AV_PIX_FMT_YUV420P);
                      ASSERT_NE(picture, nullptr);
                      EXPECT_EQ(picture->width, width);
                  }),
              4);
}

TEST(ResamplerMemory, ABlockForWhichThereIsNoneIsLostAndTheNextComes) {
    const quol::FramePtr sound = makeSound(441, 44100, 1, AV_SAMPLE_FMT_FLTP);
    int lost = 0;
    EXPECT_GT(refuseEach([&] {
                  quol::Resampler resampler(quol::Resampler::Input::followed);
                  if (!resampler.stereoS16(*sound, 48000)) ++lost;
              }),
              4);
    EXPECT_GT(lost, 0);
    quol::Resampler resampler(quol::Resampler::Input::followed);
    int rate = 8000;
    refuseEach(
        [&] {
            const quol::FramePtr other =
                test::withMemory([&] { return makeSound(80, rate += 10, 1, AV_SAMPLE_FMT_FLTP); });
            resampler.stereoS16(*other, 48000);
        },
        [&] { EXPECT_TRUE(resampler.stereoS16(*sound, 48000).has_value()); });
}

TEST(AudioInputMemory, ABlockForWhichThereIsNoneIsLostAndTheNextIsKept) {
    quol::AudioInput input(48000);
    const quol::FramePtr same = makeSound(48, 48000, 2, AV_SAMPLE_FMT_S16);
    const quol::FramePtr other = makeSound(44, 44100, 1, AV_SAMPLE_FMT_FLT);
    EXPECT_GT(refuseEach(
                  [&] {
                      input.push(other.get());
                      input.push(same.get());
                  },
                  [&] {
                      input.setSampleRate(48000);
                      input.push(same.get());
                      EXPECT_EQ(input.pairs(), 48U);
                      input.setSampleRate(48000);
                  }),
              4);
}

TEST(FilterGraphMemory, AGraphForWhichThereIsNoneIsNoneAndTheNextWorks) {
    const quol::FramePtr source = makePicture(64, 48, AV_PIX_FMT_YUV420P);
    quol::FilterGraph graph;
    const auto build = [&] {
        return graph.buildVideo({64, 48, AV_PIX_FMT_YUV420P, {1, 25}, {1, 1}}, "hflip", 0);
    };
    const test::CapturedStream errors(test::CapturedStream::Stream::error);
    const quol::FramePtr filtered(av_frame_alloc());
    EXPECT_GT(refuseEach(
                  [&] {
                      if (build() && graph.send(source.get())) graph.receive(*filtered);
                      av_frame_unref(filtered.get());
                  },
                  [&] {
                      ASSERT_TRUE(build());
                      ASSERT_TRUE(graph.send(source.get()));
                      EXPECT_TRUE(graph.receive(*filtered));
                      av_frame_unref(filtered.get());
                  }),
              20);
}

TEST(LFrameMemory, AFrameForWhichThereIsNoneKeepsTheLastAndTheNextIsFetched) {
    test::refusesFFmpeg = false;
    LFrame frame;
    OpenObject source;
    frame.readerObject(&source);
    int width = 32;
    const auto push = [&](int columns) {
        const quol::FramePtr picture =
            test::withMemory([columns] { return makePicture(columns, 16, AV_PIX_FMT_YUV420P); });
        const quol::FramePtr sound = test::withMemory(
            [columns] { return makeSound(48 + columns, 48000, 2, AV_SAMPLE_FMT_S16); });
        source.distributeVideoFrame(picture.get());
        source.distributeAudioFrame(sound.get());
    };
    push(width);
    EXPECT_GT(
        refuseEach([&] { push(width += 64); },
                   [&] {
                       const LFrame::Video kept = frame.getVideo();
                       EXPECT_EQ(kept.rgba.size(), static_cast<std::size_t>(kept.width) * 16 * 4);
                       const LFrame::Audio heard = frame.getAudio();
                       EXPECT_EQ(heard.audio.size(), static_cast<std::size_t>(heard.samples) * 4);
                       push(width);
                       EXPECT_EQ(frame.getVideo().width, width);
                       EXPECT_EQ(frame.getAudio().samples, 48 + width);
                   }),
        0);
    frame.readerObject(nullptr);
    test::refusesFFmpeg = true;
}

} // namespace
