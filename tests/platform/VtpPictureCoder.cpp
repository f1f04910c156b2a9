// Pictures in strips: what may come from a sender that lies.
#include "platform/vtp/PictureCoder.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "platform/vtp/Bytes.h"
#include "platform/vtp/StripCheck.h"
#include "support/CapturedStream.h"
#include "support/VtpEnds.h"

namespace {

using namespace quol::vtp;

constexpr std::uint32_t width = 96;
constexpr std::uint32_t height = 70;
constexpr std::uint32_t bgr = 2;

std::vector<std::uint8_t> codedPicture() {
    BlockPool pool;
    PictureEncoder encoder(CodingBudget::bytesAt(50));
    const auto picture = test::vtpPicture(width, height, 3, 1);
    const BlockPtr coded = encoder.encode(picture.data(), width, height, bgr, 0, pool);
    return {coded->data(), coded->data() + coded->size()};
}

bool isDecoded(const std::vector<std::uint8_t>& coded, std::uint32_t w = width,
               std::uint32_t h = height) {
    BlockPool pool;
    PictureDecoder decoder;
    const BlockPtr picture = decoder.decode(coded, w, h, bgr, pool);
    EXPECT_TRUE(!picture || picture->size() == std::size_t{3} * w * h);
    return picture != nullptr;
}

TEST(VtpPictureCoder, stripsLieAsDescribed) {
    const auto coded = codedPicture();
    const auto count = getNumber<std::uint32_t>(coded.data());
    const auto rows = getNumber<std::uint32_t>(coded.data() + 4);
    EXPECT_EQ(rows, 16u);
    ASSERT_EQ(count, 5u); // 70 rows
    std::size_t at = 8 + 4 * count;
    for (std::uint32_t i = 0; i < count; ++i) {
        const auto size = getNumber<std::uint32_t>(coded.data() + 8 + 4 * i);
        ASSERT_LE(at + size, coded.size());
        EXPECT_EQ(coded[at], 0xff); // a JPEG picture from its beginning
        EXPECT_EQ(coded[at + 1], 0xd8);
        EXPECT_EQ(coded[at + size - 2], 0xff); // to its end
        EXPECT_EQ(coded[at + size - 1], 0xd9);
        at += size;
    }
    EXPECT_EQ(at, coded.size());
    EXPECT_TRUE(isDecoded(coded));
}

TEST(VtpPictureCoder, stripsOfCommonSizesAreEightOrFewer) {
    for (const auto& [rows, strip] :
         {std::pair(1080u, 144u), std::pair(720u, 96u), std::pair(576u, 80u),
          std::pair(2160u, 272u), std::pair(16u, 16u), std::pair(1u, 16u)})
        EXPECT_EQ(stripRows(rows, 8), strip) << rows;
}

TEST(VtpPictureCoder, wrongStripsAreRefused) {
    const auto good = codedPicture();
    const auto with = [&good](std::size_t at, std::uint32_t value) {
        auto bad = good;
        putNumber(&bad[at], value);
        return bad;
    };
    for (const std::uint32_t count : {0u, 1u, 4u, 6u, 17u, 0x40000000u, 0xffffffffu})
        EXPECT_FALSE(isDecoded(with(0, count))) << count;
    for (const std::uint32_t rows : {0u, 1u, 15u, 70u, 0x80000000u, 0xffffffffu})
        EXPECT_FALSE(isDecoded(with(4, rows))) << rows;
    const auto first = getNumber<std::uint32_t>(&good[8]);
    for (const std::uint32_t size : {0u, 1u, first - 1, first + 1, 0x7fffffffu, 0xffffffffu})
        EXPECT_FALSE(isDecoded(with(8, size))) << size;
    auto longer = good;
    longer.push_back(0);
    EXPECT_FALSE(isDecoded(longer));
    for (std::size_t size = 0; size < 40; ++size)
        EXPECT_FALSE(isDecoded({good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size)}));
    // Strips of another size than was announced.
    EXPECT_FALSE(isDecoded(good, width + 16));
    EXPECT_FALSE(isDecoded(good, width - 16));
    EXPECT_FALSE(isDecoded(good, 8192));
    EXPECT_FALSE(isDecoded(good, width, height + 4));
    EXPECT_TRUE(isDecoded(good));
}

TEST(VtpPictureCoder, onlyPlainJpegOfTheRightSizeIsShownToTheDecoder) {
    const auto coded = codedPicture();
    const auto size = getNumber<std::uint32_t>(coded.data() + 8);
    const std::vector<std::uint8_t> strip(coded.begin() + 28, coded.begin() + 28 + size);
    ASSERT_TRUE(isPlainJpeg(strip, 96, 16));
    EXPECT_FALSE(isPlainJpeg(strip, 97, 16));
    EXPECT_FALSE(isPlainJpeg(strip, 96, 15));
    for (std::size_t length = 0; length < strip.size(); ++length)
        ASSERT_FALSE(isPlainJpeg(std::span(strip).first(length), 96, 16)) << length;

    const auto find = [&strip](std::uint8_t marker) {
        std::size_t at = 2;
        while (strip[at + 1] != marker)
            at += 2 + static_cast<std::size_t>(strip[at + 2] << 8 | strip[at + 3]);
        return at;
    };
    const std::size_t frame = find(0xc0);
    const std::size_t scan = find(0xda);
    const auto with = [&strip](std::size_t at, std::vector<std::uint8_t> inserted) {
        auto changed = strip;
        changed.insert(changed.begin() + static_cast<std::ptrdiff_t>(at), inserted.begin(),
                       inserted.end());
        return changed;
    };
    const std::vector<std::uint8_t> secondFrame(
        strip.begin() + static_cast<std::ptrdiff_t>(frame),
        strip.begin() + static_cast<std::ptrdiff_t>(frame) + 19);
    EXPECT_FALSE(isPlainJpeg(with(frame, secondFrame), 96, 16));
    EXPECT_FALSE(isPlainJpeg(with(scan, {0xff, 0xfe, 0, 3, 1}), 96, 16)); // a comment
    for (const int components : {0, 1, 2, 4, 255}) { // of which there are three
        auto other = strip;
        other[frame + 9] = static_cast<std::uint8_t>(components);
        EXPECT_FALSE(isPlainJpeg(other, 96, 16)) << components;
        other = strip;
        other[scan + 4] = static_cast<std::uint8_t>(components);
        EXPECT_FALSE(isPlainJpeg(other, 96, 16)) << components;
    }
    const std::vector<std::uint8_t> label{0xff, 0xe0, 0, 9, 'J', 'F', 'I', 'F', 0, 1, 1};
    EXPECT_TRUE(isPlainJpeg(with(2, label), 96, 16));
    auto otherLabel = label;
    otherLabel[8] = 1;
    EXPECT_FALSE(isPlainJpeg(with(2, otherLabel), 96, 16));
    EXPECT_FALSE(isPlainJpeg(with(2, {0xff, 0xe0, 0, 6, 'A', 'V', 'I', '1'}), 96, 16));
    EXPECT_FALSE(isPlainJpeg(with(2, {0xff, 0xe0, 0, 6, 'J', 'F', 'I', 'F'}), 96, 16));
    // The decoder does not see the label.
    auto twice = with(scan, label);
    twice.insert(twice.begin() + 2, label.begin(), label.end());
    ASSERT_TRUE(isPlainJpeg(twice, 96, 16));
    std::vector<std::uint8_t> unlabelled(twice.size());
    unlabelled.resize(copyUnlabelled(twice, unlabelled.data()));
    EXPECT_EQ(unlabelled, strip);
    EXPECT_FALSE(isPlainJpeg(with(scan, {0xff, 0xe2, 0, 3, 1}), 96, 16)); // a profile
    EXPECT_FALSE(isPlainJpeg(with(scan, {0xff, 0xdd, 0, 1}), 96, 16));
    EXPECT_FALSE(isPlainJpeg(with(scan, {0xff, 0xdd, 0xff, 0xff}), 96, 16));
    EXPECT_TRUE(isPlainJpeg(with(scan + 14, {0xff, 0xd0}), 96, 16)); // a restart in the data
    EXPECT_FALSE(isPlainJpeg(with(scan + 14, {0xff, 0xc0}), 96, 16));
    EXPECT_FALSE(isPlainJpeg(with(scan + 14, {0xff, 0xd8}), 96, 16));
    EXPECT_FALSE(isPlainJpeg(with(strip.size(), {0}), 96, 16));
    for (const int marker : {0xc1, 0xc2, 0xc3, 0xc9, 0xcf}) {
        auto other = strip;
        other[frame + 1] = static_cast<std::uint8_t>(marker);
        EXPECT_FALSE(isPlainJpeg(other, 96, 16)) << marker;
    }
}

// One strip, whose tables and whose data may be missing.
std::vector<std::uint8_t> pictureOfOne(bool hasQuantizers, bool hasData) {
    BlockPool pool;
    PictureEncoder encoder(CodingBudget::bytesAt(50));
    const auto picture = test::vtpPicture(width, 16, 3, 1);
    const BlockPtr coded = encoder.encode(picture.data(), width, 16, bgr, 0, pool);
    const std::uint8_t* const jpeg = coded->data() + 12;
    std::vector<std::uint8_t> strip(jpeg, jpeg + 2);
    std::size_t at = 2;
    std::uint8_t marker = 0;
    while (marker != 0xda) {
        marker = jpeg[at + 1];
        const std::size_t size = 2 + static_cast<std::size_t>(jpeg[at + 2] << 8 | jpeg[at + 3]);
        if (marker != 0xdb || hasQuantizers) strip.insert(strip.end(), jpeg + at, jpeg + at + size);
        at += size;
    }
    if (hasData) {
        strip.insert(strip.end(), jpeg + at, jpeg + coded->size() - 12);
    } else {
        strip.insert(strip.end(), {0xff, 0xd9});
    }
    std::vector<std::uint8_t> all(coded->data(), coded->data() + 8);
    all.resize(12);
    putNumber(&all[8], static_cast<std::uint32_t>(strip.size()));
    all.insert(all.end(), strip.begin(), strip.end());
    return all;
}

TEST(VtpPictureCoder, whatADamagedStripSaidIsForgotten) {
    BlockPool pool;
    const auto decoded = [&pool](PictureDecoder& decoder, const std::vector<std::uint8_t>& coded) {
        const BlockPtr block = decoder.decode(coded, width, 16, bgr, pool);
        return block ? std::vector<std::uint8_t>(block->data(), block->data() + block->size())
                     : std::vector<std::uint8_t>();
    };
    PictureDecoder fresh;
    const auto withoutTables = decoded(fresh, pictureOfOne(false, true));
    PictureDecoder decoder;
    EXPECT_TRUE(decoded(decoder, pictureOfOne(true, false)).empty());
    EXPECT_EQ(decoded(decoder, pictureOfOne(false, true)), withoutTables);
    EXPECT_NE(decoded(decoder, pictureOfOne(true, true)), withoutTables);
}

TEST(VtpPictureCoder, blocksHaveRoomForAScalerThatReadsOn) {
    const Block block(32 * 2 * 3);
    for (std::size_t i = 0; i < 64; ++i)
        EXPECT_EQ(block.data()[block.capacity() + i], 0);
}

TEST(VtpPictureCoder, damagedStripsDoNoHarm) {
    const auto good = codedPicture();
    std::minstd_rand random(1);
    test::CapturedStream said(test::CapturedStream::Stream::error);
    for (int i = 0; i < 400; ++i) {
        auto bad = good;
        for (int j = 0; j < 1 + i % 20; ++j)
            bad[random() % bad.size()] = static_cast<std::uint8_t>(random() >> 8);
        isDecoded(bad);
    }
    // One that is reused goes on with the next.
    BlockPool pool;
    PictureDecoder decoder;
    auto bad = good;
    bad[8 + 20 + 3] ^= 0xff;
    decoder.decode(bad, width, height, bgr, pool);
    EXPECT_TRUE(decoder.decode(good, width, height, bgr, pool));
    // And the host's streams are not for strangers to fill.
    EXPECT_EQ(said.text(), "");
}

} // namespace
