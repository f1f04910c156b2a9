// Ends that stall, die, or are not what they should be.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <random>

#include "platform/vtp/Descriptor.h"
#include "platform/vtp/Limits.h"
#include "platform/vtp/Message.h"
#include "platform/vtp/Secret.h"
#include "support/ThisProcess.h"
#include "support/VtpEnds.h"
#include "support/VtpStranger.h"

namespace {

using namespace test;
using namespace std::chrono_literals;
using quol::vtp::Descriptor;
using quol::vtp::MessageHeader;
using quol::vtp::MessageType;
using Steady = std::chrono::steady_clock;

bool delivers(vtp_sender* sender, vtp_receiver* receiver, std::int64_t time) {
    const auto picture = vtpPicture(16, 8, 3, 1);
    vtp_sender_send_frame(sender, picture.data(), 2, time);
    vtp_video_frame frame{};
    while (nextPicture(receiver, frame)) {
        if (frame.timestamp == time) return true;
    }
    return false;
}

// --------------------------------------------------------------------------- arguments, states

TEST(VtpFaults, nullHandlesAreTakenQuietly) {
    const std::uint8_t picture[3] = {};
    const std::int16_t sample = 0;
    vtp_video_frame frame{};
    vtp_audio_frame sound{};
    vtp_source_record source{};
    vtp_destroy_sender(nullptr);
    vtp_sender_set_network(nullptr, {});
    EXPECT_FALSE(vtp_sender_start(nullptr));
    vtp_sender_stop(nullptr);
    vtp_sender_send_frame(nullptr, picture, 2, 0);
    vtp_sender_send_audio(nullptr, &sample, 1, 48000, 1, 0);
    EXPECT_EQ(vtp_sender_get_port(nullptr), 0);
    vtp_sender_set_scale_quality(nullptr, 0);
    vtp_destroy_receiver(nullptr);
    vtp_receiver_set_network(nullptr, {});
    vtp_receiver_connect(nullptr, "127.0.0.1", 1);
    vtp_receiver_connect_by_name(nullptr, "name");
    vtp_receiver_disconnect(nullptr);
    EXPECT_FALSE(vtp_receiver_receive_frame(nullptr, &frame));
    EXPECT_FALSE(vtp_receiver_receive_audio(nullptr, &sound));
    EXPECT_FALSE(vtp_receiver_is_connected(nullptr));
    vtp_destroy_listener(nullptr);
    vtp_listener_set_network(nullptr, {});
    vtp_listener_start(nullptr);
    vtp_listener_stop(nullptr);
    EXPECT_EQ(vtp_listener_get_sources(nullptr, &source, 1), 0);
    const VtpReceiver receiver(vtp_create_receiver());
    EXPECT_FALSE(vtp_receiver_receive_frame(receiver.get(), nullptr));
    EXPECT_FALSE(vtp_receiver_receive_audio(receiver.get(), nullptr));
}

TEST(VtpFaults, sendersOfImpossibleSizesAreNotMade) {
    for (const auto& [width, height] :
         {std::pair(0, 100), std::pair(100, 0), std::pair(-1, 100), std::pair(100, -1),
          std::pair(8193, 10), std::pair(10, 8193), std::pair(8192, 8192),
          std::pair(2147483647, 2147483647)})
        EXPECT_EQ(vtp_create_sender("x", width, height, 25, 0, 1), nullptr) << width << height;
    for (const auto& [width, height] : {std::pair(1, 1), std::pair(8192, 4320)})
        EXPECT_TRUE(VtpSender(vtp_create_sender(nullptr, width, height, -3, 99, 7)));
}

TEST(VtpFaults, aSenderHasAPortWhileItRuns) {
    const VtpSender sender(vtp_create_sender("x", 16, 8, 25, 0, 1));
    EXPECT_EQ(vtp_sender_get_port(sender.get()), 0);
    ASSERT_TRUE(vtp_sender_start(sender.get()));
    const std::uint16_t port = vtp_sender_get_port(sender.get());
    EXPECT_NE(port, 0);
    EXPECT_TRUE(vtp_sender_start(sender.get()));
    EXPECT_EQ(vtp_sender_get_port(sender.get()), port);
    vtp_sender_stop(sender.get());
    EXPECT_EQ(vtp_sender_get_port(sender.get()), 0);
    vtp_sender_stop(sender.get());
    // Nobody holds the port any more.
    const Descriptor other(socket(AF_INET, SOCK_STREAM, 0));
    sockaddr_in at{};
    at.sin_family = AF_INET;
    at.sin_port = htons(port);
    at.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(bind(other.get(), reinterpret_cast<const sockaddr*>(&at), sizeof at), 0);
    EXPECT_TRUE(vtp_sender_start(sender.get()));
}

TEST(VtpFaults, anInterfaceThatIsNotThereStartsNothing) {
    const VtpSender sender(vtp_create_sender("x", 16, 8, 25, 0, 1));
    vtp_sender_set_network(sender.get(), {"no such one", ""});
    EXPECT_FALSE(vtp_sender_start(sender.get()));
    vtp_sender_set_network(sender.get(), {std::string(500, 'x'), ""});
    EXPECT_FALSE(vtp_sender_start(sender.get()));
    EXPECT_EQ(vtp_sender_get_port(sender.get()), 0);
    vtp_sender_set_network(sender.get(), {});
    EXPECT_TRUE(vtp_sender_start(sender.get()));
}

TEST(VtpFaults, connectingToNobodyEndsSoon) {
    const VtpReceiver receiver(vtp_create_receiver());
    for (const char* host : {"127.0.0.1", "localhost", "", "no.such.host", "127.0.0.1 ",
                             "999.1.1.1", "::1", "192.0.2.1"}) {
        vtp_receiver_connect(receiver.get(), host, 9);
        EXPECT_FALSE(vtp_receiver_is_connected(receiver.get())) << host;
    }
    vtp_receiver_connect(receiver.get(), nullptr, 9);
    vtp_receiver_connect(receiver.get(), "127.0.0.1", 0);
    vtp_receiver_connect_by_name(receiver.get(), nullptr);
    EXPECT_FALSE(vtp_receiver_is_connected(receiver.get()));
}

TEST(VtpFaults, aSenderThatSaysNothingIsGivenUp) {
    const Listening silent;
    ASSERT_NE(silent.port(), 0);
    const VtpReceiver receiver(vtp_create_receiver());
    vtp_receiver_connect(receiver.get(), "127.0.0.1", silent.port());
    EXPECT_FALSE(vtp_receiver_is_connected(receiver.get()));
}

TEST(VtpFaults, disconnectingCutsAConnectingShort) {
    const Listening silent;
    ASSERT_NE(silent.port(), 0);
    const VtpReceiver receiver(vtp_create_receiver());
    std::thread connecting(
        [&] { vtp_receiver_connect(receiver.get(), "127.0.0.1", silent.port()); });
    EXPECT_TRUE(becomesTrue([&] { return vtp_receiver_is_connected(receiver.get()); }));
    vtp_receiver_disconnect(receiver.get());
    EXPECT_FALSE(vtp_receiver_is_connected(receiver.get()));
    connecting.join();
    EXPECT_FALSE(vtp_receiver_is_connected(receiver.get()));
}

// The second to ask waits for the first; the disconnect that comes then is meant for both.
TEST(VtpFaults, disconnectingIsNotOvertakenByAConnectingThatWaits) {
    const Listening silent;
    ASSERT_NE(silent.port(), 0);
    const auto cutShort = [&] {
        const VtpReceiver receiver(vtp_create_receiver());
        const auto connect = [&] {
            vtp_receiver_connect(receiver.get(), "127.0.0.1", silent.port());
        };
        std::thread first(connect);
        EXPECT_TRUE(becomesTrue([&] { return vtp_receiver_is_connected(receiver.get()); }));
        std::thread second(connect);
        std::this_thread::sleep_for(200ms); // so that it has asked
        const auto begun = Steady::now();
        vtp_receiver_disconnect(receiver.get());
        first.join();
        second.join();
        EXPECT_FALSE(vtp_receiver_is_connected(receiver.get()));
        return Steady::now() - begun < 1500ms;
    };
    // On a busy machine the second may not have asked yet.
    bool isCut = false;
    for (int i = 0; i < 5 && !isCut; ++i)
        isCut = cutShort();
    EXPECT_TRUE(isCut);
}

// -------------------------------------------------------------------------------- dying, stalling

TEST(VtpFaults, aSenderThatStopsIsNoticedAtOnceAndFoundAgain) {
    const std::string name = vtpName("returns");
    const VtpSender sender = startedSender(name);
    const VtpReceiver receiver = connectedReceiver(sender.get());
    ASSERT_TRUE(receiver);
    EXPECT_TRUE(delivers(sender.get(), receiver.get(), 1));
    vtp_sender_stop(sender.get());
    EXPECT_TRUE(becomesTrue([&] { return !vtp_receiver_is_connected(receiver.get()); }));
    const auto picture = vtpPicture(16, 8, 3, 1);
    vtp_sender_send_frame(sender.get(), picture.data(), 2, 2);
    ASSERT_TRUE(vtp_sender_start(sender.get()));
    vtp_receiver_connect(receiver.get(), "127.0.0.1", vtp_sender_get_port(sender.get()));
    ASSERT_TRUE(vtp_receiver_is_connected(receiver.get()));
    EXPECT_TRUE(delivers(sender.get(), receiver.get(), 3));
}

TEST(VtpFaults, aSenderThatStartsAgainIsAtItsPortAgain) {
    const std::string name = vtpName("port");
    const VtpSender sender = startedSender(name);
    const std::uint16_t port = vtp_sender_get_port(sender.get());
    for (int i = 0; i < 3; ++i) {
        // One that stays behind keeps the old connection from ending at once.
        Stranger connected(port);
        ASSERT_TRUE(connected.becomesReceiver(name));
        vtp_sender_stop(sender.get());
        ASSERT_TRUE(vtp_sender_start(sender.get()));
        EXPECT_EQ(vtp_sender_get_port(sender.get()), port);
    }
    // Another one that is told to take it finds it taken, and takes any.
    VtpSender other(vtp_create_sender("other", 16, 8, 25, 0, 1));
    vtp_sender_set_network(other.get(), {"", "", port});
    ASSERT_TRUE(vtp_sender_start(other.get()));
    EXPECT_NE(vtp_sender_get_port(other.get()), port);
    vtp_sender_stop(sender.get());
    other.reset(vtp_create_sender("other", 16, 8, 25, 0, 1));
    vtp_sender_set_network(other.get(), {"", "", port});
    ASSERT_TRUE(vtp_sender_start(other.get()));
    EXPECT_EQ(vtp_sender_get_port(other.get()), port);
    // Whose port was taken meanwhile takes another.
    ASSERT_TRUE(vtp_sender_start(sender.get()));
    EXPECT_NE(vtp_sender_get_port(sender.get()), port);
}

// In another process, which is killed. The child is made while this one has a single thread.
TEST(VtpFaults, aSenderThatIsKilledIsNoticedAndForgotten) {
    const std::string name = vtpName("killed");
    int channel[2];
    ASSERT_EQ(pipe(channel), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const VtpSender sender = startedSender(name);
        const std::uint16_t port = vtp_sender_get_port(sender.get());
        [[maybe_unused]] const ssize_t told = write(channel[1], &port, sizeof port);
        while (true)
            pause();
    }
    std::uint16_t port = 0;
    ASSERT_EQ(read(channel[0], &port, sizeof port), static_cast<ssize_t>(sizeof port));
    close(channel[0]);
    close(channel[1]);
    const VtpListener listener(vtp_create_listener());
    vtp_listener_start(listener.get());
    const VtpReceiver receiver(vtp_create_receiver());
    vtp_receiver_connect(receiver.get(), "127.0.0.1", port);
    const bool wasConnected = vtp_receiver_is_connected(receiver.get());
    const bool wasHeard =
        becomesTrue([&] { return sourcesNamed(listener.get(), name).size() == 1; });
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    EXPECT_TRUE(wasConnected);
    EXPECT_TRUE(wasHeard);
    EXPECT_TRUE(becomesTrue([&] { return !vtp_receiver_is_connected(receiver.get()); }));
    EXPECT_TRUE(becomesTrue([&] { return sourcesNamed(listener.get(), name).empty(); }));
}

TEST(VtpFaults, aReceiverThatDoesNotReadHoldsUpNobody) {
    const std::string name = vtpName("stalled");
    const VtpSender sender = startedSender(name, 640, 360);
    Stranger stalled(vtp_sender_get_port(sender.get()));
    ASSERT_TRUE(stalled.isConnected());
    ASSERT_TRUE(stalled.becomesReceiver(name));
    const VtpReceiver receiver = connectedReceiver(sender.get());
    ASSERT_TRUE(receiver);
    const auto picture = vtpPicture(640, 360, 3, 1);
    // Far more than sockets hold. Every single one reaches the other receiver.
    for (int i = 0; i < 100; ++i) {
        vtp_sender_send_frame(sender.get(), picture.data(), 2, i);
        vtp_video_frame frame{};
        ASSERT_TRUE(nextPicture(receiver.get(), frame));
        ASSERT_EQ(frame.timestamp, i);
    }
}

TEST(VtpFaults, sendingNeverWaitsForAReceiverThatDoesNotRead) {
    const std::string name = vtpName("held");
    const VtpSender sender = startedSender(name, 640, 360);
    Stranger stalled(vtp_sender_get_port(sender.get()));
    ASSERT_TRUE(stalled.becomesReceiver(name));
    const auto picture = vtpPicture(640, 360, 3, 1);
    const auto sound = vtpSound(960, 2, 1);
    std::vector<Steady::duration> times;
    for (int i = 0; i < 101; ++i) {
        const auto begun = Steady::now();
        vtp_sender_send_frame(sender.get(), picture.data(), 2, i);
        vtp_sender_send_audio(sender.get(), sound.data(), 960, 48000, 2, i);
        times.push_back(Steady::now() - begun);
    }
    std::sort(times.begin(), times.end());
    EXPECT_LT(times[50], 20ms); // others may run on a busy machine; most of the time they do not
    const auto begun = Steady::now();
    vtp_sender_stop(sender.get());
    EXPECT_LT(Steady::now() - begun, 10s);
}

TEST(VtpFaults, aReceiverThatDiesLeavesTheOthersAlone) {
    const std::string name = vtpName("leaves");
    const VtpSender sender = startedSender(name, 640, 360);
    const auto picture = vtpPicture(640, 360, 3, 1);
    const VtpReceiver stays = connectedReceiver(sender.get());
    ASSERT_TRUE(stays);
    for (int i = 0; i < 20; ++i) {
        {
            Stranger dies(vtp_sender_get_port(sender.get()));
            ASSERT_TRUE(dies.becomesReceiver(name));
            vtp_sender_send_frame(sender.get(), picture.data(), 2, i);
        }
        vtp_video_frame frame{};
        ASSERT_TRUE(nextPicture(stays.get(), frame));
        ASSERT_EQ(frame.timestamp, i);
    }
}

TEST(VtpFaults, aQuietConnectionIsKept) {
    const VtpSender sender = startedSender(vtpName("quiet"));
    const VtpReceiver receiver = connectedReceiver(sender.get());
    ASSERT_TRUE(receiver);
    EXPECT_FALSE(becomesTrue([&] { return !vtp_receiver_is_connected(receiver.get()); }, 18s));
    EXPECT_TRUE(delivers(sender.get(), receiver.get(), 1));
}

TEST(VtpFaults, aReceiverThatSaysNothingMoreIsClosedInTheEnd) {
    const std::string name = vtpName("mute");
    const VtpSender sender = startedSender(name);
    Stranger mute(vtp_sender_get_port(sender.get()));
    ASSERT_TRUE(mute.becomesReceiver(name));
    EXPECT_TRUE(mute.isClosed());
}

// -------------------------------------------------------------------------------------- strangers

TEST(VtpFaults, strangersWhoTalkNonsenseAreClosed) {
    const VtpSender sender = startedSender(vtpName("nonsense"));
    const std::uint16_t port = vtp_sender_get_port(sender.get());
    std::minstd_rand random(1);
    for (int i = 0; i < 50; ++i) {
        Stranger stranger(port);
        std::vector<std::uint8_t> bytes(64 + random() % 2000);
        for (std::uint8_t& byte : bytes)
            byte = static_cast<std::uint8_t>(random() >> 8);
        if (i % 2 != 0) std::memcpy(bytes.data(), "VTP1\x01", 5);
        bytes[5] = i % 4 == 1 ? 5 : bytes[5]; // a picture, of all things
        if (i % 4 == 3) bytes[7] = 0xff;
        stranger.say(bytes.data(), bytes.size());
        EXPECT_TRUE(stranger.isClosed()) << i;
    }
    const VtpReceiver receiver = connectedReceiver(sender.get());
    ASSERT_TRUE(receiver);
    EXPECT_TRUE(delivers(sender.get(), receiver.get(), 1));
}

TEST(VtpFaults, messagesOutOfTheirPlaceEndTheConnection) {
    const std::string name = vtpName("order");
    const VtpSender sender = startedSender(name);
    const std::uint16_t port = vtp_sender_get_port(sender.get());
    for (const MessageType first : {MessageType::proof, MessageType::heartbeat}) {
        Stranger stranger(port);
        stranger.say(first);
        EXPECT_TRUE(stranger.isClosed());
    }
    for (const MessageType second : {MessageType::hello, MessageType::heartbeat}) {
        Stranger stranger(port);
        stranger.say(MessageType::hello);
        ASSERT_TRUE(stranger.hears(64));
        stranger.say(second);
        EXPECT_TRUE(stranger.isClosed());
    }
    for (const MessageType third : {MessageType::hello, MessageType::proof}) {
        Stranger stranger(port);
        ASSERT_TRUE(stranger.becomesReceiver(name));
        stranger.say(third);
        EXPECT_TRUE(stranger.isClosed());
    }
}

TEST(VtpFaults, strangersWhoSayNothingGiveWay) {
    const VtpSender sender = startedSender(vtpName("silent"));
    const std::uint16_t port = vtp_sender_get_port(sender.get());
    std::vector<std::unique_ptr<Stranger>> strangers;
    for (int i = 0; i < 40; ++i)
        strangers.push_back(std::make_unique<Stranger>(port));
    const VtpReceiver receiver = connectedReceiver(sender.get());
    ASSERT_TRUE(receiver);
    EXPECT_TRUE(delivers(sender.get(), receiver.get(), 1));
    // The rest of them when their time is over.
    for (const auto& stranger : strangers)
        EXPECT_TRUE(stranger->isClosed());
}

TEST(VtpFaults, aSenderTakesSoManyReceiversAndNoMore) {
    const std::string name = vtpName("full");
    const VtpSender sender = startedSender(name);
    const std::uint16_t port = vtp_sender_get_port(sender.get());
    std::vector<std::unique_ptr<Stranger>> receivers;
    for (int i = 0; i < 32; ++i) {
        receivers.push_back(std::make_unique<Stranger>(port));
        ASSERT_TRUE(receivers.back()->becomesReceiver(name)) << i;
    }
    Stranger tooMany(port);
    EXPECT_FALSE(tooMany.becomesReceiver(name));
    receivers.pop_back();
    EXPECT_TRUE(becomesTrue([&] { return Stranger(port).becomesReceiver(name); }));
}

// A sender that lies to its receivers.
TEST(VtpFaults, nonsenseFromASenderEndsTheConnection) {
    const Listening listening;
    ASSERT_NE(listening.port(), 0);

    const auto lie = [&](const std::vector<std::uint8_t>& bytes) {
        std::thread liar([&] {
            const Descriptor socket = listening.accepted();
            std::uint8_t heard[64];
            recv(socket.get(), heard, sizeof heard, MSG_WAITALL);
            MessageHeader challenge;
            challenge.type = MessageType::challenge;
            MessageHeader welcome;
            welcome.type = MessageType::welcome;
            welcome.width = welcome.height = 16;
            for (const MessageHeader& header : {challenge, welcome}) {
                const auto written = quol::vtp::writeHeader(header);
                send(socket.get(), written.bytes.data(), written.size, MSG_NOSIGNAL);
            }
            recv(socket.get(), heard, sizeof heard, MSG_WAITALL);
            send(socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
            while (recv(socket.get(), heard, sizeof heard, 0) > 0) {
            }
        });
        const VtpReceiver receiver(vtp_create_receiver());
        vtp_receiver_connect(receiver.get(), "127.0.0.1", listening.port());
        const bool ended = becomesTrue([&] { return !vtp_receiver_is_connected(receiver.get()); });
        vtp_video_frame frame{};
        EXPECT_FALSE(vtp_receiver_receive_frame(receiver.get(), &frame));
        vtp_receiver_disconnect(receiver.get());
        liar.join();
        return ended;
    };

    EXPECT_TRUE(lie(std::vector<std::uint8_t>(100, 0xff)));
    MessageHeader picture;
    picture.type = MessageType::picture;
    picture.width = picture.height = 100000;
    picture.payloadBytes = 0xffffffff;
    const auto written = quol::vtp::writeHeader(picture);
    std::vector<std::uint8_t> bytes(written.bytes.begin(), written.bytes.end());
    EXPECT_TRUE(lie(bytes));

    // A coded picture that is none is lost; what comes after it ends the connection.
    picture.width = picture.height = 16;
    picture.pixelFormat = 2;
    picture.coding = quol::vtp::codingStrips;
    picture.payloadBytes = 200;
    const auto coded = quol::vtp::writeHeader(picture);
    bytes.assign(coded.bytes.begin(), coded.bytes.begin() + 48);
    bytes.resize(48 + 200, 1);
    bytes.resize(48 + 200 + 100, 0xff);
    EXPECT_TRUE(lie(bytes));
}

// ------------------------------------------------------------------------------------ the secret

TEST(VtpFaults, aSecretKeepsStrangersOut) {
    const std::string name = vtpName("secret");
    const VtpSender sender = startedSender(name, 16, 8, vtp_coding_automatic, {"", "sesame"});
    const VtpReceiver receiver = connectedReceiver(sender.get(), {"", "sesame"});
    ASSERT_TRUE(receiver);
    EXPECT_TRUE(delivers(sender.get(), receiver.get(), 1));
    for (const char* wrong : {"", "Sesame", "sesame "}) {
        const VtpReceiver other(vtp_create_receiver());
        vtp_receiver_set_network(other.get(), {"", wrong});
        vtp_receiver_connect(other.get(), "127.0.0.1", vtp_sender_get_port(sender.get()));
        EXPECT_FALSE(vtp_receiver_is_connected(other.get())) << wrong;
    }
    // Zeros are no proof, and nothing is told but that it is over.
    Stranger stranger(vtp_sender_get_port(sender.get()));
    stranger.say(MessageType::hello);
    ASSERT_TRUE(stranger.hears(64));
    stranger.say(MessageType::proof);
    EXPECT_FALSE(stranger.hears(1));
}

TEST(VtpFaults, aReceiverWithASecretTakesNothingFromOthers) {
    const VtpSender open = startedSender(vtpName("open"));
    const VtpReceiver receiver(vtp_create_receiver());
    vtp_receiver_set_network(receiver.get(), {"", "sesame"});
    vtp_receiver_connect(receiver.get(), "127.0.0.1", vtp_sender_get_port(open.get()));
    EXPECT_FALSE(vtp_receiver_is_connected(receiver.get()));
    vtp_receiver_set_network(receiver.get(), {});
    vtp_receiver_connect(receiver.get(), "127.0.0.1", vtp_sender_get_port(open.get()));
    EXPECT_TRUE(vtp_receiver_is_connected(receiver.get()));
}

// Who sits between two that know the secret, and passes on what they say, gets nothing.
TEST(VtpFaults, aSecretCannotBePassedOn) {
    const VtpSender sender =
        startedSender(vtpName("relayed"), 16, 8, vtp_coding_automatic, {"", "sesame"});
    const Listening between;
    ASSERT_NE(between.port(), 0);
    std::thread relay([&] {
        const Descriptor near = between.accepted();
        Stranger far(vtp_sender_get_port(sender.get()));
        pollfd waiting[2] = {{near.get(), POLLIN, 0}, {far.descriptor(), POLLIN, 0}};
        while (poll(waiting, 2, 30000) > 0) {
            char bytes[4096];
            const int from = waiting[0].revents != 0 ? 0 : 1;
            const ssize_t got = recv(waiting[from].fd, bytes, sizeof bytes, 0);
            if (got <= 0) return;
            send(waiting[1 - from].fd, bytes, static_cast<std::size_t>(got), MSG_NOSIGNAL);
        }
    });
    const VtpReceiver receiver(vtp_create_receiver());
    vtp_receiver_set_network(receiver.get(), {"", "sesame"});
    vtp_receiver_connect(receiver.get(), "127.0.0.1", between.port());
    EXPECT_FALSE(vtp_receiver_is_connected(receiver.get()));
    relay.join();
}

TEST(VtpFaults, proofsDependOnAllThatGoesIn) {
    using namespace quol::vtp;
    Digest one{};
    Digest two{};
    ASSERT_TRUE(makeNonce(one));
    ASSERT_TRUE(makeNonce(two));
    EXPECT_NE(one, two);
    const Ends ends{{0x0a4d0001, 47000}, {0x7f000001, 50001}};
    const Digest proof = receiverProof("secret", one, two, ends);
    EXPECT_TRUE(isSameProof(proof, receiverProof("secret", one, two, ends)));
    EXPECT_FALSE(isSameProof(proof, receiverProof("Secret", one, two, ends)));
    EXPECT_FALSE(isSameProof(proof, receiverProof("secret", two, one, ends)));
    EXPECT_FALSE(isSameProof(proof, senderProof("secret", one, two, ends)));
    for (int i = 0; i < 4; ++i) {
        Ends other = ends;
        if (i == 0) ++other.sender.address;
        if (i == 1) ++other.sender.port;
        if (i == 2) ++other.receiver.address;
        if (i == 3) ++other.receiver.port;
        EXPECT_FALSE(isSameProof(proof, receiverProof("secret", one, two, other))) << i;
    }
    EXPECT_FALSE(isSameProof(Digest{}, Digest{}));
    for (std::size_t i = 0; i < proof.size(); ++i) {
        Digest other = proof;
        other[i] ^= 1;
        EXPECT_FALSE(isSameProof(proof, other));
    }
    // HMAC-SHA256 of role, nonces and ends, as any implementation computes it.
    Digest counting{};
    for (std::size_t i = 0; i < counting.size(); ++i)
        counting[i] = static_cast<std::uint8_t>(i);
    const auto hex = [](const Digest& digest) {
        std::string text;
        for (const std::uint8_t byte : digest) {
            text += "0123456789abcdef"[byte >> 4];
            text += "0123456789abcdef"[byte & 15];
        }
        return text;
    };
    EXPECT_EQ(hex(receiverProof("secret", counting, Digest{}, ends)),
              "4f78b14f946bde68c2163faf929dc8ed255aacfb086eae0127f0f2bd4d05f773");
    EXPECT_EQ(hex(senderProof("secret", counting, Digest{}, ends)),
              "b1dbda0fdc653e915556518836a3a93b7f26b2f5b90bd9fd4367adc5a6d3a5aa");
}

// --------------------------------------------------------------------------------- many and often

TEST(VtpFaults, nothingIsLeftBehind) {
    const auto once = [] {
        const VtpSender sender = startedSender(vtpName("once"));
        const VtpReceiver receiver = connectedReceiver(sender.get());
        const VtpListener listener(vtp_create_listener());
        vtp_listener_start(listener.get());
        EXPECT_TRUE(receiver);
    };
    once();
    const int descriptorsBefore = test::descriptorsOfThisProcess();
    const int threadsBefore = test::threadsOfThisProcess();
    for (int i = 0; i < 150; ++i)
        once();
    for (int i = 0; i < 3000; ++i) {
        vtp_destroy_sender(vtp_create_sender("x", 16, 8, 25, 0, 1));
        vtp_destroy_receiver(vtp_create_receiver());
        vtp_destroy_listener(vtp_create_listener());
    }
    EXPECT_EQ(test::descriptorsOfThisProcess(), descriptorsBefore);
    EXPECT_EQ(test::threadsOfThisProcess(), threadsBefore);
}

TEST(VtpFaults, handlesMayBeUsedFromManyThreads) {
    const VtpSender sender = startedSender(vtpName("threads"), 64, 48, vtp_coding_automatic);
    const VtpReceiver receiver(vtp_create_receiver());
    std::atomic<bool> ending = false;
    std::vector<std::thread> busy;
    const auto repeat = [&](auto work) {
        busy.emplace_back([&ending, work] {
            while (!ending)
                work();
        });
    };
    const auto picture = vtpPicture(64, 48, 3, 1);
    const auto sound = vtpSound(480, 2, 1);
    repeat([&] { vtp_sender_send_frame(sender.get(), picture.data(), 2, 1); });
    repeat([&] { vtp_sender_send_audio(sender.get(), sound.data(), 480, 48000, 2, 1); });
    repeat([&] {
        vtp_video_frame frame{};
        vtp_receiver_receive_frame(receiver.get(), &frame);
        vtp_audio_frame block{};
        vtp_receiver_receive_audio(receiver.get(), &block);
        std::this_thread::yield();
    });
    for (int i = 0; i < 20; ++i) {
        vtp_sender_stop(sender.get());
        EXPECT_TRUE(vtp_sender_start(sender.get()));
        vtp_receiver_connect(receiver.get(), "127.0.0.1", vtp_sender_get_port(sender.get()));
        if (i % 3 == 0) vtp_receiver_disconnect(receiver.get());
    }
    ending = true;
    for (std::thread& thread : busy)
        thread.join();
}

TEST(VtpFaults, endsMayBeDestroyedInAnyOrderInTheMiddleOfAStream) {
    const auto picture = vtpPicture(640, 360, 3, 1);
    for (int i = 0; i < 20; ++i) {
        const int coding = i % 2 == 0 ? vtp_coding_none : vtp_coding_intra;
        VtpSender sender = startedSender(vtpName("middle"), 640, 360, coding);
        VtpReceiver receiver = connectedReceiver(sender.get());
        ASSERT_TRUE(receiver);
        for (int j = 0; j < 3; ++j)
            vtp_sender_send_frame(sender.get(), picture.data(), 2, j);
        if (i % 4 < 2) {
            sender.reset();
        } else {
            receiver.reset();
        }
    }
}

} // namespace
