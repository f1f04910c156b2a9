#include "quolsdk/LFrame.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "quolsdk/LObject.h"
#include "support/CapturedStream.h"
#include "support/Frames.h"
#include "support/RefusingSource.h"

// All memory of this program that is asked for with new has a fence behind it, which must stand
// when it is given back. What FFmpeg's vector code writes, no sanitizer sees.
namespace {

constexpr std::size_t head = 16; // holds the size; keeps what follows aligned
constexpr std::size_t fence = 256;
constexpr int fenceByte = 0xFD;
std::atomic<int> brokenFences{0};

void* allocateFenced(std::size_t bytes) {
    auto* memory = static_cast<unsigned char*>(std::malloc(head + bytes + fence));
    if (memory == nullptr) throw std::bad_alloc();
    std::memcpy(memory, &bytes, sizeof bytes);
    std::memset(memory + head + bytes, fenceByte, fence);
    return memory + head;
}

void freeFenced(void* pointer) {
    if (pointer == nullptr) return;
    unsigned char* memory = static_cast<unsigned char*>(pointer) - head;
    std::size_t bytes = 0;
    std::memcpy(&bytes, memory, sizeof bytes);
    for (std::size_t i = 0; i < fence; ++i) {
        if (memory[head + bytes + i] == fenceByte) continue;
        ++brokenFences;
        break;
    }
    std::free(memory);
}

} // namespace

void* operator new(std::size_t bytes) {
    return allocateFenced(bytes);
}
void operator delete(void* pointer) noexcept {
    freeFenced(pointer);
}
void operator delete(void* pointer, std::size_t) noexcept {
    freeFenced(pointer);
}

namespace {

using test::CapturedStream;

quol::FramePtr picture(int width, int height, AVPixelFormat format = AV_PIX_FMT_YUV420P,
                       unsigned seed = 1) {
    return test::makePicture(width, height, format, 0, {1, 25}, seed);
}

// A conversion to RGBA of one's own.
std::vector<std::uint8_t> rgbaOf(const AVFrame& frame) {
    // Into rows with room to spare: swscale leaves out the end of a row that is no whole number of
    // its groups of pixels.
    const std::size_t row = static_cast<std::size_t>(frame.width) * 4;
    const std::size_t stride = row + 256;
    std::vector<std::uint8_t> padded(stride * static_cast<std::size_t>(frame.height));
    const quol::SwsPtr context(sws_getContext(
        frame.width, frame.height, static_cast<AVPixelFormat>(frame.format), frame.width,
        frame.height, AV_PIX_FMT_RGBA, SWS_BILINEAR, nullptr, nullptr, nullptr));
    std::uint8_t* const planes[4] = {padded.data()};
    const int strides[4] = {static_cast<int>(stride)};
    sws_scale(context.get(), frame.data, frame.linesize, 0, frame.height, planes, strides);
    std::vector<std::uint8_t> pixels;
    for (std::size_t y = 0; y < static_cast<std::size_t>(frame.height); ++y) {
        const auto begin = padded.begin() + static_cast<std::ptrdiff_t>(y * stride);
        pixels.insert(pixels.end(), begin, begin + static_cast<std::ptrdiff_t>(row));
    }
    return pixels;
}

TEST(LFrame, GetVideoBeforeTheFirstFrameIsEmptyWithTheZeroTimecode) {
    const LFrame tap;
    const LFrame::Video video = tap.getVideo();
    EXPECT_EQ(video.width, 0);
    EXPECT_EQ(video.height, 0);
    EXPECT_EQ(video.stride, 0);
    EXPECT_TRUE(video.rgba.empty());
    EXPECT_EQ(video.timecode, "00:00:00:00");
}

TEST(LFrame, GetAudioBeforeTheFirstFrameIsEmpty) {
    const LFrame tap;
    const LFrame::Audio audio = tap.getAudio();
    EXPECT_EQ(audio.channels, 0);
    EXPECT_EQ(audio.sampleRate, 0);
    EXPECT_EQ(audio.samples, 0);
    EXPECT_TRUE(audio.audio.empty());
}

TEST(LFrame, PictureIsThatOfABilinearConversionForAnyFormatAndSize) {
    LFrame tap;
    for (const AVPixelFormat format :
         {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_NV12, AV_PIX_FMT_UYVY422,
          AV_PIX_FMT_RGB24, AV_PIX_FMT_BGRA, AV_PIX_FMT_GRAY8, AV_PIX_FMT_YUV422P10LE,
          AV_PIX_FMT_GBRP, AV_PIX_FMT_YUVA420P}) {
        for (const auto& [width, height] : {std::pair{64, 48}, {33, 17}, {2, 2}, {320, 180}}) {
            const quol::FramePtr frame = picture(width, height, format);
            tap.pushVideoFrame(frame.get());
            const LFrame::Video video = tap.getVideo();
            ASSERT_EQ(video.width, width);
            ASSERT_EQ(video.height, height);
            ASSERT_EQ(video.stride, width * 4);
            ASSERT_EQ(video.rgba.size(), static_cast<std::size_t>(width * height * 4));
            ASSERT_TRUE(video.rgba == rgbaOf(*frame)) << format << ' ' << width << 'x' << height;
        }
    }
}

TEST(LFrame, NothingIsWrittenBeyondThePicturesMemory) {
    const int before = brokenFences;
    for (const AVPixelFormat format :
         {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUVA420P, AV_PIX_FMT_NV12,
          AV_PIX_FMT_UYVY422, AV_PIX_FMT_RGB24, AV_PIX_FMT_RGBA, AV_PIX_FMT_YUV422P10LE}) {
        for (int width = 1; width <= 70; ++width) {
            LFrame tap; // memory of just this size
            tap.pushVideoFrame(picture(width, 4, format).get());
            ASSERT_EQ(tap.getVideo().width, width);
        }
    }
    EXPECT_EQ(brokenFences, before);
}

TEST(LFrame, RgbaComesThroughByteForByte) {
    LFrame tap;
    const quol::FramePtr frame = picture(33, 17, AV_PIX_FMT_RGBA);
    tap.pushVideoFrame(frame.get());
    const LFrame::Video video = tap.getVideo();
    ASSERT_EQ(video.rgba.size(), 33U * 17 * 4);
    for (int row = 0; row < 17; ++row) {
        EXPECT_EQ(std::memcmp(video.rgba.data() + row * 33 * 4,
                              frame->data[0] + row * frame->linesize[0], 33 * 4),
                  0)
            << row;
    }
}

TEST(LFrame, KeepsTheLatestPictureAndGivesItAnyNumberOfTimes) {
    LFrame tap;
    const quol::FramePtr first = picture(32, 16, AV_PIX_FMT_RGBA, 1);
    const quol::FramePtr second = picture(32, 16, AV_PIX_FMT_RGBA, 2);
    tap.pushVideoFrame(first.get());
    EXPECT_EQ(tap.getVideo().rgba, rgbaOf(*first));
    tap.pushVideoFrame(second.get());
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(tap.getVideo().rgba, rgbaOf(*second));
}

TEST(LFrame, KeepsTheLatestBlockAndGivesItAnyNumberOfTimes) {
    LFrame tap;
    const quol::FramePtr sound = test::makeSound(100, 48000, 2, AV_SAMPLE_FMT_S16, 960);
    tap.pushAudioFrame(sound.get());
    for (int i = 0; i < 3; ++i) {
        const LFrame::Audio audio = tap.getAudio();
        ASSERT_EQ(audio.audio.size(), 400U);
        EXPECT_EQ(std::memcmp(audio.audio.data(), sound->data[0], 400), 0);
    }
}

TEST(LFrame, WhatIsFetchedIsTheHosts) {
    LFrame tap;
    tap.pushVideoFrame(picture(32, 16).get());
    LFrame::Video mine = tap.getVideo();
    const std::vector<std::uint8_t> before = mine.rgba;
    mine.rgba.assign(mine.rgba.size(), 0);
    mine.timecode = "mine";
    EXPECT_EQ(tap.getVideo().rgba, before);
    EXPECT_EQ(tap.getVideo().timecode, "00:00:00:00");
}

TEST(LFrame, FrameIsBorrowedForTheCall) {
    LFrame tap;
    const quol::FramePtr frame = picture(32, 16);
    tap.pushVideoFrame(frame.get());
    EXPECT_EQ(av_buffer_get_ref_count(frame->buf[0]), 1);
    const quol::FramePtr sound = test::makeSound(480, 48000, 2, AV_SAMPLE_FMT_FLTP);
    tap.pushAudioFrame(sound.get());
    EXPECT_EQ(av_buffer_get_ref_count(sound->buf[0]), 1);
}

TEST(LFrame, SourceChangeOfFrameSizeResizesThePictureAtTheNextPush) {
    LFrame tap;
    for (const auto& [width, height] : {std::pair{64, 48}, {320, 180}, {16, 16}, {64, 48}}) {
        tap.pushVideoFrame(picture(width, height).get());
        EXPECT_EQ(tap.getVideo().width, width);
        EXPECT_EQ(tap.getVideo().height, height);
        EXPECT_EQ(tap.getVideo().rgba.size(), static_cast<std::size_t>(width * height * 4));
    }
}

TEST(LFrame, FrameWithoutTimecodeMetadataLeavesTheLastTimecodeInPlace) {
    LFrame tap;
    const auto push = [&tap](const char* timecode) {
        const quol::FramePtr frame = picture(16, 16);
        if (timecode != nullptr) av_dict_set(&frame->metadata, "timecode", timecode, 0);
        tap.pushVideoFrame(frame.get());
        return tap.getVideo().timecode;
    };
    EXPECT_EQ(push(nullptr), "00:00:00:00");
    EXPECT_EQ(push("01:02:03:04"), "01:02:03:04");
    EXPECT_EQ(push(nullptr), "01:02:03:04");
    EXPECT_EQ(push("01:02:03:05"), "01:02:03:05");
    EXPECT_EQ(push("any text"), "any text");
    EXPECT_EQ(push(""), "");
}

TEST(LFrame, NullFramesAreIgnored) {
    LFrame tap;
    tap.pushVideoFrame(picture(32, 16).get());
    tap.pushAudioFrame(test::makeSound(480, 48000, 2, AV_SAMPLE_FMT_S16).get());
    const LFrame::Video video = tap.getVideo();
    const LFrame::Audio audio = tap.getAudio();
    tap.pushVideoFrame(nullptr);
    tap.pushAudioFrame(nullptr);
    EXPECT_EQ(tap.getVideo().rgba, video.rgba);
    EXPECT_EQ(tap.getAudio().audio, audio.audio);
}

TEST(LFrame, SoundWithoutSamplesInMemoryIsDropped) {
    LFrame tap;
    const quol::FramePtr sound = quol::makeFrame();
    sound->format = AV_SAMPLE_FMT_S16;
    sound->sample_rate = 48000;
    sound->nb_samples = 100;
    av_channel_layout_default(&sound->ch_layout, 2);
    tap.pushAudioFrame(sound.get());
    EXPECT_EQ(tap.getAudio().samples, 0);
}

TEST(LFrame, SourceThatCouldNotBeHadIsNotLeftEither) {
    test::RefusingSource source;
    {
        LFrame tap;
        EXPECT_THROW(tap.readerObject(&source), std::bad_alloc);
    }
    EXPECT_EQ(source.left, 0);
}

TEST(LFrame, FrameThatCannotBeConvertedKeepsThePreviousPicture) {
    LFrame tap;
    const quol::FramePtr good = picture(32, 16);
    av_dict_set(&good->metadata, "timecode", "01:00:00:00", 0);
    tap.pushVideoFrame(good.get());
    const std::vector<std::uint8_t> before = tap.getVideo().rgba;

    const auto expectKept = [&](const quol::FramePtr& bad) {
        av_dict_set(&bad->metadata, "timecode", "02:00:00:00", 0);
        tap.pushVideoFrame(bad.get());
        EXPECT_EQ(tap.getVideo().width, 32);
        EXPECT_EQ(tap.getVideo().height, 16);
        EXPECT_EQ(tap.getVideo().rgba, before);
        EXPECT_EQ(tap.getVideo().timecode, "01:00:00:00");
    };
    expectKept(quol::makeFrame());
    const quol::FramePtr noFormat = picture(32, 16);
    noFormat->format = AV_PIX_FMT_NONE;
    expectKept(noFormat);
    const quol::FramePtr deviceMemory = picture(32, 16);
    deviceMemory->format = AV_PIX_FMT_VAAPI;
    expectKept(deviceMemory);
    for (const auto& [width, height] : {std::pair{0, 16}, {32, 0}, {-32, 16}, {32, -16}}) {
        const quol::FramePtr noSize = picture(32, 16);
        noSize->width = width;
        noSize->height = height;
        expectKept(noSize);
    }
    for (const int width : {32, 31}) {
        const quol::FramePtr noData = quol::makeFrame();
        noData->width = width;
        noData->height = 8;
        noData->format = AV_PIX_FMT_YUV420P;
        expectKept(noData);
    }
    tap.pushVideoFrame(picture(64, 48).get()); // and a good one behind it shows again
    EXPECT_EQ(tap.getVideo().width, 64);
}

std::vector<std::int16_t> samplesOf(const LFrame::Audio& audio) {
    std::vector<std::int16_t> samples(audio.audio.size() / 2);
    std::memcpy(samples.data(), audio.audio.data(), audio.audio.size());
    return samples;
}

TEST(LFrame, SoundBecomesInterleavedStereoShorts) {
    for (const AVSampleFormat format :
         {AV_SAMPLE_FMT_S16, AV_SAMPLE_FMT_S16P, AV_SAMPLE_FMT_FLT, AV_SAMPLE_FMT_FLTP}) {
        LFrame tap;
        const quol::FramePtr sound = test::makeSound(960, 44100, 2, format);
        tap.pushAudioFrame(sound.get());
        const LFrame::Audio audio = tap.getAudio();
        EXPECT_EQ(audio.channels, 2);
        EXPECT_EQ(audio.sampleRate, 44100);
        EXPECT_EQ(audio.samples, 960);
        ASSERT_EQ(audio.audio.size(), 960U * 4);
        const std::vector<std::int16_t> samples = samplesOf(audio);
        for (std::size_t i = 0; i < 960; ++i) {
            const double expected =
                3276.7 * std::sin(2 * M_PI * 1000.0 * static_cast<double>(i) / 44100);
            ASSERT_NEAR(samples[i * 2], expected, 1.5);
            ASSERT_EQ(samples[i * 2], samples[i * 2 + 1]);
        }
    }
}

TEST(LFrame, StereoShortsComeThroughByteForByte) {
    LFrame tap;
    const quol::FramePtr sound = test::makeSound(480, 48000, 2, AV_SAMPLE_FMT_S16, 77);
    tap.pushAudioFrame(sound.get());
    const LFrame::Audio audio = tap.getAudio();
    ASSERT_EQ(audio.audio.size(), 1920U);
    EXPECT_EQ(std::memcmp(audio.audio.data(), sound->data[0], 1920), 0);
}

TEST(LFrame, OtherChannelCountsBecomeStereo) {
    for (const int channels : {1, 6, 8}) {
        LFrame tap;
        tap.pushAudioFrame(test::makeSound(480, 48000, channels, AV_SAMPLE_FMT_FLTP).get());
        const LFrame::Audio audio = tap.getAudio();
        EXPECT_EQ(audio.channels, 2);
        EXPECT_EQ(audio.samples, 480);
        EXPECT_EQ(audio.audio.size(), 1920U);
    }
}

TEST(LFrame, EachPushOfSoundReplacesTheBlockBefore) {
    LFrame tap;
    tap.pushAudioFrame(test::makeSound(960, 48000, 2, AV_SAMPLE_FMT_S16, 0).get());
    const quol::FramePtr second = test::makeSound(100, 48000, 2, AV_SAMPLE_FMT_S16, 960);
    tap.pushAudioFrame(second.get());
    const LFrame::Audio audio = tap.getAudio();
    EXPECT_EQ(audio.samples, 100);
    ASSERT_EQ(audio.audio.size(), 400U);
    EXPECT_EQ(std::memcmp(audio.audio.data(), second->data[0], 400), 0);
}

TEST(LFrame, ResamplerIsNeverRebuiltAndSoundOfAnotherFormKeepsTheBlockBefore) {
    LFrame tap;
    tap.pushAudioFrame(test::makeSound(480, 48000, 2, AV_SAMPLE_FMT_S16).get());
    const std::vector<std::uint8_t> before = tap.getAudio().audio;
    tap.pushAudioFrame(test::makeSound(100, 48000, 2, AV_SAMPLE_FMT_FLTP).get());
    tap.pushAudioFrame(test::makeSound(100, 48000, 6, AV_SAMPLE_FMT_S16).get());
    EXPECT_EQ(tap.getAudio().samples, 480);
    EXPECT_EQ(tap.getAudio().audio, before);
}

TEST(LFrame, AnotherRateGoesThroughSampleBySampleAndIsTold) {
    LFrame tap;
    tap.pushAudioFrame(test::makeSound(480, 48000, 2, AV_SAMPLE_FMT_S16).get());
    const quol::FramePtr faster = test::makeSound(960, 96000, 2, AV_SAMPLE_FMT_S16, 10);
    tap.pushAudioFrame(faster.get());
    const LFrame::Audio audio = tap.getAudio();
    EXPECT_EQ(audio.sampleRate, 96000);
    EXPECT_EQ(audio.samples, 960);
    EXPECT_EQ(std::memcmp(audio.audio.data(), faster->data[0], 960 * 4), 0);
}

TEST(LFrame, BlockLargerThanTheBufferIsCutAt48000Samples) {
    LFrame tap;
    const quol::FramePtr sound = test::makeSound(50000, 48000, 2, AV_SAMPLE_FMT_S16);
    tap.pushAudioFrame(sound.get());
    const LFrame::Audio audio = tap.getAudio();
    EXPECT_EQ(audio.samples, 48000);
    ASSERT_EQ(audio.audio.size(), 192000U);
    EXPECT_EQ(std::memcmp(audio.audio.data(), sound->data[0], 192000), 0);
}

TEST(LFrame, SoundThatCannotBeConvertedIsDropped) {
    LFrame tap;
    tap.pushAudioFrame(quol::makeFrame().get());
    const quol::FramePtr noRate = test::makeSound(480, 48000, 2, AV_SAMPLE_FMT_S16);
    noRate->sample_rate = 0;
    tap.pushAudioFrame(noRate.get());
    EXPECT_EQ(tap.getAudio().channels, 0);
    tap.pushAudioFrame(test::makeSound(480, 48000, 2, AV_SAMPLE_FMT_S16).get());
    EXPECT_EQ(tap.getAudio().samples, 480);
    const quol::FramePtr empty = test::makeSound(480, 48000, 2, AV_SAMPLE_FMT_S16);
    empty->nb_samples = 0;
    tap.pushAudioFrame(empty.get());
    EXPECT_EQ(tap.getAudio().samples, 480);
}

std::string line(const char* format, const LObject& source, const LSink& sink) {
    char text[128];
    std::snprintf(text, sizeof text, format, static_cast<const void*>(&source),
                  static_cast<const void*>(&sink));
    return text;
}

std::string addLine(const LObject& source, const LSink& sink) {
    return line("[LObject] addSink this=%p sink=%p\n", source, sink);
}

std::string removeLines(const LObject& source, const LSink& sink) {
    return line("[LObject] removeSink this=%p sink=%p\n", source, sink) +
           "[LObject] removeSink success!\n";
}

TEST(LFrame, ReaderObjectWithTheSameSourceTwiceRemovesAndAddsAgain) {
    LObject source;
    LFrame tap;
    CapturedStream out(CapturedStream::Stream::output);
    tap.readerObject(&source);
    EXPECT_EQ(out.text(), addLine(source, tap));
    tap.readerObject(&source);
    EXPECT_EQ(out.text(), addLine(source, tap) + removeLines(source, tap) + addLine(source, tap));
    tap.readerObject(nullptr);
}

TEST(LFrame, ReaderObjectTwiceStillGetsEveryFrameOnce) {
    LObject source;
    LFrame tap;
    tap.readerObject(&source);
    tap.readerObject(&source);
    tap.readerObject(nullptr);
    source.distributeVideoFrame(picture(32, 16).get());
    EXPECT_EQ(tap.getVideo().width, 0);
}

TEST(LFrame, ReaderObjectMovesFromSourceToSource) {
    LObject first;
    LObject second;
    LFrame tap;
    tap.readerObject(&first);
    first.distributeVideoFrame(picture(32, 16).get());
    EXPECT_EQ(tap.getVideo().width, 32);
    tap.readerObject(&second);
    first.distributeVideoFrame(picture(64, 48).get());
    EXPECT_EQ(tap.getVideo().width, 32);
    second.distributeVideoFrame(picture(96, 48).get());
    second.distributeAudioFrame(test::makeSound(480, 48000, 2, AV_SAMPLE_FMT_S16).get());
    EXPECT_EQ(tap.getVideo().width, 96);
    EXPECT_EQ(tap.getAudio().samples, 480);
}

TEST(LFrame, NullSourceOnlyDetachesAndKeepsThePicture) {
    LObject source;
    LFrame tap;
    {
        CapturedStream out(CapturedStream::Stream::output);
        tap.readerObject(nullptr);
        EXPECT_EQ(out.text(), "");
    }
    tap.readerObject(&source);
    source.distributeVideoFrame(picture(32, 16).get());
    CapturedStream out(CapturedStream::Stream::output);
    tap.readerObject(nullptr);
    EXPECT_EQ(out.text(), removeLines(source, tap));
    source.distributeVideoFrame(picture(64, 48).get());
    EXPECT_EQ(tap.getVideo().width, 32);
}

TEST(LFrame, DestructorLeavesItsSource) {
    LObject source;
    auto tap = std::make_unique<LFrame>();
    tap->readerObject(&source);
    const std::string expected = removeLines(source, *tap);
    CapturedStream out(CapturedStream::Stream::output);
    tap.reset();
    EXPECT_EQ(out.text(), expected);
    source.distributeVideoFrame(picture(32, 16).get()); // reaches nobody
}

TEST(LFrameThreads, HostFetchesAndMovesWhileSourcesPush) {
    CapturedStream quiet(CapturedStream::Stream::output);
    LObject first;
    LObject second;
    LFrame tap;
    std::atomic<bool> running{true};
    const auto produce = [&running](LObject& source, int width) {
        const quol::FramePtr small = picture(width, 16, AV_PIX_FMT_RGBA);
        const quol::FramePtr large = picture(width * 2, 32, AV_PIX_FMT_RGBA);
        const quol::FramePtr sound = test::makeSound(480, 48000, 2, AV_SAMPLE_FMT_S16);
        while (running) {
            source.distributeVideoFrame(small.get());
            source.distributeVideoFrame(large.get());
            source.distributeAudioFrame(sound.get());
        }
    };
    std::thread firstWorker(produce, std::ref(first), 32);
    std::thread secondWorker(produce, std::ref(second), 48);
    std::thread mover([&] {
        for (int i = 0; i < 300; ++i) {
            tap.readerObject(&first);
            tap.readerObject(&second);
            tap.readerObject(nullptr);
        }
        tap.readerObject(&first);
    });
    int odd = 0;
    for (int i = 0; i < 1000; ++i) {
        const LFrame::Video video = tap.getVideo();
        if (video.stride != video.width * 4) ++odd;
        if (video.rgba.size() != static_cast<std::size_t>(video.stride * video.height)) ++odd;
        const LFrame::Audio audio = tap.getAudio();
        if (audio.audio.size() != static_cast<std::size_t>(audio.samples) * 4) ++odd;
    }
    mover.join();
    running = false;
    firstWorker.join();
    secondWorker.join();
    EXPECT_EQ(odd, 0);
}

} // namespace
