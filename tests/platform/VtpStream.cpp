// Pictures and sound from a sender to its receivers, within this machine.
#include <gtest/gtest.h>

#include <cmath>
#include <thread>

#include "platform/vtp/PictureCoder.h"
#include "support/VtpEnds.h"

namespace {

using namespace test;
using std::chrono::milliseconds;

TEST(VtpStream, picturesArriveToTheLastBitWithTheirTimes) {
    const VtpSender sender = startedSender(vtpName("bits"), 34, 18);
    const VtpReceiver receiver = connectedReceiver(sender.get());
    ASSERT_TRUE(receiver);
    const struct {
        int format;
        int bytes;
        int expected;
    } formats[] = {{2, 3, 2}, {1, 4, 1}, {3, 4, 3}, {0, 3, 0}, {77, 3, 0}, {-5, 3, 0}};
    unsigned number = 0;
    for (const auto& format : formats) {
        const auto picture = vtpPicture(34, 18, format.bytes, ++number);
        const std::int64_t time = -9000000000000000000 + number;
        vtp_sender_send_frame(sender.get(), picture.data(), format.format, time);
        vtp_video_frame frame{};
        ASSERT_TRUE(nextPicture(receiver.get(), frame));
        EXPECT_EQ(frame.width, 34);
        EXPECT_EQ(frame.height, 18);
        EXPECT_EQ(frame.pixelFormat, format.expected);
        EXPECT_EQ(frame.timestamp, time);
        EXPECT_EQ(bytesOf(frame, format.bytes), picture);
    }
}

TEST(VtpStream, soundArrivesToTheLastBitWithItsTimes) {
    const VtpSender sender = startedSender(vtpName("sound"));
    const VtpReceiver receiver = connectedReceiver(sender.get());
    ASSERT_TRUE(receiver);
    const struct {
        int samples;
        int rate;
        int channels;
    } blocks[] = {{960, 48000, 2}, {1, 8000, 1}, {813, 48000, 2}, {4800, 384000, 16}};
    unsigned number = 0;
    for (const auto& block : blocks) {
        const auto sound = vtpSound(block.samples, block.channels, ++number);
        vtp_sender_send_audio(sender.get(), sound.data(), block.samples, block.rate, block.channels,
                              number * 1000);
        vtp_audio_frame frame{};
        ASSERT_TRUE(nextSound(receiver.get(), frame));
        EXPECT_EQ(frame.samplesPerChannel, block.samples);
        EXPECT_EQ(frame.sampleRate, block.rate);
        EXPECT_EQ(frame.channels, block.channels);
        EXPECT_EQ(frame.byteSize, block.samples * block.channels * 2);
        EXPECT_EQ(frame.timestamp, number * 1000);
        EXPECT_EQ(samplesOf(frame), sound);
    }
}

TEST(VtpStream, everyReceiverGetsEveryPicture) {
    const VtpSender sender = startedSender(vtpName("many"));
    std::vector<VtpReceiver> receivers;
    for (int i = 0; i < 8; ++i) {
        receivers.push_back(connectedReceiver(sender.get()));
        ASSERT_TRUE(receivers.back());
    }
    for (unsigned number = 0; number < 20; ++number) {
        const auto picture = vtpPicture(16, 8, 3, number);
        vtp_sender_send_frame(sender.get(), picture.data(), 2, number);
        for (const VtpReceiver& receiver : receivers) {
            vtp_video_frame frame{};
            ASSERT_TRUE(nextPicture(receiver.get(), frame));
            EXPECT_EQ(frame.timestamp, number);
            EXPECT_EQ(bytesOf(frame, 3), picture);
        }
    }
}

TEST(VtpStream, sendersDoNotMixTheirStreams) {
    const VtpSender one = startedSender(vtpName("one"), 16, 8);
    const VtpSender two = startedSender(vtpName("two"), 8, 4);
    ASSERT_NE(vtp_sender_get_port(one.get()), vtp_sender_get_port(two.get()));
    const VtpReceiver ofOne = connectedReceiver(one.get());
    const VtpReceiver ofTwo = connectedReceiver(two.get());
    ASSERT_TRUE(ofOne && ofTwo);
    const auto first = vtpPicture(16, 8, 3, 1);
    const auto second = vtpPicture(8, 4, 3, 2);
    vtp_sender_send_frame(one.get(), first.data(), 2, 1);
    vtp_sender_send_frame(two.get(), second.data(), 2, 2);
    vtp_video_frame frame{};
    ASSERT_TRUE(nextPicture(ofOne.get(), frame));
    EXPECT_EQ(bytesOf(frame, 3), first);
    ASSERT_TRUE(nextPicture(ofTwo.get(), frame));
    EXPECT_EQ(bytesOf(frame, 3), second);
    EXPECT_FALSE(vtp_receiver_receive_frame(ofOne.get(), &frame));
}

TEST(VtpStream, aReceiverThatComesLateGetsWhatIsSentFromThenOn) {
    const VtpSender sender = startedSender(vtpName("late"));
    const auto early = vtpPicture(16, 8, 3, 1);
    for (int i = 0; i < 5; ++i)
        vtp_sender_send_frame(sender.get(), early.data(), 2, i);
    const VtpReceiver receiver = connectedReceiver(sender.get());
    ASSERT_TRUE(receiver);
    const auto late = vtpPicture(16, 8, 3, 2);
    vtp_sender_send_frame(sender.get(), late.data(), 2, 100);
    vtp_video_frame frame{};
    ASSERT_TRUE(nextPicture(receiver.get(), frame));
    EXPECT_EQ(frame.timestamp, 100);
    EXPECT_EQ(bytesOf(frame, 3), late);
}

TEST(VtpStream, whatWasHandedOutStaysGoodAfterTheConnectionEnded) {
    VtpSender sender = startedSender(vtpName("kept"));
    const VtpReceiver receiver = connectedReceiver(sender.get());
    ASSERT_TRUE(receiver);
    const auto picture = vtpPicture(16, 8, 3, 1);
    const auto sound = vtpSound(960, 2, 1);
    vtp_sender_send_frame(sender.get(), picture.data(), 2, 1);
    vtp_sender_send_audio(sender.get(), sound.data(), 960, 48000, 2, 1);
    vtp_video_frame frame{};
    vtp_audio_frame block{};
    ASSERT_TRUE(nextPicture(receiver.get(), frame));
    ASSERT_TRUE(nextSound(receiver.get(), block));
    sender.reset();
    vtp_receiver_disconnect(receiver.get());
    EXPECT_EQ(bytesOf(frame, 3), picture);
    EXPECT_EQ(samplesOf(block), sound);
}

TEST(VtpStream, whatIsNotTakenInTimeGivesWayToWhatIsNewer) {
    const VtpSender sender = startedSender(vtpName("newest"));
    const VtpReceiver receiver = connectedReceiver(sender.get());
    ASSERT_TRUE(receiver);
    const auto picture = vtpPicture(16, 8, 3, 1);
    const auto sound = vtpSound(10, 1, 1);
    // Sound that is taken between shows that the pictures sent before it have arrived too, but for
    // those that the sender passed over.
    for (int i = 0; i < 50; ++i) {
        vtp_sender_send_frame(sender.get(), picture.data(), 2, i);
        vtp_sender_send_audio(sender.get(), sound.data(), 10, 48000, 1, i);
        vtp_audio_frame block{};
        ASSERT_TRUE(nextSound(receiver.get(), block));
    }
    vtp_video_frame frame{};
    int taken = 0;
    std::int64_t last = -1;
    ASSERT_TRUE(becomesTrue([&] {
        while (vtp_receiver_receive_frame(receiver.get(), &frame)) {
            EXPECT_GT(frame.timestamp, last);
            last = frame.timestamp;
            ++taken;
        }
        return last == 49;
    }));
    EXPECT_LE(taken, 9); // eight that were kept, and one that may have come meanwhile
}

TEST(VtpStream, intraCodedPicturesComeCloseInEveryFormatAndSize) {
    for (const auto& [width, height] : {std::pair(64, 48), std::pair(33, 17), std::pair(2, 2),
                                        std::pair(1, 1), std::pair(720, 576)}) {
        const VtpSender sender = startedSender(vtpName("coded"), width, height, vtp_coding_intra);
        const VtpReceiver receiver = connectedReceiver(sender.get());
        ASSERT_TRUE(receiver);
        for (const int format : {0, 1, 2, 3}) {
            const int bytes = format == 1 || format == 3 ? 4 : 3;
            // Smooth, as pictures are.
            std::vector<std::uint8_t> picture(static_cast<std::size_t>(width * height * bytes));
            for (int y = 0; y < height; ++y) {
                for (int x = 0; x < width; ++x) {
                    std::uint8_t* pixel =
                        &picture[static_cast<std::size_t>((y * width + x) * bytes)];
                    pixel[0] = static_cast<std::uint8_t>(20 + x * 200 / std::max(width, 100));
                    pixel[1] = static_cast<std::uint8_t>(20 + y * 200 / std::max(height, 100));
                    pixel[2] = static_cast<std::uint8_t>(200 - pixel[0] / 2 - pixel[1] / 4);
                    if (bytes == 4) pixel[3] = 255;
                }
            }
            vtp_sender_send_frame(sender.get(), picture.data(), format, format);
            vtp_video_frame frame{};
            ASSERT_TRUE(nextPicture(receiver.get(), frame)) << width << "x" << height;
            ASSERT_EQ(frame.pixelFormat, format);
            ASSERT_EQ(frame.width, width);
            ASSERT_EQ(frame.height, height);
            EXPECT_EQ(frame.timestamp, format);
            int worst = 0;
            for (std::size_t i = 0; i < picture.size(); ++i)
                worst = std::max(worst, std::abs(frame.data[i] - picture[i]));
            EXPECT_LE(worst, 12) << width << "x" << height << " format " << format;
        }
    }
}

TEST(VtpStream, pictureQualityMayBeSetToAnything) {
    const VtpSender sender = startedSender(vtpName("quality"), 64, 48, vtp_coding_intra);
    const VtpReceiver receiver = connectedReceiver(sender.get());
    ASSERT_TRUE(receiver);
    const std::vector<std::uint8_t> grey(64 * 48 * 3, 100);
    for (const int quality : {0, 1, 2, -7, 99}) {
        vtp_sender_set_scale_quality(sender.get(), quality);
        vtp_sender_send_frame(sender.get(), grey.data(), 2, quality);
        vtp_video_frame frame{};
        ASSERT_TRUE(nextPicture(receiver.get(), frame));
        EXPECT_NEAR(frame.data[100], 100, 2);
    }
}

TEST(VtpStream, badPicturesAndSoundArePassedOver) {
    const VtpSender sender = startedSender(vtpName("bad"));
    const VtpReceiver receiver = connectedReceiver(sender.get());
    ASSERT_TRUE(receiver);
    const auto sound = vtpSound(960, 2, 1);
    vtp_sender_send_frame(sender.get(), nullptr, 2, 1);
    vtp_sender_send_audio(sender.get(), nullptr, 960, 48000, 2, 1);
    for (const auto& [samples, rate, channels] :
         {std::array{0, 48000, 2}, std::array{-1, 48000, 2}, std::array{960, 0, 2},
          std::array{960, -48000, 2}, std::array{960, 48000, 0}, std::array{960, 48000, 17},
          std::array{960, 384001, 2}, std::array{481, 480, 2}, std::array{960, 48000, -2}})
        vtp_sender_send_audio(sender.get(), sound.data(), samples, rate, channels, 2);
    // What comes first is the first good one.
    const auto picture = vtpPicture(16, 8, 3, 1);
    vtp_sender_send_frame(sender.get(), picture.data(), 2, 3);
    vtp_sender_send_audio(sender.get(), sound.data(), 960, 48000, 2, 3);
    vtp_video_frame frame{};
    vtp_audio_frame block{};
    ASSERT_TRUE(nextPicture(receiver.get(), frame));
    ASSERT_TRUE(nextSound(receiver.get(), block));
    EXPECT_EQ(frame.timestamp, 3);
    EXPECT_EQ(block.timestamp, 3);
}

} // namespace
