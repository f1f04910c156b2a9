// A live input with a VTP sender that takes connections and never says a word.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>

#include "core/Clock.h"
#include "platform/vtp/Announcement.h"
#include "platform/vtp/Network.h"
#include "quolsdk/LLive.h"
#include "support/CollectingSink.h"

namespace {

constexpr int vtpDevice = 1;

class SilentSender {
public:
    SilentSender()
        : socket_(quol::vtp::listenForConnections(quol::vtp::loopbackAddress, 0, nullptr)),
          announcer_(nullptr) {
        const auto process = static_cast<std::uint32_t>(getpid());
        announcement_.name = "silent " + std::to_string(process);
        announcement_.port = quol::vtp::localPort(socket_);
        for (std::size_t i = 0; i < 4; ++i)
            announcement_.instance[i] = static_cast<std::uint8_t>(process >> (8 * i));
    }
    void announce() { announcer_.send(quol::vtp::writeAnnouncement(announcement_)); }
    // As its channel is called.
    std::string text() const {
        return announcement_.name + " (127.0.0.1:" + std::to_string(announcement_.port) + ")";
    }

private:
    const quol::vtp::Descriptor socket_;
    quol::vtp::AnnouncementSender announcer_;
    quol::vtp::Announcement announcement_;
};

int channelOf(LLive& live, const std::string& text) {
    int count = 0;
    live.DeviceChannelGetCount(vtpDevice, count);
    for (int i = 0; i < count; ++i) {
        std::string name;
        std::string description;
        live.DeviceChannelGetByIndex(vtpDevice, i, name, description);
        if (name == text) return i;
    }
    return -1;
}

// A connection is tried for two seconds. A stop waits for none of them, wherever it finds the loop
// on its way to that connection.
TEST(LLiveVtpFaults, StopCutsAConnectionShortThatIsBeingMade) {
    SilentSender silent;
    LLive live;
    live.DeviceSet(vtpDevice);
    int channel = -1;
    ASSERT_TRUE(test::waitUntil([&] {
        silent.announce();
        channel = channelOf(live, silent.text());
        return channel >= 0;
    }));
    live.DeviceChannelSet(channel);
    std::int64_t longest = 0;
    for (int i = 0; i < 20; ++i) {
        silent.announce();
        ASSERT_TRUE(live.Start());
        quol::sleepFor(i * quol::nanosPerMilli / 4);
        const std::int64_t before = quol::steadyNow();
        live.Stop();
        longest = std::max(longest, quol::steadyNow() - before);
    }
    EXPECT_LT(longest, 1500 * quol::nanosPerMilli);
}

} // namespace
