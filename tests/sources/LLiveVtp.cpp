// A live input with VTP senders.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <thread>

#include "platform/vtp/vtp.h"
#include "quolsdk/LLive.h"
#include "sources/LiveVtp.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/Conversion.h"
#include "support/Frames.h"
#include "support/LinkedMachines.h"

namespace {

using test::CapturedStream;
using test::CollectingSink;

constexpr int width = 64;
constexpr int height = 36;

// A sender that repeats its picture and a block of sound until it goes.
class Sending {
public:
    explicit Sending(const std::string& name, std::uint8_t level = 77,
                     const std::string& secret = "")
        : Sending(name, std::vector<std::uint8_t>(width * height * 3, level), vtp_format_bgr24,
                  secret, level) {}
    Sending(const std::string& name, std::vector<std::uint8_t> picture, int format,
            const std::string& secret = "", std::int16_t sound = 0)
        : name_(name), picture_(std::move(picture)), sound_(480 * 2, sound) {
        sender_ = vtp_create_sender(name.c_str(), width, height, 25, 0, 1);
        vtp_network network;
        network.secret = secret;
        vtp_sender_set_network(sender_, network);
        works_ = vtp_sender_start(sender_);
        thread_ = std::thread([this, format] {
            for (; !end_; std::this_thread::sleep_for(std::chrono::milliseconds(10))) {
                if (isSilent) continue;
                vtp_sender_send_frame(sender_, picture_.data(), format, 1000);
                vtp_sender_send_audio(sender_, sound_.data(), 480, 48000, 2, 1000);
            }
        });
    }
    ~Sending() {
        end_ = true;
        thread_.join();
        vtp_destroy_sender(sender_);
    }
    Sending(const Sending&) = delete;
    Sending& operator=(const Sending&) = delete;

    std::atomic<bool> isSilent{false}; // it stays connected and sends nothing

    bool works() const { return works_; }
    // As channels are called.
    std::string text() const {
        return name_ + " (127.0.0.1:" + std::to_string(vtp_sender_get_port(sender_)) + ")";
    }

private:
    const std::string name_;
    const std::vector<std::uint8_t> picture_;
    std::vector<std::int16_t> sound_;
    vtp_sender* sender_ = nullptr;
    bool works_ = false;
    std::atomic<bool> end_{false};
    std::thread thread_;
};

bool isVtpBuilt() {
    vtp_receiver* const receiver = vtp_create_receiver();
    const bool built = receiver != nullptr;
    vtp_destroy_receiver(receiver);
    return built;
}

// A picture whose bytes differ, and the same as a frame.
std::vector<std::uint8_t> noise(std::size_t pixelBytes) {
    std::vector<std::uint8_t> bytes(width * height * pixelBytes);
    std::uint32_t state = 1;
    for (std::uint8_t& byte : bytes) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<std::uint8_t>(state >> 24);
    }
    return bytes;
}
quol::FramePtr frameOf(const std::vector<std::uint8_t>& bytes, AVPixelFormat format) {
    quol::FramePtr frame = test::makePicture(width, height, format);
    const std::size_t row = bytes.size() / height;
    for (std::ptrdiff_t y = 0; y < height; ++y)
        std::memcpy(frame->data[0] + y * frame->linesize[0], bytes.data() + y * row, row);
    return frame;
}

vtp_source_record record(const char* name, const char* host, std::uint16_t port) {
    vtp_source_record made{};
    std::strncpy(made.name, name, sizeof made.name - 1);
    std::strncpy(made.host, host, sizeof made.host - 1);
    made.port = port;
    return made;
}

std::string uniqueName(const std::string& name) {
    return name + " " + std::to_string(getpid());
}

class LLiveVtp : public testing::Test {
protected:
    LLiveVtp() {
        live.addSink(&sink);
        live.DeviceSet(vtpDevice);
    }
    ~LLiveVtp() override {
        live.Stop();
        live.removeSink(&sink);
    }

    // The number of the channel of that text, once the listener knows it; -1 when it never does.
    int channelOf(const std::string& text) {
        int found = -1;
        test::waitUntil([&] {
            int count = 0;
            live.DeviceChannelGetCount(vtpDevice, count);
            for (int i = 0; i < count && found < 0; ++i) {
                std::string name;
                std::string description;
                live.DeviceChannelGetByIndex(vtpDevice, i, name, description);
                if (name == text) found = i;
            }
            return found >= 0;
        });
        return found;
    }
    bool start(const std::string& text) {
        const int channel = channelOf(text);
        if (channel < 0) return false;
        live.DeviceChannelSet(channel);
        return live.Start();
    }
    int status() {
        int value = -1;
        live.statusGet(value);
        return value;
    }

    static constexpr int vtpDevice = 1;
    CollectingSink sink{4};
    LLive live;
};

TEST_F(LLiveVtp, PicturesAndSoundOfASenderArrive) {
    const Sending sending(uniqueName("live"));
    if (!sending.works()) GTEST_SKIP() << "built without VTP";
    ASSERT_TRUE(start(sending.text()));
    ASSERT_TRUE(sink.waitForPictures(3));
    ASSERT_TRUE(sink.waitForSounds(3));
    const quol::FramePtr picture = sink.latestPicture();
    EXPECT_EQ(picture->width, width);
    EXPECT_EQ(picture->height, height);
    EXPECT_EQ(picture->format, AV_PIX_FMT_BGR24);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width * 3; ++x)
            ASSERT_EQ(picture->data[0][y * picture->linesize[0] + x], 77);
    }
    // By our own clock, not the sender's.
    EXPECT_GT(picture->pts, 1000);
    EXPECT_EQ(picture->time_base.den, 1000000);
    const quol::FramePtr sound = sink.latestSound();
    EXPECT_EQ(sound->format, AV_SAMPLE_FMT_S16);
    EXPECT_EQ(sound->nb_samples, 480);
    EXPECT_EQ(sound->sample_rate, 48000);
    EXPECT_EQ(sound->ch_layout.nb_channels, 2);
    EXPECT_EQ(reinterpret_cast<const std::int16_t*>(sound->data[0])[959], 77);
    EXPECT_EQ(sound->time_base.den, 48000);
    EXPECT_EQ(live.getWidth(), width);
    EXPECT_EQ(live.getHeight(), height);
}

TEST_F(LLiveVtp, AColourCodeConvertsInEveryMode) {
    const Sending sending(uniqueName("colour"));
    if (!sending.works()) GTEST_SKIP() << "built without VTP";
    live.setVideoFormat({1, 0, 0, 0.0, 6});
    ASSERT_TRUE(start(sending.text()));
    ASSERT_TRUE(sink.waitForPictures(1));
    EXPECT_EQ(sink.latestPicture()->format, AV_PIX_FMT_RGBA);
    EXPECT_EQ(sink.latestPicture()->data[0][0], 77);
    live.setVideoFormat({1, 0, 0, 0.0, 4}); // asks for nothing
    EXPECT_TRUE(
        test::waitUntil([this] { return sink.latestPicture()->format == AV_PIX_FMT_BGR24; }));
}

TEST_F(LLiveVtp, PixelFormatsOfASender) {
    struct Format {
        int vtp;
        std::size_t pixelBytes;
        AVPixelFormat pixelFormat;
    };
    const Format formats[] = {{vtp_format_rgb24, 3, AV_PIX_FMT_RGB24},
                              {vtp_format_rgba, 4, AV_PIX_FMT_RGBA},
                              {vtp_format_bgr24, 3, AV_PIX_FMT_BGR24},
                              {vtp_format_bgra, 4, AV_PIX_FMT_BGRA}};
    for (const Format& format : formats) {
        const std::vector<std::uint8_t> bytes = noise(format.pixelBytes);
        const Sending sending(uniqueName("format" + std::to_string(format.vtp)), bytes, format.vtp);
        if (!sending.works()) GTEST_SKIP() << "built without VTP";
        sink.clear();
        ASSERT_TRUE(start(sending.text()));
        ASSERT_TRUE(sink.waitForPictures(1));
        live.Stop();
        const quol::FramePtr picture = sink.latestPicture();
        ASSERT_EQ(picture->format, format.pixelFormat) << format.vtp;
        const std::size_t row = width * format.pixelBytes;
        for (std::ptrdiff_t y = 0; y < height; ++y)
            ASSERT_EQ(std::memcmp(picture->data[0] + y * picture->linesize[0],
                                  bytes.data() + y * row, row),
                      0);
    }
}

TEST_F(LLiveVtp, AConvertedPictureIsScaledAsTheOthersAre) {
    const std::vector<std::uint8_t> bytes = noise(3);
    const Sending sending(uniqueName("scaled"), bytes, vtp_format_bgr24);
    if (!sending.works()) GTEST_SKIP() << "built without VTP";
    live.setVideoFormat({1, 0, 0, 0.0, 3});
    ASSERT_TRUE(start(sending.text()));
    ASSERT_TRUE(sink.waitForPictures(1));
    const quol::FramePtr picture = sink.latestPicture();
    const quol::FramePtr source = frameOf(bytes, AV_PIX_FMT_BGR24);
    EXPECT_TRUE(test::isConverted(*source, *picture, SWS_BILINEAR));
    EXPECT_FALSE(test::isConverted(*source, *picture, SWS_POINT)); // where it would be seen
    EXPECT_FALSE(test::isConverted(*source, *picture, SWS_FAST_BILINEAR));
}

TEST_F(LLiveVtp, WithoutVtpTheRunEndsByItself) {
    if (isVtpBuilt()) GTEST_SKIP() << "built with VTP";
    std::string told;
    {
        CapturedStream output(CapturedStream::Stream::output);
        int count = -1;
        live.DeviceChannelGetCount(vtpDevice, count);
        EXPECT_EQ(count, 0);
        live.DeviceChannelSet(0);
        EXPECT_TRUE(live.Start());
        EXPECT_TRUE(test::waitUntil([this] { return status() == 0; }));
        live.Stop();
        told = output.text();
    }
    EXPECT_EQ(told, "");
    EXPECT_TRUE(live.Start()); // and can be tried again
}

TEST_F(LLiveVtp, AChannelThatIsNoneIsToldOf) {
    if (!isVtpBuilt()) GTEST_SKIP() << "built without VTP";
    CapturedStream output(CapturedStream::Stream::output);
    live.DeviceChannelSet(-1);
    ASSERT_TRUE(live.Start());
    EXPECT_TRUE(test::waitUntil([&] { return !output.text().empty(); }));
    EXPECT_EQ(status(), 1);
    EXPECT_EQ(output.text(), "LLive: Selected VTP source index is out of bounds or empty.\n");
}

TEST_F(LLiveVtp, ALostConnectionIsSilentUntilTheStop) {
    auto sending = std::make_unique<Sending>(uniqueName("lost"));
    if (!sending->works()) GTEST_SKIP() << "built without VTP";
    ASSERT_TRUE(start(sending->text()));
    ASSERT_TRUE(sink.waitForPictures(1));
    sending.reset();
    std::size_t before = 0;
    EXPECT_TRUE(test::waitUntil([&] {
        const bool still = sink.pictureCount() == before;
        before = sink.pictureCount();
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        return still;
    }));
    EXPECT_EQ(status(), 1);
    live.Stop();
    EXPECT_EQ(status(), 0);
    // The sender comes back, and so does the picture with the next start.
    const Sending again(uniqueName("lost"), 88);
    ASSERT_TRUE(start(again.text()));
    ASSERT_TRUE(sink.waitForPictures(before + 1));
    EXPECT_EQ(sink.latestPicture()->data[0][0], 88);
}

TEST_F(LLiveVtp, ASenderThatFallsSilentIsSeenAgainWhenItSpeaks) {
    Sending sending(uniqueName("silent"));
    if (!sending.works()) GTEST_SKIP() << "built without VTP";
    ASSERT_TRUE(start(sending.text()));
    ASSERT_TRUE(sink.waitForPictures(1));
    sending.isSilent = true;
    std::this_thread::sleep_for(std::chrono::milliseconds(500)); // what is under way arrives
    const std::size_t before = sink.pictureCount();
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    EXPECT_EQ(sink.pictureCount(), before);
    EXPECT_EQ(status(), 1);
    sending.isSilent = false;
    EXPECT_TRUE(sink.waitForPictures(before + 3));
}

TEST_F(LLiveVtp, TheSenderThatWasChosenIsTakenHoweverTheListHasGrown) {
    const Sending second(uniqueName("b"), 22);
    if (!second.works()) GTEST_SKIP() << "built without VTP";
    const int channel = channelOf(second.text());
    ASSERT_GE(channel, 0);
    live.DeviceChannelSet(channel);
    const Sending first(uniqueName("a"), 11); // stands before it in the list
    {
        LLive other; // hears of both
        ASSERT_TRUE(test::waitUntil([&] {
            int count = 0;
            other.DeviceChannelGetCount(vtpDevice, count);
            for (int i = 0; i < count; ++i) {
                std::string name;
                std::string description;
                other.DeviceChannelGetByIndex(vtpDevice, i, name, description);
                if (name == first.text()) return true;
            }
            return false;
        }));
    }
    ASSERT_TRUE(live.Start());
    ASSERT_TRUE(sink.waitForPictures(1));
    EXPECT_EQ(sink.latestPicture()->data[0][0], 22);
}

TEST(LLiveVtpChoice, ByTextThenByNameAndHostThenByNumber) {
    const std::vector<vtp_source_record> records{record("a", "10.0.0.1", 1000),
                                                 record("b", "10.0.0.2", 1001),
                                                 record("b (2)", "10.0.0.2", 1002)};
    const auto chosen = [&records](const char* text, int channel) {
        const vtp_source_record* const found = quol::chooseVtpSource(records, text, channel);
        return found == nullptr ? -1 : static_cast<int>(found - records.data());
    };
    EXPECT_EQ(chosen("b (10.0.0.2:1001)", 0), 1);
    EXPECT_EQ(chosen("b (2) (10.0.0.2:1002)", 0), 2);
    EXPECT_EQ(chosen("b (10.0.0.2:77)", 0), 1);   // back with another port
    EXPECT_EQ(chosen("b (10.0.0.3:1001)", 0), 0); // on another host: by its number
    EXPECT_EQ(chosen("c (10.0.0.1:1000)", 2), 2);
    EXPECT_EQ(chosen("c (10.0.0.1:1000)", 3), -1);
    EXPECT_EQ(chosen("c (10.0.0.1:1000)", -1), -1);
    EXPECT_EQ(chosen("", 0), 0);
}

TEST(LLiveVtpChoice, ASenderThatHasGoneAndANumberThatIsNoneAreToldOf) {
    if (!isVtpBuilt()) GTEST_SKIP() << "built without VTP";
    quol::LiveHub hub{
        quol::LiveOutlets{[](AVFrame*) {}, [](AVFrame*) {}, [](const quol::AudioPeak&) {}}};
    quol::LiveVtp run(hub, std::make_shared<quol::VtpListener>(), 1000, true, "gone (127.0.0.1:1)");
    hub.state.running = true;
    std::string told;
    {
        CapturedStream output(CapturedStream::Stream::output);
        run.run(); // leaves at once: nothing is connected
        told = output.text();
    }
    EXPECT_EQ(told, "LLive: Selected VTP source index out of bounds.\n");
    EXPECT_TRUE(hub.state.running);
}

// The stop may come while the loop is still on its way to the connection.
TEST(LLiveVtpChoice, NoConnectionIsMadeBehindTheEnd) {
    const Sending sending(uniqueName("ended"));
    if (!sending.works()) GTEST_SKIP() << "built without VTP";
    int pictures = 0;
    quol::LiveHub hub{quol::LiveOutlets{[&](AVFrame*) {
                                            ++pictures;
                                            hub.state.running = false;
                                        },
                                        [](AVFrame*) {}, [](const quol::AudioPeak&) {}}};
    const auto listener = std::make_shared<quol::VtpListener>();
    quol::LiveVtp run(hub, listener, 0, true, sending.text());
    ASSERT_TRUE(test::waitUntil([&] {
        for (const auto& source : listener->sources()) {
            if (quol::vtpSourceText(source) == sending.text()) return true;
        }
        return false;
    }));
    hub.state.running = true;
    run.end();
    run.run(); // leaves at once, though it may run
    EXPECT_EQ(pictures, 0);
}

TEST(LLiveVtpChoice, AListenerGivesSixtyFourSendersAtMost) {
    if (!isVtpBuilt()) GTEST_SKIP() << "built without VTP";
    constexpr int limit = 64;
    EXPECT_EQ(quol::VtpListener::maxSources, limit);
    std::vector<vtp_sender*> senders;
    for (int i = 0; i < limit + 6; ++i) {
        // Behind the names of all others: these keep their places in the lists of this machine.
        const std::string name = uniqueName("~~~") + " " + std::to_string(i);
        senders.push_back(vtp_create_sender(name.c_str(), width, height, 25, 0, 0));
        EXPECT_TRUE(vtp_sender_start(senders.back()));
    }
    const quol::VtpListener listener;
    EXPECT_TRUE(test::waitUntil([&] { return listener.sources().size() == limit; }));
    for (vtp_sender* sender : senders)
        vtp_destroy_sender(sender);
}

TEST_F(LLiveVtp, ANetworkThatIsTheSameIsNotListenedToAnew) {
    const Sending sending(uniqueName("kept"));
    if (!sending.works()) GTEST_SKIP() << "built without VTP";
    const auto known = [&] {
        int count = 0;
        live.DeviceChannelGetCount(vtpDevice, count);
        std::string name;
        std::string description;
        for (int i = 0; i < count; ++i) {
            live.DeviceChannelGetByIndex(vtpDevice, i, name, description);
            if (name == sending.text()) return true;
        }
        return false;
    };
    live.setProps("vtp_secret", "open sesame");
    ASSERT_GE(channelOf(sending.text()), 0);
    for (int i = 0; i < 20; ++i) {
        live.setProps("vtp_secret", "open sesame");
        live.setProps("vtp_interface", "");
        EXPECT_TRUE(known());
    }
    live.setProps("vtp_secret", "another"); // which listening takes none of
    EXPECT_TRUE(known());
}

TEST_F(LLiveVtp, ASecretMayBeSetBetweenTheChoiceAndTheStart) {
    const Sending sending(uniqueName("late secret"), 77, "open sesame");
    if (!sending.works()) GTEST_SKIP() << "built without VTP";
    const int channel = channelOf(sending.text());
    ASSERT_GE(channel, 0);
    live.DeviceSet(vtpDevice);
    live.DeviceChannelSet(channel);
    live.setProps("vtp_secret", "open sesame");
    ASSERT_TRUE(live.Start());
    EXPECT_TRUE(sink.waitForPictures(1));
}

TEST_F(LLiveVtp, BothPropertiesMayBeSetAtTheSameTime) {
    quol::VtpListener listener;
    std::thread other([&] {
        for (int i = 0; i < 500; ++i)
            listener.setSecret(std::to_string(i));
    });
    for (int i = 0; i < 10; ++i)
        listener.setInterface(i % 2 == 0 ? "none such 0" : "");
    other.join();
    EXPECT_EQ(listener.network().secret, "499");
    EXPECT_EQ(listener.network().interfaceName, "");
}

TEST_F(LLiveVtp, ASecretIsNeededWhereTheSenderHasOne) {
    const Sending sending(uniqueName("secret"), 77, "open sesame");
    if (!sending.works()) GTEST_SKIP() << "built without VTP";
    live.setProps("vtp_secret", "wrong");
    ASSERT_TRUE(start(sending.text()));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(sink.pictureCount(), 0U);
    live.Stop();
    live.setProps("vtp_secret", "open sesame");
    ASSERT_TRUE(start(sending.text()));
    EXPECT_TRUE(sink.waitForPictures(1));
}

TEST_F(LLiveVtp, AnInterfaceThatIsNotThereLeavesTheSendersOfThisMachine) {
    const Sending sending(uniqueName("interface"));
    if (!sending.works()) GTEST_SKIP() << "built without VTP";
    for (const char* name : {"none such 0", ""}) {
        live.setProps("vtp_interface", name);
        EXPECT_GE(channelOf(sending.text()), 0) << name;
    }
}

// A machine of its own, as others may send on this one at any time.
TEST(LLiveVtpAlone, WithoutCardsAndSendersChannelCountsAre0And0And1) {
    test::Machine machine("10.66.0.1");
    if (!machine.isThere()) GTEST_SKIP() << "no network namespace to be had";
    machine.run([] {
        LLive live;
        std::vector<int> counts;
        for (int device = 0; device < 3; ++device) {
            int count = -1;
            live.DeviceChannelGetCount(device, count);
            counts.push_back(count);
        }
        EXPECT_EQ(counts, (std::vector<int>{0, 0, 1}));
    });
}

TEST_F(LLiveVtp, StopAndStartManyTimes) {
    const Sending sending(uniqueName("many"));
    if (!sending.works()) GTEST_SKIP() << "built without VTP";
    ASSERT_TRUE(start(sending.text()));
    for (int i = 0; i < 10; ++i) {
        live.Stop();
        ASSERT_TRUE(live.Start());
    }
    const std::size_t before = sink.pictureCount();
    EXPECT_TRUE(sink.waitForPictures(before + 1));
}

} // namespace
