// What a sender tells of itself, and to whom.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <array>

#include "platform/vtp/Bytes.h"
#include "platform/vtp/Network.h"
#include "support/VtpEnds.h"
#include "support/VtpStranger.h"

namespace {

using namespace test;
using namespace quol::vtp;

std::optional<Announcement> nextAnnouncement(const Descriptor& hearing, const std::string& name) {
    std::optional<Announcement> found;
    becomesTrue([&] {
        std::array<std::uint8_t, maxAnnouncementBytes> room{};
        Address from = 0;
        const auto size = receiveDatagram(hearing, room, from);
        if (!size) return false;
        found = readAnnouncement({room.data(), *size});
        if (found && found->name == name) {
            EXPECT_EQ(from, loopbackAddress);
            return true;
        }
        found.reset();
        return false;
    });
    return found;
}

VtpSender makeSender(const std::string& name, int rate, int sound, const std::string& secret = "") {
    VtpSender sender(vtp_create_sender(name.c_str(), 320, 180, rate, vtp_coding_automatic, sound));
    vtp_sender_set_network(sender.get(), {"", secret});
    if (!vtp_sender_start(sender.get())) sender.reset();
    return sender;
}

TEST(VtpOffer, theAnnouncementTellsOfTheStream) {
    const Descriptor hearing = listenForAnnouncements(nullptr);
    ASSERT_TRUE(hearing);
    for (const bool isFull : {true, false}) {
        const std::string name = vtpName(isFull ? "full" : "bare");
        const VtpSender sender =
            makeSender(name, isFull ? 50 : -3, isFull ? 1 : 0, isFull ? "sesame" : "");
        ASSERT_TRUE(sender);
        const auto heard = nextAnnouncement(hearing, name);
        ASSERT_TRUE(heard);
        EXPECT_FALSE(heard->isGone);
        EXPECT_EQ(heard->port, vtp_sender_get_port(sender.get()));
        EXPECT_EQ(heard->width, 320u);
        EXPECT_EQ(heard->height, 180u);
        EXPECT_EQ(heard->pictureRate, isFull ? 50u : 0u);
        EXPECT_EQ(heard->flags, isFull ? announcesSecret | announcesSound : 0);
    }
}

TEST(VtpOffer, aSenderKeepsItsInstanceWhenItStartsAgain) {
    const Descriptor hearing = listenForAnnouncements(nullptr);
    ASSERT_TRUE(hearing);
    const std::string name = vtpName("same");
    const VtpSender sender = makeSender(name, 25, 1);
    const auto first = nextAnnouncement(hearing, name);
    vtp_sender_stop(sender.get());
    std::optional<Announcement> gone;
    while ((gone = nextAnnouncement(hearing, name)) && !gone->isGone) {
    }
    ASSERT_TRUE(first && gone);
    ASSERT_TRUE(vtp_sender_start(sender.get()));
    const auto second = nextAnnouncement(hearing, name);
    ASSERT_TRUE(second);
    EXPECT_FALSE(second->isGone);
    EXPECT_EQ(gone->instance, first->instance);
    EXPECT_EQ(second->instance, first->instance);
    EXPECT_NE(first->instance, Instance{});
    // Another one has another.
    const std::string other = vtpName("other");
    const VtpSender another = makeSender(other, 25, 1);
    const auto third = nextAnnouncement(hearing, other);
    ASSERT_TRUE(third);
    EXPECT_NE(third->instance, first->instance);
}

TEST(VtpOffer, theWelcomeTellsOfTheStream) {
    for (const int sound : {0, 1}) {
        const std::string name = vtpName("welcome");
        const VtpSender sender = makeSender(name, sound != 0 ? 2000 : 25, sound);
        ASSERT_TRUE(sender);
        Stranger stranger(vtp_sender_get_port(sender.get()));
        stranger.say(MessageType::hello);
        ASSERT_TRUE(stranger.hears(64));
        stranger.say(MessageType::proof);
        const std::string welcome = stranger.heard(80 + name.size());
        ASSERT_EQ(welcome.size(), 80 + name.size());
        const auto number = [&](std::size_t at) {
            return getNumber<std::uint32_t>(reinterpret_cast<const std::uint8_t*>(welcome.data()) +
                                            at);
        };
        EXPECT_EQ(welcome[5], 4);
        EXPECT_EQ(number(8), name.size());
        EXPECT_EQ(number(64), 320u);
        EXPECT_EQ(number(68), 180u);
        EXPECT_EQ(number(72), sound != 0 ? 1000u : 25u);
        EXPECT_EQ(number(76), static_cast<std::uint32_t>(sound));
        EXPECT_EQ(welcome.substr(80), name);
    }
}

// Whether anybody was there or not, and over all starts of the sender.
TEST(VtpOffer, sequencesCountWhatWasHandedOver) {
    const std::string name = vtpName("sequence");
    const VtpSender sender = makeSender(name, 25, 1);
    ASSERT_TRUE(sender);
    const auto picture = vtpPicture(320, 180, 3, 1);
    const auto sound = vtpSound(10, 1, 1);
    const auto send = [&](int pictures, int sounds) {
        for (int i = 0; i < pictures; ++i)
            vtp_sender_send_frame(sender.get(), picture.data(), 2, 0);
        for (int i = 0; i < sounds; ++i)
            vtp_sender_send_audio(sender.get(), sound.data(), 10, 48000, 1, 0);
    };
    // Those of the next picture and the next block of sound.
    const auto sequences = [&] {
        Stranger receiver(vtp_sender_get_port(sender.get()));
        EXPECT_TRUE(receiver.becomesReceiver(name));
        send(1, 1);
        std::pair<std::uint64_t, std::uint64_t> found{~0u, ~0u};
        while (found.first == ~0u || found.second == ~0u) {
            const std::string header = receiver.heard(32);
            if (header.size() < 32) break;
            const auto* bytes = reinterpret_cast<const std::uint8_t*>(header.data());
            const auto sequence = getNumber<std::uint64_t>(bytes + 24);
            if (header[5] == 5) found.first = sequence;
            if (header[5] == 6) found.second = sequence;
            if (header[5] != 7) receiver.heard(16 + getNumber<std::uint32_t>(bytes + 8));
        }
        return found;
    };
    using Found = std::pair<std::uint64_t, std::uint64_t>;
    EXPECT_EQ(sequences(), Found(0, 0));
    send(3, 5); // the receiver has gone, or is about to
    EXPECT_EQ(sequences(), Found(4, 6));
    vtp_sender_stop(sender.get());
    send(1, 2);
    ASSERT_TRUE(vtp_sender_start(sender.get()));
    EXPECT_EQ(sequences(), Found(6, 9));
    // What cannot be sent was not handed over.
    vtp_sender_send_frame(sender.get(), nullptr, 2, 0);
    vtp_sender_send_audio(sender.get(), sound.data(), 10, 48000, 17, 0);
    EXPECT_EQ(sequences(), Found(7, 10));
}

// Every socket of the process, whichever it is for.
TEST(VtpOffer, withoutAnInterfaceEverythingIsBoundWithinThisMachine) {
    const VtpSender sender = makeSender(vtpName("within"), 25, 1);
    ASSERT_TRUE(sender);
    const VtpListener listener(vtp_create_listener());
    vtp_listener_start(listener.get());
    const VtpReceiver receiver = connectedReceiver(sender.get());
    ASSERT_TRUE(receiver);
    int streams = 0;
    int datagrams = 0;
    for (int number = 0; number < 1024; ++number) {
        sockaddr_in address{};
        socklen_t size = sizeof address;
        if (getsockname(number, reinterpret_cast<sockaddr*>(&address), &size) != 0 ||
            address.sin_family == AF_UNIX)
            continue;
        ASSERT_EQ(address.sin_family, AF_INET);
        int type = 0;
        socklen_t typeSize = sizeof type;
        ASSERT_EQ(getsockopt(number, SOL_SOCKET, SO_TYPE, &type, &typeSize), 0);
        const Address bound = ntohl(address.sin_addr.s_addr);
        if (type == SOCK_STREAM) {
            ++streams;
            EXPECT_EQ(bound, loopbackAddress);
        } else {
            ++datagrams;
            EXPECT_TRUE(bound == loopbackAddress || bound == loopbackAnnouncement) << bound;
        }
    }
    EXPECT_EQ(streams, 3);   // who listens, and both ends of the connection
    EXPECT_EQ(datagrams, 2); // who announces, and who hears
}

TEST(VtpOffer, theSystemHoldsLittleBackOfWhatIsNewer) {
    const Descriptor listening = listenForConnections(loopbackAddress, 0, nullptr);
    ASSERT_TRUE(listening);
    const Stranger stranger(localPort(listening));
    bool isFull = false;
    Descriptor accepted;
    ASSERT_TRUE(becomesTrue([&] {
        accepted = acceptConnection(listening, isFull);
        return static_cast<bool>(accepted);
    }));
    int value = 0;
    socklen_t size = sizeof value;
    ASSERT_EQ(getsockopt(accepted.get(), IPPROTO_TCP, TCP_NOTSENT_LOWAT, &value, &size), 0);
    EXPECT_EQ(value, 128 << 10);
    ASSERT_EQ(getsockopt(accepted.get(), IPPROTO_TCP, TCP_NODELAY, &value, &size), 0);
    EXPECT_NE(value, 0);
}

} // namespace
