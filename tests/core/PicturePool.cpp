#include "core/PicturePool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <set>
#include <thread>
#include <vector>

#include "support/ThisProcess.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace {

struct Size {
    int width;
    int height;
};
constexpr Size sizes[] = {{1, 1},   {2, 2},    {3, 5},     {16, 16},   {31, 33},
                          {64, 48}, {101, 57}, {720, 486}, {1279, 719}};

// As FFmpeg itself makes a picture; null where it cannot.
quol::FramePtr plainPicture(int width, int height, AVPixelFormat format) {
    quol::FramePtr frame = quol::makeFrame();
    frame->width = width;
    frame->height = height;
    frame->format = format;
    return av_frame_get_buffer(frame.get(), 32) < 0 ? nullptr : std::move(frame);
}

int bufferCount(const AVFrame& frame) {
    int count = 0;
    while (count < AV_NUM_DATA_POINTERS && frame.buf[count] != nullptr)
        ++count;
    return count;
}

// Where a plane lies: which buffer, and how far behind its begin.
std::pair<int, std::ptrdiff_t> placeOf(const AVFrame& frame, int plane) {
    for (int i = 0; i < bufferCount(frame); ++i) {
        const std::ptrdiff_t offset = frame.data[plane] - frame.buf[i]->data;
        if (offset >= 0 && static_cast<std::size_t>(offset) < frame.buf[i]->size)
            return {i, offset};
    }
    return {-1, 0};
}

void expectSameLayout(const AVFrame& got, const AVFrame& plain) {
    EXPECT_EQ(got.width, plain.width);
    EXPECT_EQ(got.height, plain.height);
    EXPECT_EQ(got.format, plain.format);
    EXPECT_EQ(got.extended_data, got.data);
    ASSERT_EQ(bufferCount(got), bufferCount(plain));
    for (int i = 0; i < bufferCount(got); ++i)
        EXPECT_EQ(got.buf[i]->size, plain.buf[i]->size);
    for (int plane = 0; plane < AV_NUM_DATA_POINTERS; ++plane) {
        SCOPED_TRACE(testing::Message() << "plane " << plane);
        EXPECT_EQ(got.linesize[plane], plain.linesize[plane]);
        ASSERT_EQ(got.data[plane] == nullptr, plain.data[plane] == nullptr);
        if (got.data[plane] == nullptr) continue;
        EXPECT_EQ(placeOf(got, plane), placeOf(plain, plane));
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(got.data[plane]) % 32, 0U);
    }
}

TEST(PicturePool, LaysEveryFormatOutAsAFreshFrameIsAtAnySize) {
    quol::PicturePool pool;
    int formats = 0;
    for (const AVPixFmtDescriptor* one = av_pix_fmt_desc_next(nullptr); one != nullptr;
         one = av_pix_fmt_desc_next(one)) {
        const AVPixelFormat format = av_pix_fmt_desc_get_id(one);
        for (const Size size : sizes) {
            SCOPED_TRACE(testing::Message()
                         << one->name << ' ' << size.width << 'x' << size.height);
            const quol::FramePtr plain = plainPicture(size.width, size.height, format);
            const quol::FramePtr got = pool.get(size.width, size.height, format);
            ASSERT_EQ(got == nullptr, plain == nullptr);
            if (!got) continue;
            ++formats;
            expectSameLayout(*got, *plain);
        }
    }
    EXPECT_GT(formats, 100);
}

TEST(PicturePool, WholeBuffersMayBeWritten) {
    quol::PicturePool pool;
    for (const Size size : sizes) {
        for (const AVPixelFormat format :
             {AV_PIX_FMT_YUV420P, AV_PIX_FMT_NV12, AV_PIX_FMT_RGBA, AV_PIX_FMT_YUVA422P}) {
            const quol::FramePtr frame = pool.get(size.width, size.height, format);
            ASSERT_NE(frame, nullptr);
            EXPECT_GT(av_frame_is_writable(frame.get()), 0);
            for (int i = 0; i < bufferCount(*frame); ++i)
                std::memset(frame->buf[i]->data, 0x5A, frame->buf[i]->size);
        }
    }
}

TEST(PicturePool, PictureIsFreshButForItsMemory) {
    quol::PicturePool pool;
    const std::int64_t unset = quol::makeFrame()->pts;
    for (int round = 0; round < 2; ++round) {
        const quol::FramePtr frame = pool.get(64, 48, AV_PIX_FMT_YUV420P);
        ASSERT_NE(frame, nullptr);
        EXPECT_EQ(frame->pts, unset);
        EXPECT_EQ(frame->metadata, nullptr);
        frame->pts = 12;
        av_dict_set(&frame->metadata, "timecode", "01:00:00:00", 0);
    }
}

TEST(PicturePool, ReleasedMemoryIsUsedAgain) {
    quol::PicturePool pool;
    const std::uint8_t* first = nullptr;
    {
        const quol::FramePtr frame = pool.get(320, 180, AV_PIX_FMT_YUV420P);
        first = frame->data[0];
        std::memset(frame->buf[0]->data, 0x77, frame->buf[0]->size);
    }
    const quol::FramePtr again = pool.get(320, 180, AV_PIX_FMT_YUV420P);
    EXPECT_EQ(again->data[0], first);
    EXPECT_EQ(again->data[0][0], 0x77); // what was last written there
}

TEST(PicturePool, MemoryStaysWithThePictureUntilItsLastReferenceGoes) {
    quol::PicturePool pool;
    quol::FramePtr frame = pool.get(64, 48, AV_PIX_FMT_RGBA);
    const quol::FramePtr reference = quol::cloneFrame(frame.get());
    frame.reset();
    const quol::FramePtr other = pool.get(64, 48, AV_PIX_FMT_RGBA);
    EXPECT_NE(other->data[0], reference->data[0]);
}

TEST(PicturePool, KeepsAsManyPicturesAsWereOutAtOnce) {
    quol::PicturePool pool;
    std::set<const std::uint8_t*> seen;
    for (int round = 0; round < 50; ++round) {
        std::vector<quol::FramePtr> out;
        for (int i = 0; i < 5; ++i) {
            out.push_back(pool.get(160, 90, AV_PIX_FMT_YUV420P));
            seen.insert(out.back()->data[0]);
        }
    }
    EXPECT_EQ(seen.size(), 5U);
}

TEST(PicturePool, WhatAStallHasPiledUpIsGivenBackInTime) {
    constexpr std::size_t picture = 1280 * 720 * 3 / 2;
    quol::PicturePool pool;
    std::vector<quol::FramePtr> stalled;
    const std::size_t before = test::heapOfThisProcess();
    for (int i = 0; i < 60; ++i)
        stalled.push_back(pool.get(1280, 720, AV_PIX_FMT_YUV420P));
    stalled.clear();
    EXPECT_GT(test::heapOfThisProcess(), before + 59 * picture);
    for (int i = 0; i < quol::PicturePool::renewal; ++i)
        ASSERT_NE(pool.get(1280, 720, AV_PIX_FMT_YUV420P), nullptr);
    EXPECT_LT(test::heapOfThisProcess(), before + 2 * picture);
}

TEST(PicturePool, ARenewalLeavesPicturesThatAreOutAlone) {
    quol::PicturePool pool;
    const quol::FramePtr held = pool.get(64, 48, AV_PIX_FMT_YUV420P);
    std::memset(held->buf[0]->data, 0x33, held->buf[0]->size);
    for (int i = 0; i < 2 * quol::PicturePool::renewal + 1; ++i) {
        const quol::FramePtr other = pool.get(64, 48, AV_PIX_FMT_YUV420P);
        ASSERT_NE(other, nullptr);
        ASSERT_NE(other->buf[0]->data, held->buf[0]->data);
        std::memset(other->buf[0]->data, 0x44, other->buf[0]->size);
    }
    EXPECT_EQ(held->data[0][0], 0x33);
    expectSameLayout(*held, *plainPicture(64, 48, AV_PIX_FMT_YUV420P));
}

TEST(PicturePool, PicturesOutAtOnceDoNotShareMemory) {
    quol::PicturePool pool;
    std::vector<quol::FramePtr> out;
    for (int i = 0; i < 20; ++i) {
        out.push_back(pool.get(64, 48, AV_PIX_FMT_YUV420P));
        for (int plane = 0; plane < 3; ++plane)
            std::memset(
                out.back()->data[plane], i,
                static_cast<std::size_t>(out.back()->linesize[plane]) * (plane == 0 ? 48 : 24));
    }
    for (int i = 0; i < 20; ++i) {
        for (int plane = 0; plane < 3; ++plane)
            EXPECT_EQ(out[i]->data[plane][0], i);
    }
}

TEST(PicturePool, AnotherSizeOrFormatGetsAPictureOfItsOwn) {
    quol::PicturePool pool;
    const quol::FramePtr first = pool.get(64, 48, AV_PIX_FMT_YUV420P);
    const quol::FramePtr wider = pool.get(128, 48, AV_PIX_FMT_YUV420P);
    const quol::FramePtr higher = pool.get(128, 96, AV_PIX_FMT_YUV420P);
    const quol::FramePtr packed = pool.get(128, 96, AV_PIX_FMT_RGBA);
    expectSameLayout(*first, *plainPicture(64, 48, AV_PIX_FMT_YUV420P));
    expectSameLayout(*wider, *plainPicture(128, 48, AV_PIX_FMT_YUV420P));
    expectSameLayout(*higher, *plainPicture(128, 96, AV_PIX_FMT_YUV420P));
    expectSameLayout(*packed, *plainPicture(128, 96, AV_PIX_FMT_RGBA));
}

TEST(PicturePool, SizeOrFormatThatNoPictureCanHaveGivesNone) {
    quol::PicturePool pool;
    EXPECT_EQ(pool.get(0, 48, AV_PIX_FMT_YUV420P), nullptr);
    EXPECT_EQ(pool.get(64, 0, AV_PIX_FMT_YUV420P), nullptr);
    EXPECT_EQ(pool.get(-64, 48, AV_PIX_FMT_YUV420P), nullptr);
    EXPECT_EQ(pool.get(64, -48, AV_PIX_FMT_YUV420P), nullptr);
    EXPECT_EQ(pool.get(64, 48, AV_PIX_FMT_NONE), nullptr);
    EXPECT_EQ(pool.get(INT32_MAX, INT32_MAX, AV_PIX_FMT_YUV420P), nullptr);
    // A good size after a bad one, the same as before it, works.
    EXPECT_NE(pool.get(64, 48, AV_PIX_FMT_YUV420P), nullptr);
    EXPECT_EQ(pool.get(0, 0, AV_PIX_FMT_YUV420P), nullptr);
    EXPECT_NE(pool.get(64, 48, AV_PIX_FMT_YUV420P), nullptr);
}

TEST(PicturePool, PictureOutlivesThePool) {
    auto pool = std::make_unique<quol::PicturePool>();
    const quol::FramePtr frame = pool->get(64, 48, AV_PIX_FMT_YUV420P);
    pool.reset();
    std::memset(frame->buf[0]->data, 1, frame->buf[0]->size);
    EXPECT_EQ(frame->data[0][0], 1);
}

TEST(PicturePool, ClearGivesTheKeptMemoryBackAndThePoolGoesOn) {
    quol::PicturePool pool;
    pool.clear();
    const quol::FramePtr out = pool.get(64, 48, AV_PIX_FMT_YUV420P);
    pool.clear();
    out->data[0][0] = 9; // still the owner's
    const quol::FramePtr next = pool.get(64, 48, AV_PIX_FMT_YUV420P);
    ASSERT_NE(next, nullptr);
    EXPECT_NE(next->data[0], out->data[0]);
}

TEST(PicturePool, ServesSeveralThreadsAtOnce) {
    quol::PicturePool pool;
    std::atomic<int> bad{0};
    const auto work = [&](int number) {
        for (int i = 0; i < 300; ++i) {
            const int width = i % 50 == 0 ? 80 : 64; // now and then another layout
            const quol::FramePtr frame = pool.get(width, 48, AV_PIX_FMT_YUV420P);
            std::memset(frame->data[0], number, static_cast<std::size_t>(width));
            std::this_thread::yield();
            if (std::any_of(frame->data[0], frame->data[0] + width,
                            [number](int level) { return level != number; }))
                ++bad;
        }
    };
    std::vector<std::thread> threads;
    for (int number = 1; number <= 4; ++number)
        threads.emplace_back(work, number);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(bad, 0);
}

} // namespace
