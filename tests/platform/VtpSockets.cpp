// What sockets say of themselves, and waiting for them when the system will not.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <array>
#include <ctime>
#include <optional>

#include "platform/vtp/Network.h"
#include "support/VtpEnds.h"

namespace {

using namespace test;
using namespace quol::vtp;
using namespace std::chrono_literals;

sockaddr_in at(Address address, std::uint16_t port) {
    sockaddr_in out{};
    out.sin_family = AF_INET;
    out.sin_port = htons(port);
    out.sin_addr.s_addr = htonl(address);
    return out;
}

bool connects(const Descriptor& socket, Address address, std::uint16_t port) {
    const sockaddr_in to = at(address, port);
    return connect(socket.get(), reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0;
}

Descriptor boundSocket(Address address, std::uint16_t port) {
    Descriptor bound(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_in own = at(address, port);
    if (bind(bound.get(), reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0) bound.reset();
    return bound;
}

TEST(VtpSockets, whoIsConnectedToItselfIsNotConnected) {
    const Descriptor alone = boundSocket(loopbackAddress, 0);
    ASSERT_TRUE(alone);
    EXPECT_FALSE(isConnected(alone));
    ASSERT_TRUE(connects(alone, loopbackAddress, localPort(alone)));
    ASSERT_EQ(ownEnd(alone).port, otherEnd(alone).port);
    EXPECT_FALSE(isConnected(alone));
}

TEST(VtpSockets, whoIsConnectedToTheSamePortElsewhereIsConnected) {
    const Descriptor listening = listenForConnections(loopbackAddress, 0, nullptr);
    ASSERT_TRUE(listening);
    const Descriptor other = boundSocket(loopbackAddress + 1, localPort(listening));
    ASSERT_TRUE(other);
    ASSERT_TRUE(connects(other, loopbackAddress, localPort(listening)));
    EXPECT_TRUE(isConnected(other));
    const Descriptor usual = boundSocket(loopbackAddress, 0);
    ASSERT_TRUE(connects(usual, loopbackAddress, localPort(listening)));
    EXPECT_TRUE(isConnected(usual));
}

// --------------------------------------------------------------------------- polls that fail

// While it stands nobody in this process can poll, and no descriptor can be made.
class NoPolls {
public:
    NoPolls() {
        getrlimit(RLIMIT_NOFILE, &before_);
        rlimit none = before_;
        none.rlim_cur = 1;
        setrlimit(RLIMIT_NOFILE, &none);
    }
    NoPolls(const NoPolls&) = delete;
    NoPolls& operator=(const NoPolls&) = delete;
    ~NoPolls() { setrlimit(RLIMIT_NOFILE, &before_); }

    static bool works() {
        std::array<pollfd, 2> nothing{{{-1, POLLIN, 0}, {-1, POLLIN, 0}}};
        return poll(nothing.data(), nothing.size(), 0) < 0;
    }

private:
    rlimit before_{};
};

double cpuSeconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

TEST(VtpSockets, aPollThatFailsSaysThatNothingIsReadyAndPauses) {
    std::array<pollfd, 2> waiting{{{-1, POLLIN, POLLIN}, {-1, POLLIN, POLLIN}}};
    const NoPolls none;
    ASSERT_TRUE(NoPolls::works());
    const auto begun = std::chrono::steady_clock::now();
    pollAll(waiting, -1);
    EXPECT_GE(std::chrono::steady_clock::now() - begun, 20ms);
    EXPECT_EQ(waiting[0].revents, 0);
    EXPECT_EQ(waiting[1].revents, 0);
}

TEST(VtpSockets, everyThreadGoesOnAfterPollsThatFailedAndIsNotBusyMeanwhile) {
    const VtpListener listener(vtp_create_listener());
    vtp_listener_start(listener.get());
    const std::string name = vtpName("polls");
    const VtpSender sender = startedSender(name);
    const VtpReceiver receiver = connectedReceiver(sender.get());
    ASSERT_TRUE(receiver);
    ASSERT_TRUE(becomesTrue([&] { return sourcesNamed(listener.get(), name).size() == 1; }));
    const auto picture = vtpPicture(16, 8, 3, 1);
    {
        const NoPolls none;
        ASSERT_TRUE(NoPolls::works());
        // Wakes the receiver, the sender, and, by what the sender says in the end, the listener.
        vtp_sender_send_frame(sender.get(), picture.data(), 2, 1);
        std::this_thread::sleep_for(1s);
        const double before = cpuSeconds();
        std::this_thread::sleep_for(1s);
        EXPECT_LT(cpuSeconds() - before, 0.5);
    }
    EXPECT_TRUE(becomesTrue([&] {
        vtp_sender_send_frame(sender.get(), picture.data(), 2, 2);
        vtp_video_frame frame{};
        return vtp_receiver_receive_frame(receiver.get(), &frame) && frame.timestamp == 2;
    }));
    const std::string late = vtpName("late polls");
    const VtpSender another = startedSender(late);
    ASSERT_TRUE(another);
    EXPECT_TRUE(becomesTrue([&] { return sourcesNamed(listener.get(), late).size() == 1; }));
}

TEST(VtpSockets, whoCannotPollStillStops) {
    const auto stopWith = [](bool hasPolls) {
        const VtpListener listener(vtp_create_listener());
        vtp_listener_start(listener.get());
        const VtpSender sender = startedSender(vtpName("stops"));
        const VtpReceiver receiver = connectedReceiver(sender.get());
        ASSERT_TRUE(receiver);
        std::optional<NoPolls> none;
        if (!hasPolls) {
            none.emplace();
            ASSERT_TRUE(NoPolls::works());
        }
        const auto begun = std::chrono::steady_clock::now();
        vtp_receiver_disconnect(receiver.get());
        vtp_listener_stop(listener.get());
        vtp_sender_stop(sender.get());
        EXPECT_LT(std::chrono::steady_clock::now() - begun, 10s);
    };
    // A sanitizer needs descriptors to look at a type for the first time.
    stopWith(true);
    stopWith(false);
}

} // namespace
