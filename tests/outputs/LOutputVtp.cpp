// The output with a VTP sender as its device.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>
#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <optional>

#include "core/Clock.h"
#include "platform/vtp/Announcement.h"
#include "platform/vtp/Network.h"
#include "platform/vtp/vtp.h"
#include "quolsdk/LOutput.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/Frames.h"
#include "support/LinkedMachines.h"
#include "support/LiveSource.h"
#include "support/MachineWatch.h"
#include "support/PlainFrames.h"
#include "support/RunningOutput.h"

namespace {

using test::CapturedStream;
using test::levelPicture;
using test::statsOf;
using test::waitUntil;
using testing::HasSubstr;

constexpr auto outputStream = CapturedStream::Stream::output;
constexpr auto errorStream = CapturedStream::Stream::error;

constexpr int vtpDevice = 1;
constexpr int format576i = 1; // 720x576i50

struct ReceiverEnd {
    void operator()(vtp_receiver* receiver) const { vtp_destroy_receiver(receiver); }
};
struct ListenerEnd {
    void operator()(vtp_listener* listener) const { vtp_destroy_listener(listener); }
};

struct Picture {
    vtp_video_frame record{};
    std::vector<std::uint8_t> bytes;
};

class LOutputVtp : public testing::Test {
protected:
    LOutputVtp() {
        output->setProps("stream_name", name);
        output->setDevice(vtpDevice);
        output->DeviceFormatVideoSet(format576i);
    }

    // Enables the output. The port that it told, 0 when it told none.
    std::uint16_t start() {
        CapturedStream out(outputStream);
        output->setEnabled(true);
        return portIn(out.text());
    }
    static std::uint16_t portIn(const std::string& text) {
        const std::string before = " on port ";
        const std::size_t at = text.rfind(before);
        return at == std::string::npos
                   ? std::uint16_t{0}
                   : static_cast<std::uint16_t>(std::atoi(text.c_str() + at + before.size()));
    }
    bool connect(std::uint16_t port) {
        vtp_receiver_connect(receiver.get(), "127.0.0.1", port);
        return vtp_receiver_is_connected(receiver.get());
    }
    bool waitForLoss() {
        return waitUntil([&] { return !vtp_receiver_is_connected(receiver.get()); });
    }
    // Pushes the picture until one arrives: a receiver that has just connected may miss the first.
    Picture pushed(const AVFrame& frame) {
        Picture picture;
        waitUntil([&] {
            const quol::FramePtr reference = quol::cloneFrame(&frame);
            output->pushVideoFrame(reference.get());
            if (!vtp_receiver_receive_frame(receiver.get(), &picture.record)) return false;
            const std::size_t size = std::size_t{3} * picture.record.width * picture.record.height;
            picture.bytes.assign(picture.record.data, picture.record.data + size);
            return true;
        });
        return picture;
    }

    const std::string name = "output " + std::to_string(getpid());
    std::unique_ptr<LOutput> output = std::make_unique<LOutput>();
    std::unique_ptr<vtp_receiver, ReceiverEnd> receiver{vtp_create_receiver()};
};

TEST_F(LOutputVtp, StartAndStopAreTold) {
    CapturedStream out(outputStream);
    EXPECT_TRUE(output->startVTP());
    EXPECT_TRUE(output->startVTP()) << "runs already";
    const std::uint16_t port = portIn(out.text());
    EXPECT_GT(port, 0);
    EXPECT_THAT(out.text(), HasSubstr("[LOutput] VTP Started successfully! Name: " + name +
                                      " on port " + std::to_string(port) + "\n"));
    output->stopVTP();
    const std::string text = out.text();
    for (const char* line :
         {"[LOutput] Output thread started.\n", "[LOutput] Audio thread started.\n",
          "[LOutput] Output thread exiting.\n", "[LOutput] Audio thread exiting.\n"})
        EXPECT_THAT(text, HasSubstr(line));
    EXPECT_TRUE(text.ends_with("[LOutput] VTP Stopped.\n"));
}

TEST_F(LOutputVtp, StreamThatIsCalledAfterNdiIsRenamed) {
    for (int way = 0; way < 2; ++way) {
        LOutput plain;
        CapturedStream out(outputStream);
        if (way == 0) {
            plain.startVTP(); // whatever is selected
        } else {
            plain.setEnabled(true); // NDI, which is not there
            plain.setDevice(vtpDevice);
        }
        EXPECT_THAT(out.text(), HasSubstr("Started successfully! Name: VTP_Output on port "));
    }
}

TEST_F(LOutputVtp, PictureArrivesAsTheScalerMakesIt) {
    ASSERT_TRUE(connect(start()));
    const auto frame = test::makePicture(320, 180, AV_PIX_FMT_YUV420P);
    const std::int64_t before = quol::steadyNow();
    const Picture picture = pushed(*frame);
    EXPECT_EQ(picture.record.width, 720);
    EXPECT_EQ(picture.record.height, 576);
    EXPECT_EQ(picture.record.pixelFormat, vtp_format_bgr24);
    EXPECT_GE(picture.record.timestamp, before);
    EXPECT_LE(picture.record.timestamp, quol::steadyNow());
    EXPECT_EQ(picture.bytes, test::convertedAlone(*frame, 720, 576, AV_PIX_FMT_BGR24));
}

TEST_F(LOutputVtp, SoundArrivesInPictureLengths) {
    ASSERT_TRUE(connect(start()));
    vtp_audio_frame record{};
    const std::int64_t before = quol::steadyNow();
    ASSERT_TRUE(waitUntil([&] {
        output->pushAudioFrame(test::plainSound(1920, 123, -456).get());
        return vtp_receiver_receive_audio(receiver.get(), &record);
    }));
    EXPECT_EQ(record.sampleRate, 48000);
    EXPECT_EQ(record.channels, 2);
    EXPECT_EQ(record.samplesPerChannel, 1920);
    EXPECT_EQ(record.byteSize, 1920 * 4);
    EXPECT_GE(record.timestamp, before);
    EXPECT_LE(record.timestamp, quol::steadyNow());
    EXPECT_EQ(record.data[0], 123);
    EXPECT_EQ(record.data[3839], -456);
}

TEST_F(LOutputVtp, FormatChangeStartsItAnew) {
    ASSERT_TRUE(connect(start()));
    CapturedStream out(outputStream);
    output->DeviceFormatVideoSet(2); // 720p50
    const std::string text = out.text();
    EXPECT_TRUE(
        text.starts_with("[LOutput] Video Format set to: 1280x720 @ 50 FPS\n"
                         "[LOutput] VTP Format changed while running. Restarting VTP...\n"));
    EXPECT_LT(text.find("[LOutput] VTP Stopped.\n"), text.find("[LOutput] VTP Started"));
    EXPECT_TRUE(waitForLoss());
    ASSERT_TRUE(connect(portIn(text)));
    const auto frame = test::makePicture(320, 180, AV_PIX_FMT_YUV420P);
    EXPECT_EQ(pushed(*frame).bytes, test::convertedAlone(*frame, 1280, 720, AV_PIX_FMT_BGR24));
}

TEST_F(LOutputVtp, UnknownFormatCannotStart) {
    CapturedStream error(errorStream);
    output->DeviceFormatVideoSet(99);
    EXPECT_FALSE(output->startVTP());
    EXPECT_EQ(error.text(), "vtp_create_sender failed!\n");
    output->DeviceFormatVideoSet(format576i);
    EXPECT_TRUE(output->startVTP());
    output->DeviceFormatVideoSet(99); // stops, and cannot start again
    output->pushVideoFrame(levelPicture(1).get());
    EXPECT_EQ(error.text(), "vtp_create_sender failed!\nvtp_create_sender failed!\n");
    EXPECT_EQ(statsOf(*output).framesQueued, 0);
}

TEST_F(LOutputVtp, InterfaceThatIsNotThereCannotStart) {
    CapturedStream error(errorStream);
    output->setProps("vtp_interface", "no such one");
    EXPECT_FALSE(output->startVTP());
    EXPECT_EQ(error.text(), "vtp_sender_start failed!\n");
    output->setProps("vtp_interface", "");
    EXPECT_TRUE(output->startVTP());
}

TEST_F(LOutputVtp, SecretKeepsStrangersOut) {
    output->setProps("vtp_secret", "open sesame");
    const std::uint16_t port = start();
    connect(port); // the answer may take until the sender has closed
    EXPECT_TRUE(waitForLoss());
    vtp_receiver_set_network(receiver.get(), {"", "open sesame"});
    ASSERT_TRUE(connect(port));
    const auto frame = levelPicture(100);
    EXPECT_FALSE(pushed(*frame).bytes.empty());
}

TEST_F(LOutputVtp, ListenersKnowItByItsName) {
    const std::uint16_t port = start();
    const std::unique_ptr<vtp_listener, ListenerEnd> listener(vtp_create_listener());
    vtp_listener_start(listener.get());
    const auto isKnown = [&] {
        vtp_source_record records[64];
        const int count = vtp_listener_get_sources(listener.get(), records, 64);
        return std::any_of(records, records + count, [&](const vtp_source_record& record) {
            return record.name == name && record.port == port;
        });
    };
    EXPECT_TRUE(waitUntil(isKnown));
    output->setEnabled(false);
    EXPECT_TRUE(waitUntil([&] { return !isKnown(); }));
}

TEST_F(LOutputVtp, StopEndsTheConnection) {
    ASSERT_TRUE(connect(start()));
    output->setEnabled(false);
    EXPECT_TRUE(waitForLoss());
}

// The receivers have a quarter of a second, which a busy machine may not give them every time.
TEST_F(LOutputVtp, WhatWasPushedBeforeAStopArrives) {
    output->DeviceFormatVideoSet(2); // 720p50: far more than sockets hold
    int complete = 0;
    for (int i = 0; i < 10; ++i) {
        ASSERT_TRUE(connect(start()));
        for (int level = 1; level <= 5; ++level)
            output->pushVideoFrame(levelPicture(level, 1280, 720).get());
        output->setEnabled(false);
        EXPECT_TRUE(waitForLoss());
        vtp_video_frame picture{};
        int count = 0;
        while (vtp_receiver_receive_frame(receiver.get(), &picture))
            ++count;
        EXPECT_LE(count, 5);
        if (count == 5) ++complete;
    }
    EXPECT_GE(complete, 8);
}

TEST_F(LOutputVtp, AnnouncementTellsOfRateAndSound) {
    const quol::vtp::Descriptor hearing = quol::vtp::listenForAnnouncements(nullptr);
    ASSERT_TRUE(hearing);
    const std::uint16_t port = start();
    std::optional<quol::vtp::Announcement> heard;
    ASSERT_TRUE(waitUntil([&] {
        std::array<std::uint8_t, 256> room{};
        quol::vtp::Address from = 0;
        const auto size = quol::vtp::receiveDatagram(hearing, room, from);
        if (size) heard = quol::vtp::readAnnouncement({room.data(), *size});
        return heard && heard->name == name;
    }));
    EXPECT_EQ(heard->port, port);
    EXPECT_EQ(heard->width, 720U);
    EXPECT_EQ(heard->height, 576U);
    EXPECT_EQ(heard->pictureRate, 25U);
    EXPECT_EQ(heard->flags, quol::vtp::announcesSound);
}

TEST_F(LOutputVtp, StartsAtItsPortAgain) {
    const std::uint16_t port = start();
    ASSERT_TRUE(connect(port));
    output->setEnabled(false);
    EXPECT_EQ(start(), port);
    CapturedStream out(outputStream);
    output->DeviceFormatVideoSet(2);
    EXPECT_EQ(portIn(out.text()), port);
}

// How it is coded depends on where the receiver is, as automatic coding has it.
TEST_F(LOutputVtp, OtherMachinesGetItCoded) {
    test::Machine here("10.78.0.1");
    test::Machine there("10.78.0.2");
    if (!here.isThere() || !there.isThere())
        GTEST_SKIP() << "no network namespaces or tap devices to be made here";
    test::Cable cable(here, there);
    const auto frame = test::makePicture(320, 180, AV_PIX_FMT_YUV420P);
    const auto plain = test::convertedAlone(*frame, 720, 576, AV_PIX_FMT_BGR24);
    output->setProps("vtp_interface", test::Machine::interfaceName);
    std::uint16_t port = 0;
    here.run([&] { port = start(); });
    ASSERT_NE(port, 0);
    there.run([&] {
        vtp_receiver_set_network(receiver.get(), {test::Machine::interfaceName, ""});
        for (int i = 0; i < 10 && !vtp_receiver_is_connected(receiver.get()); ++i)
            vtp_receiver_connect(receiver.get(), here.address().c_str(), port);
    });
    ASSERT_TRUE(vtp_receiver_is_connected(receiver.get()));
    const Picture coded = pushed(*frame);
    ASSERT_EQ(coded.bytes.size(), plain.size());
    EXPECT_NE(coded.bytes, plain);
    int worst = 0;
    for (std::size_t i = 0; i < plain.size(); ++i)
        worst = std::max(worst, std::abs(coded.bytes[i] - plain[i]));
    EXPECT_LT(worst, 200) << "it is the same picture";
    receiver.reset();
    output.reset();
}

TEST_F(LOutputVtp, LiveSourceGoesThroughInItsOrder) {
    test::measured([this](test::MachineWatch& watch) {
        watch.begin();
        ASSERT_TRUE(connect(start()));
        const int dropped = statsOf(*output).framesDropped; // in all its life
        test::LiveSource source;
        output->setSource(&source);
        source.start();
        int pictures = 0;
        int sounds = 0;
        std::int64_t latest = 0;
        vtp_video_frame picture{};
        vtp_audio_frame sound{};
        EXPECT_TRUE(waitUntil([&] {
            while (vtp_receiver_receive_frame(receiver.get(), &picture)) {
                EXPECT_GT(picture.timestamp, latest);
                latest = picture.timestamp;
                ++pictures;
            }
            while (vtp_receiver_receive_audio(receiver.get(), &sound))
                ++sounds;
            return pictures >= 10 && sounds >= 5;
        }));
        EXPECT_EQ(statsOf(*output).framesDropped, dropped);
        output->setSource(nullptr);
        source.stop();
        output->setEnabled(false);
        EXPECT_TRUE(waitForLoss());
    });
}

TEST_F(LOutputVtp, DestroyedWhileASourcePushesAndAReceiverTakes) {
    ASSERT_TRUE(connect(start()));
    test::LiveSource source;
    output->setSource(&source);
    source.start();
    ASSERT_TRUE(test::waitForSent(*output, 3));
    output.reset();
    EXPECT_TRUE(waitForLoss());
    EXPECT_TRUE(source.waitForPictures(2));
    source.stop();
}

} // namespace
