// How many bytes intra coded pictures may take, and how they are kept to that.
#include "platform/vtp/CodingBudget.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "platform/vtp/PictureCoder.h"
#include "support/VtpEnds.h"
#include "support/VtpStranger.h"

namespace {

using namespace quol::vtp;
using test::vtpPicture;

constexpr std::uint32_t bgr = 2;

TEST(VtpCodingBudget, aPictureHasItsShareOfAGigabit) {
    EXPECT_EQ(CodingBudget::bytesAt(50), 112'500'000u / 51);
    EXPECT_EQ(CodingBudget::bytesAt(25), 112'500'000u / 26);
    EXPECT_EQ(CodingBudget::bytesAt(1), 112'500'000u / 2);
    EXPECT_EQ(CodingBudget::bytesAt(1000), 112'500'000u / 1001);
    EXPECT_EQ(CodingBudget::bytesAt(0), 112'500'000u / 60);
}

TEST(VtpCodingBudget, picturesThatFitAreCodedFinely) {
    CodingBudget budget(1000);
    for (int i = 0; i < 100; ++i) {
        EXPECT_TRUE(budget.takesNext());
        EXPECT_EQ(budget.quantizer(), 2);
        EXPECT_TRUE(budget.accepts(1000));
    }
}

TEST(VtpCodingBudget, onesThatDoNotAreCodedAgainCoarserByTheirSize) {
    CodingBudget budget(1000);
    EXPECT_FALSE(budget.accepts(1001));
    EXPECT_EQ(budget.quantizer(), 3);
    EXPECT_TRUE(budget.accepts(1000));
    EXPECT_EQ(budget.quantizer(), 3); // the next one starts from there

    EXPECT_FALSE(budget.accepts(3010));
    EXPECT_EQ(budget.quantizer(), 11); // 3 x 3010 / 900 = 10.03
    EXPECT_FALSE(budget.accepts(1001));
    EXPECT_EQ(budget.quantizer(), 14); // 11 x (1001 / 900)^2 = 13.6
    EXPECT_FALSE(budget.accepts(1001));
    EXPECT_EQ(budget.quantizer(), 31); // the last try
    EXPECT_TRUE(budget.accepts(700));
    EXPECT_TRUE(budget.takesNext());

    CodingBudget small(1);
    EXPECT_FALSE(small.accepts(std::size_t{1} << 32));
    EXPECT_EQ(small.quantizer(), 31);
}

TEST(VtpCodingBudget, theWayBackIsSlowAndOnlyWhereThereIsRoom) {
    CodingBudget budget(1000);
    ASSERT_FALSE(budget.accepts(2000));
    ASSERT_EQ(budget.quantizer(), 5);
    // 4 would take 5/4 of it; that is to be 800 at most.
    for (int i = 0; i < 50; ++i)
        EXPECT_TRUE(budget.accepts(645));
    EXPECT_EQ(budget.quantizer(), 5);
    for (int step = 5; step > 2; --step) {
        EXPECT_EQ(budget.quantizer(), step);
        for (int i = 0; i < 11; ++i)
            EXPECT_TRUE(budget.accepts(300));
        EXPECT_EQ(budget.quantizer(), step);
        // One without room, and the count begins again.
        EXPECT_TRUE(budget.accepts(900));
        for (int i = 0; i < 12; ++i) {
            EXPECT_EQ(budget.quantizer(), step);
            EXPECT_TRUE(budget.accepts(300));
        }
    }
    for (int i = 0; i < 50; ++i)
        EXPECT_TRUE(budget.accepts(1));
    EXPECT_EQ(budget.quantizer(), 2);
}

TEST(VtpCodingBudget, whatIsTooLargeHoweverCoarseIsSavedForByOthers) {
    CodingBudget budget(1000);
    ASSERT_FALSE(budget.accepts(100000));
    ASSERT_EQ(budget.quantizer(), 31);
    std::size_t sent = 0;
    int pictures = 0;
    constexpr int count = 350;
    for (int i = 0; i < count; ++i) {
        if (!budget.takesNext()) continue;
        ASSERT_TRUE(budget.accepts(3500));
        sent += 3500;
        ++pictures;
    }
    EXPECT_EQ(pictures, 100);
    EXPECT_LE(sent, 1000u * count);
    // Less than the budget of one stays owed, and is saved from those that come after.
    CodingBudget other(1000);
    ASSERT_FALSE(other.accepts(100000));
    ASSERT_TRUE(other.accepts(1900));
    ASSERT_TRUE(other.takesNext());
    ASSERT_TRUE(other.accepts(1500)); // 1400 owed
    EXPECT_FALSE(other.takesNext());
    EXPECT_TRUE(other.takesNext());
    ASSERT_TRUE(other.accepts(500)); // nothing owed any more
    ASSERT_TRUE(other.accepts(1999));
    EXPECT_TRUE(other.takesNext());
}

// ------------------------------------------------------------------------------------ pictures

double meanError(const std::vector<std::uint8_t>& one, const BlockPtr& other) {
    double sum = 0.0;
    for (std::size_t i = 0; i < one.size(); ++i)
        sum += std::abs(one[i] - other->data()[i]);
    return sum / static_cast<double>(one.size());
}

TEST(VtpCodingBudget, colourNoiseInFullHdStaysWithinIt) {
    constexpr std::uint32_t width = 1920;
    constexpr std::uint32_t height = 1080;
    BlockPool pool;
    const auto noise = vtpPicture(width, height, 3, 1);
    // Without a bound it takes more than there is at 50 a second.
    const BlockPtr free =
        PictureEncoder(SIZE_MAX).encode(noise.data(), width, height, bgr, 0, pool);
    ASSERT_TRUE(free);
    for (const std::uint32_t rate : {50u, 60u, 120u}) {
        const std::size_t most = CodingBudget::bytesAt(rate);
        EXPECT_GT(free->size(), most);
        PictureEncoder encoder(most);
        for (unsigned i = 0; i < 3; ++i) {
            const BlockPtr coded = encoder.encode(noise.data(), width, height, bgr, 0, pool);
            ASSERT_TRUE(coded) << rate;
            EXPECT_LE(coded->size(), most) << rate;
            EXPECT_GT(coded->size(), most / 2) << rate; // not much coarser than it must be
        }
    }
}

TEST(VtpCodingBudget, codingIsTheSameEachTimeAndComesBackToFine) {
    constexpr std::uint32_t width = 320;
    constexpr std::uint32_t height = 180;
    BlockPool pool;
    const auto noise = vtpPicture(width, height, 3, 1);
    std::vector<std::uint8_t> smooth(noise.size());
    for (std::size_t i = 0; i < smooth.size(); ++i)
        smooth[i] = static_cast<std::uint8_t>(40 + i / 3 % width / 2 + i % 3 * 5);
    const auto all = [&](int noisy, int calm) {
        PictureEncoder encoder(50000);
        std::vector<std::uint8_t> bytes;
        for (int i = 0; i < noisy + calm; ++i) {
            const auto& picture = i < noisy ? noise : smooth;
            const BlockPtr coded = encoder.encode(picture.data(), width, height, bgr, 0, pool);
            EXPECT_TRUE(coded);
            if (!coded) return bytes;
            EXPECT_LE(coded->size(), 50000u);
            bytes.assign(coded->data(), coded->data() + coded->size());
        }
        return bytes;
    };
    EXPECT_EQ(all(3, 0), all(3, 0));
    EXPECT_EQ(all(3, 5), all(3, 5));
    const auto fine = all(0, 1);
    EXPECT_NE(all(1, 1), fine);
    EXPECT_EQ(all(1, 400), fine);
}

TEST(VtpCodingBudget, coarserPicturesAreStillThePictures) {
    constexpr std::uint32_t width = 320;
    constexpr std::uint32_t height = 180;
    BlockPool pool;
    PictureDecoder decoder;
    std::vector<std::uint8_t> grained = vtpPicture(width, height, 3, 1);
    for (std::size_t i = 0; i < grained.size(); ++i)
        grained[i] = static_cast<std::uint8_t>(100 + i / 3 % width / 4 + grained[i] % 16);
    double before = 0.0;
    for (const std::size_t most : {std::size_t{60000}, std::size_t{15000}, std::size_t{8000}}) {
        PictureEncoder encoder(most);
        const BlockPtr coded = encoder.encode(grained.data(), width, height, bgr, 0, pool);
        ASSERT_TRUE(coded);
        EXPECT_LE(coded->size(), most);
        const BlockPtr plain =
            decoder.decode({coded->data(), coded->size()}, width, height, bgr, pool);
        ASSERT_TRUE(plain);
        const double error = meanError(grained, plain);
        EXPECT_GT(error, before) << most;
        EXPECT_LT(error, 8.0) << most;
        before = error;
    }
}

TEST(VtpCodingBudget, picturesThatNeverFitAreSentNowAndThen) {
    BlockPool pool;
    const auto noise = vtpPicture(320, 180, 3, 1);
    constexpr std::size_t most = 5000;
    PictureEncoder encoder(most);
    std::size_t sent = 0;
    std::size_t largest = 0;
    int pictures = 0;
    constexpr int count = 60;
    for (int i = 0; i < count; ++i) {
        const BlockPtr coded = encoder.encode(noise.data(), 320, 180, bgr, 0, pool);
        if (!coded) continue;
        ++pictures;
        sent += coded->size();
        largest = std::max(largest, coded->size());
    }
    EXPECT_GE(pictures, 2);
    EXPECT_LT(pictures, count / 2);
    EXPECT_LE(sent, most * count + largest);
}

// The rate that the sender tells is what it is held to.
TEST(VtpCodingBudget, sendersKeepToTheBudgetOfTheirRate) {
    const auto noise = vtpPicture(480, 270, 3, 1);
    const auto payload = [&noise](int rate) {
        const std::string name = test::vtpName("budget");
        const test::VtpSender sender(
            vtp_create_sender(name.c_str(), 480, 270, rate, vtp_coding_intra, 0));
        EXPECT_TRUE(vtp_sender_start(sender.get()));
        test::Stranger receiver(vtp_sender_get_port(sender.get()));
        EXPECT_TRUE(receiver.becomesReceiver(name));
        vtp_sender_send_frame(sender.get(), noise.data(), 2, 1);
        std::string header;
        do {
            header = receiver.heard(32);
        } while (header.size() == 32 && header[5] == static_cast<char>(MessageType::heartbeat));
        BlockPool pool;
        MessageParser parser(Reader::receiver, pool);
        parser.allowMedia();
        if (header.size() != 32) return std::size_t{0};
        std::copy_n(header.data(), 32, parser.room().data());
        EXPECT_EQ(parser.taken(32), ParseResult::more);
        EXPECT_EQ(parser.header().type, MessageType::picture);
        return std::size_t{parser.header().payloadBytes};
    };
    const std::size_t most = CodingBudget::bytesAt(1000);
    EXPECT_GT(payload(50), most);
    const std::size_t fast = payload(1000);
    EXPECT_LE(fast, most);
    EXPECT_GT(fast, most / 3);
}

} // namespace
