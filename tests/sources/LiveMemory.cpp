#include "sources/LiveMemory.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using quol::DevicePicture;
using quol::viewPicture;

std::vector<std::uint8_t> memory(std::size_t bytes = 1 << 16) {
    return std::vector<std::uint8_t>(bytes, 7);
}

TEST(LiveMemory, PackedRowsLieAtTheirStride) {
    const auto bytes = memory();
    std::size_t size = 0;
    const auto tight = viewPicture({bytes.data(), 10, 4, AV_PIX_FMT_UYVY422, 0}, size);
    ASSERT_TRUE(tight);
    EXPECT_EQ(tight->data[0], bytes.data());
    EXPECT_EQ(tight->linesize[0], 20);
    EXPECT_EQ(size, 80U);
    const auto padded = viewPicture({bytes.data(), 10, 4, AV_PIX_FMT_UYVY422, 64}, size);
    ASSERT_TRUE(padded);
    EXPECT_EQ(padded->linesize[0], 64);
    EXPECT_EQ(size, 256U);
}

TEST(LiveMemory, PlanesLieBehindEachOther) {
    const auto bytes = memory();
    std::size_t size = 0;
    const auto planar = viewPicture({bytes.data(), 16, 8, AV_PIX_FMT_YUV420P, 32}, size);
    ASSERT_TRUE(planar);
    EXPECT_EQ(planar->data[1] - bytes.data(), 256);
    EXPECT_EQ(planar->linesize[1], 16);
    EXPECT_EQ(planar->data[2] - bytes.data(), 256 + 64);
    EXPECT_EQ(size, 256U + 128U);
    const auto pairs = viewPicture({bytes.data(), 16, 8, AV_PIX_FMT_NV12, 0}, size);
    ASSERT_TRUE(pairs);
    EXPECT_EQ(pairs->data[1] - bytes.data(), 128);
    EXPECT_EQ(pairs->linesize[1], 16);
    EXPECT_EQ(size, 192U);
}

TEST(LiveMemory, WhatMakesNoPictureIsRefused) {
    const auto bytes = memory();
    std::size_t size = 0;
    EXPECT_FALSE(viewPicture({nullptr, 16, 8, AV_PIX_FMT_UYVY422, 0}, size));
    EXPECT_FALSE(viewPicture({bytes.data(), 0, 8, AV_PIX_FMT_UYVY422, 0}, size));
    EXPECT_FALSE(viewPicture({bytes.data(), 16, -8, AV_PIX_FMT_UYVY422, 0}, size));
    EXPECT_FALSE(viewPicture({bytes.data(), 16, 8, AV_PIX_FMT_UYVY422, 31}, size));
    EXPECT_FALSE(viewPicture({bytes.data(), 16, 8, AV_PIX_FMT_UYVY422, -32}, size));
    EXPECT_FALSE(viewPicture({bytes.data(), 16, 8, AV_PIX_FMT_NONE, 0}, size));
    EXPECT_FALSE(viewPicture({bytes.data(), 16, 8, AV_PIX_FMT_YUV422P10LE, 0}, size));
    EXPECT_FALSE(viewPicture({bytes.data(), 1 << 30, 1 << 30, AV_PIX_FMT_BGRA, 0}, size));
}

TEST(LiveMemory, LentMemoryGoesBackWithTheLastReference) {
    const auto bytes = memory();
    std::size_t size = 0;
    auto frame = viewPicture({bytes.data(), 16, 8, AV_PIX_FMT_BGRA, 0}, size);
    static int returned = 0;
    returned = 0;
    auto holder = std::make_unique<int>(5);
    ASSERT_TRUE(quol::lendMemory(*frame, size, holder, [](void* opaque, std::uint8_t*) {
        returned += *std::unique_ptr<int>(static_cast<int*>(opaque));
    }));
    EXPECT_FALSE(holder);
    EXPECT_EQ(av_frame_is_writable(frame.get()), 0);
    auto other = quol::cloneFrame(frame.get());
    frame.reset();
    EXPECT_EQ(returned, 0);
    other.reset();
    EXPECT_EQ(returned, 5);
}

// Samples U Y V Y of ten bits, three to a word.
std::vector<std::uint8_t> packV210(const std::vector<int>& samples, std::size_t rowBytes) {
    std::vector<std::uint8_t> row(rowBytes, 0);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const auto bits = static_cast<std::uint32_t>(samples[i]) << i % 3 * 10;
        for (std::size_t byte = 0; byte < 4; ++byte)
            row[i / 3 * 4 + byte] |= static_cast<std::uint8_t>(bits >> byte * 8);
    }
    return row;
}

TEST(LiveMemory, TenBitPicturesAreUnpacked) {
    const int width = 13;
    std::vector<int> samples;
    for (int i = 0; i < 28; ++i) // seven pairs of columns
        samples.push_back(i * 37 % 1024);
    auto bytes = packV210(samples, 128);
    const auto second = packV210(std::vector<int>(28, 1023), 128);
    bytes.insert(bytes.end(), second.begin(), second.end());

    const quol::FramePtr frame(av_frame_alloc());
    frame->width = width;
    frame->height = 2;
    frame->format = AV_PIX_FMT_YUV422P10LE;
    ASSERT_GE(av_frame_get_buffer(frame.get(), 32), 0);
    ASSERT_TRUE(quol::unpackV210(bytes.data(), 128, *frame));
    const auto* y = reinterpret_cast<const std::uint16_t*>(frame->data[0]);
    const auto* u = reinterpret_cast<const std::uint16_t*>(frame->data[1]);
    const auto* v = reinterpret_cast<const std::uint16_t*>(frame->data[2]);
    for (int x = 0; x < width; ++x)
        EXPECT_EQ(y[x], samples[static_cast<std::size_t>(2 * x + 1)]) << x;
    for (int x = 0; x < 7; ++x) {
        EXPECT_EQ(u[x], samples[static_cast<std::size_t>(4 * x)]) << x;
        EXPECT_EQ(v[x], samples[static_cast<std::size_t>(4 * x + 2)]) << x;
    }
    const auto* below = reinterpret_cast<const std::uint16_t*>(frame->data[0] + frame->linesize[0]);
    EXPECT_EQ(below[width - 1], 1023);
    EXPECT_FALSE(quol::unpackV210(bytes.data(), 36, *frame)); // 28 samples take 40 bytes
}

} // namespace
