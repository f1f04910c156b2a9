// Between two machines, with a cable that is slow, loses packets and gets cut.
#include <gtest/gtest.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstdlib>

#include "platform/vtp/Limits.h"
#include "platform/vtp/Network.h"
#include "support/LinkedMachines.h"
#include "support/MachineWatch.h"
#include "support/VtpEnds.h"

namespace {

using namespace test;
using namespace std::chrono_literals;

const vtp_network outside{Machine::interfaceName, ""};

// What another program of the machine says to the group, or hears, on one of its interfaces.
struct OtherProgram {
    explicit OtherProgram(const char* name) {
        ip_mreqn through{};
        through.imr_multiaddr.s_addr = htonl(quol::vtp::networkAnnouncement);
        through.imr_ifindex = static_cast<int>(if_nametoindex(name));
        to.sin_family = AF_INET;
        to.sin_port = htons(quol::vtp::announcementPort);
        to.sin_addr = through.imr_multiaddr;
        const int yes = 1;
        works = through.imr_ifindex > 0 &&
                setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) == 0 &&
                bind(socket.get(), reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0 &&
                set(IP_ADD_MEMBERSHIP, through) && set(IP_MULTICAST_IF, through);
    }

    bool set(int option, const ip_mreqn& value) const {
        return setsockopt(socket.get(), IPPROTO_IP, option, &value, sizeof value) == 0;
    }
    bool says(const std::string& text) const {
        return sendto(socket.get(), text.data(), text.size(), 0,
                      reinterpret_cast<const sockaddr*>(&to), sizeof to) > 0;
    }

    quol::vtp::Descriptor socket{::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)};
    sockaddr_in to{};
    bool works = false;
};

// The next datagram, waited for; empty when there is none.
std::string heardBy(const quol::vtp::Descriptor& socket, std::chrono::milliseconds limit = 30s) {
    std::array<std::uint8_t, 256> room{};
    quol::vtp::Address from = 0;
    std::string text;
    becomesTrue(
        [&] {
            const auto size = quol::vtp::receiveDatagram(socket, room, from);
            if (size) text.assign(room.begin(), room.begin() + static_cast<std::ptrdiff_t>(*size));
            return size.has_value();
        },
        limit);
    return text;
}

class VtpNetwork : public ::testing::Test {
protected:
    void SetUp() override {
        if (!here_.isThere() || !there_.isThere())
            GTEST_SKIP() << "no network namespaces or tap devices to be made here";
        cable_ = std::make_unique<Cable>(here_, there_);
    }

    void TearDown() override {
        // All of it ends in the machines where it lives, before these do.
        receiver_.reset();
        listener_.reset();
        sender_.reset();
        cable_.reset();
    }

    void beginAnew() {
        TearDown();
        SetUp();
    }

    void startSender(int width, int height, int coding, const vtp_network& network = outside) {
        here_.run([&] { sender_ = startedSender("Across", width, height, coding, network); });
        ASSERT_TRUE(sender_);
    }

    void connect(const vtp_network& network = outside) {
        there_.run([&] {
            receiver_.reset(vtp_create_receiver());
            vtp_receiver_set_network(receiver_.get(), network);
            // As hosts do: a lost first packet costs a second.
            for (int i = 0; i < 10 && !vtp_receiver_is_connected(receiver_.get()); ++i)
                vtp_receiver_connect(receiver_.get(), here_.address().c_str(),
                                     vtp_sender_get_port(sender_.get()));
        });
        ASSERT_TRUE(vtp_receiver_is_connected(receiver_.get()));
    }

    // Sends until a picture comes that was sent from now on.
    bool delivers(std::chrono::milliseconds limit = 30s) {
        const auto picture = vtpPicture(width_, height_, 3, 1);
        const std::int64_t first = time_ + 1;
        return becomesTrue(
            [&] {
                vtp_sender_send_frame(sender_.get(), picture.data(), 2, ++time_);
                std::this_thread::sleep_for(20ms);
                vtp_video_frame frame{};
                while (vtp_receiver_receive_frame(receiver_.get(), &frame)) {
                    if (frame.timestamp >= first) return true;
                }
                return false;
            },
            limit);
    }

    int width_ = 160;
    int height_ = 90;
    std::int64_t time_ = 0;
    Machine here_{"10.77.0.1"};
    Machine there_{"10.77.0.2"};
    std::unique_ptr<Cable> cable_;
    VtpSender sender_;
    VtpListener listener_;
    VtpReceiver receiver_;
};

TEST_F(VtpNetwork, nothingLeavesTheMachineByDefault) {
    startSender(width_, height_, vtp_coding_automatic, {});
    here_.run([&] {
        listener_.reset(vtp_create_listener());
        vtp_listener_start(listener_.get());
        receiver_ = connectedReceiver(sender_.get());
        ASSERT_TRUE(receiver_);
        EXPECT_TRUE(becomesTrue([&] { return sourcesOf(listener_.get()).size() == 1; }));
        EXPECT_TRUE(delivers());
        vtp_receiver_connect(receiver_.get(), there_.address().c_str(), 4242);
        EXPECT_FALSE(vtp_receiver_is_connected(receiver_.get()));
        vtp_receiver_connect_by_name(receiver_.get(), "Across");
        EXPECT_TRUE(vtp_receiver_is_connected(receiver_.get()));
        vtp_sender_stop(sender_.get());
        EXPECT_TRUE(becomesTrue([&] { return sourcesOf(listener_.get()).empty(); }));
    });
    EXPECT_EQ(cable_->packets(), 0);
}

TEST_F(VtpNetwork, nobodyOutsideReachesASenderOfThisMachine) {
    startSender(width_, height_, vtp_coding_automatic, {});
    there_.run([&] {
        receiver_.reset(vtp_create_receiver());
        vtp_receiver_set_network(receiver_.get(), outside);
        vtp_receiver_connect(receiver_.get(), here_.address().c_str(),
                             vtp_sender_get_port(sender_.get()));
        EXPECT_FALSE(vtp_receiver_is_connected(receiver_.get()));
    });
}

TEST_F(VtpNetwork, aSenderIsFoundOnceBothNameTheInterface) {
    startSender(width_, height_, vtp_coding_automatic);
    VtpListener inside;
    there_.run([&] {
        inside.reset(vtp_create_listener());
        vtp_listener_start(inside.get());
        listener_.reset(vtp_create_listener());
        vtp_listener_set_network(listener_.get(), outside);
        vtp_listener_start(listener_.get());
    });
    ASSERT_TRUE(becomesTrue([&] { return sourcesOf(listener_.get()).size() == 1; }));
    const vtp_source_record source = sourcesOf(listener_.get())[0];
    EXPECT_STREQ(source.name, "Across");
    EXPECT_STREQ(source.host, "10.77.0.1");
    EXPECT_EQ(source.port, vtp_sender_get_port(sender_.get()));
    EXPECT_TRUE(sourcesOf(inside.get()).empty());
    EXPECT_GT(cable_->packets(), 0);
    there_.run([&] {
        receiver_.reset(vtp_create_receiver());
        vtp_receiver_set_network(receiver_.get(), outside);
        vtp_receiver_connect_by_name(receiver_.get(), "Across");
    });
    EXPECT_TRUE(vtp_receiver_is_connected(receiver_.get()));
    EXPECT_TRUE(delivers());
    vtp_sender_stop(sender_.get());
    EXPECT_TRUE(becomesTrue([&] { return sourcesOf(listener_.get()).empty(); }));
}

// Heard on both paths, once, and reached within the machine.
TEST_F(VtpNetwork, aSenderOfThisMachineIsHeardWithin) {
    startSender(width_, height_, vtp_coding_automatic);
    here_.run([&] {
        listener_.reset(vtp_create_listener());
        vtp_listener_set_network(listener_.get(), outside);
        vtp_listener_start(listener_.get());
    });
    ASSERT_TRUE(becomesTrue([&] { return sourcesOf(listener_.get()).size() == 1; }));
    EXPECT_STREQ(sourcesOf(listener_.get())[0].host, "127.0.0.1");
}

// It hears them within, and need not hear them twice. What another program says behind them is the
// first that comes.
TEST_F(VtpNetwork, announcementsDoNotComeBackFromTheInterface) {
    here_.run([&] {
        const auto interface = quol::vtp::findInterface(Machine::interfaceName);
        ASSERT_TRUE(interface);
        const auto hearing = quol::vtp::listenForAnnouncements(&*interface);
        ASSERT_TRUE(hearing);
        const OtherProgram other(Machine::interfaceName);
        ASSERT_TRUE(other.works);
        quol::vtp::AnnouncementSender announcing(&*interface);
        const std::string mine = "mine";
        for (int i = 0; i < 20; ++i)
            announcing.send({reinterpret_cast<const std::uint8_t*>(mine.data()), mine.size()});
        ASSERT_TRUE(other.says("other"));
        EXPECT_EQ(heardBy(hearing), "other");
    });
    // But they leave.
    EXPECT_TRUE(becomesTrue([&] { return cable_->packets() >= 21; }));
}

TEST_F(VtpNetwork, whatIsSaidOnAnotherInterfaceIsNotHeard) {
    here_.run([&] {
        const auto interface = quol::vtp::findInterface(Machine::interfaceName);
        ASSERT_TRUE(interface);
        const auto hearing = quol::vtp::listenForAnnouncements(&*interface);
        ASSERT_TRUE(hearing);
        const OtherProgram inside("lo");
        const OtherProgram outsider(Machine::interfaceName);
        ASSERT_TRUE(inside.works && outsider.works);
        for (int i = 0; i < 20; ++i) {
            ASSERT_TRUE(inside.says("inside"));
            ASSERT_EQ(heardBy(inside.socket), "inside");
        }
        ASSERT_TRUE(outsider.says("outside"));
        EXPECT_EQ(heardBy(hearing), "outside");
    });
}

TEST_F(VtpNetwork, soundAndPlainPicturesSurviveDelayAndLoss) {
    cable_->setDelay(10ms);
    cable_->setLoss(0.01);
    startSender(width_, height_, vtp_coding_none);
    connect();
    for (unsigned number = 0; number < 30; ++number) {
        const auto picture = vtpPicture(width_, height_, 3, number);
        const auto sound = vtpSound(960, 2, number);
        vtp_sender_send_frame(sender_.get(), picture.data(), 2, number);
        vtp_sender_send_audio(sender_.get(), sound.data(), 960, 48000, 2, number * 3);
        vtp_video_frame frame{};
        vtp_audio_frame block{};
        ASSERT_TRUE(nextPicture(receiver_.get(), frame)) << number;
        ASSERT_TRUE(nextSound(receiver_.get(), block)) << number;
        EXPECT_EQ(frame.timestamp, number);
        EXPECT_EQ(bytesOf(frame, 3), picture);
        EXPECT_EQ(block.timestamp, number * 3);
        EXPECT_EQ(samplesOf(block), sound);
    }
}

TEST_F(VtpNetwork, picturesForOtherMachinesAreIntraCodedUnlessToldOtherwise) {
    cable_->setDelay(5ms);
    startSender(1280, 720, vtp_coding_automatic);
    connect();
    VtpReceiver within;
    here_.run([&] { within = connectedReceiver(sender_.get()); });
    ASSERT_TRUE(within);
    std::vector<std::uint8_t> picture(1280 * 720 * 3);
    for (std::size_t i = 0; i < picture.size(); ++i)
        picture[i] = static_cast<std::uint8_t>(40 + i / 3 % 1280 / 8 + i % 3 * 5);
    const int before = cable_->packets();
    vtp_sender_send_frame(sender_.get(), picture.data(), 2, 5);
    vtp_video_frame frame{};
    ASSERT_TRUE(nextPicture(receiver_.get(), frame));
    // Plain, it would take some 1900 packets.
    EXPECT_LT(cable_->packets() - before, 700);
    EXPECT_EQ(frame.timestamp, 5);
    EXPECT_EQ(frame.pixelFormat, vtp_format_bgr24);
    int worst = 0;
    for (std::size_t i = 0; i < picture.size(); ++i)
        worst = std::max(worst, std::abs(frame.data[i] - picture[i]));
    EXPECT_LE(worst, 8);
    ASSERT_TRUE(nextPicture(within.get(), frame));
    EXPECT_EQ(bytesOf(frame, 3), picture);
}

// By the clock: TCP's pauses double, and the ends take each other for gone after fifteen seconds.
TEST_F(VtpNetwork, aCutOfFiveSecondsIsSurvived) {
    measured([this](MachineWatch& watch) {
        beginAnew();
        watch.begin();
        cable_->setDelay(10ms);
        cable_->setLoss(0.005);
        startSender(width_, height_, vtp_coding_automatic);
        connect();
        ASSERT_TRUE(delivers());
        cable_->cut(true);
        const auto picture = vtpPicture(width_, height_, 3, 2);
        const auto sound = vtpSound(960, 2, 2);
        const auto end = std::chrono::steady_clock::now() + 5s;
        while (std::chrono::steady_clock::now() < end) {
            vtp_sender_send_frame(sender_.get(), picture.data(), 2, ++time_);
            vtp_sender_send_audio(sender_.get(), sound.data(), 960, 48000, 2, time_);
            std::this_thread::sleep_for(20ms);
            vtp_video_frame frame{};
            while (vtp_receiver_receive_frame(receiver_.get(), &frame)) {
            }
        }
        EXPECT_TRUE(vtp_receiver_is_connected(receiver_.get()));
        cable_->cut(false);
        EXPECT_TRUE(delivers());
        EXPECT_TRUE(vtp_receiver_is_connected(receiver_.get()));
    });
}

TEST_F(VtpNetwork, aCutForGoodIsNoticedAtBothEnds) {
    startSender(width_, height_, vtp_coding_automatic);
    connect();
    ASSERT_TRUE(delivers());
    cable_->cut(true);
    EXPECT_TRUE(becomesTrue([&] { return !vtp_receiver_is_connected(receiver_.get()); }, 60s));
    cable_->cut(false);
    connect();
    EXPECT_TRUE(delivers());
}

TEST_F(VtpNetwork, oneOtherMachineTakesSoManyConnectionsAndNoMore) {
    startSender(width_, height_, vtp_coding_automatic);
    std::vector<VtpReceiver> receivers;
    there_.run([&] {
        for (int i = 0; i < 8; ++i) {
            receivers.emplace_back(vtp_create_receiver());
            vtp_receiver_set_network(receivers.back().get(), outside);
            vtp_receiver_connect(receivers.back().get(), here_.address().c_str(),
                                 vtp_sender_get_port(sender_.get()));
            EXPECT_TRUE(vtp_receiver_is_connected(receivers.back().get())) << i;
        }
        receiver_.reset(vtp_create_receiver());
        vtp_receiver_set_network(receiver_.get(), outside);
        vtp_receiver_connect(receiver_.get(), here_.address().c_str(),
                             vtp_sender_get_port(sender_.get()));
        EXPECT_FALSE(vtp_receiver_is_connected(receiver_.get()));
    });
    receivers.pop_back();
    connect();
}

TEST_F(VtpNetwork, aSecretWorksAcrossMachines) {
    startSender(width_, height_, vtp_coding_automatic, {Machine::interfaceName, "sesame"});
    there_.run([&] {
        receiver_.reset(vtp_create_receiver());
        vtp_receiver_set_network(receiver_.get(), outside);
        vtp_receiver_connect(receiver_.get(), here_.address().c_str(),
                             vtp_sender_get_port(sender_.get()));
        EXPECT_FALSE(vtp_receiver_is_connected(receiver_.get()));
    });
    connect({Machine::interfaceName, "sesame"});
    EXPECT_TRUE(delivers());
}

} // namespace
