// How long the ends wait for each other. The times themselves are pinned once; what they do is seen
// with shorter ones, or with some that never come.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <atomic>
#include <thread>

#include "platform/vtp/Network.h"
#include "platform/vtp/Receiver.h"
#include "platform/vtp/Sender.h"
#include "support/VtpEnds.h"
#include "support/VtpStranger.h"

namespace {

using namespace std::chrono_literals;
using namespace quol::vtp;
using test::becomesTrue;
using test::Listening;
using test::Stranger;
using Steady = std::chrono::steady_clock;

constexpr auto never = 24h;

StreamInfo streamOf(const std::string& name, std::uint32_t width = 16, std::uint32_t height = 8) {
    StreamInfo stream;
    stream.name = test::vtpName(name);
    stream.width = width;
    stream.height = height;
    return stream;
}

// A sender that welcomes one receiver and then does as it is told.
class FakeSender {
public:
    explicit FakeSender(const Listening& listening) : socket_(listening.accepted()) {
        hear();
        say(MessageType::challenge);
        hear();
        MessageHeader welcome;
        welcome.type = MessageType::welcome;
        welcome.width = welcome.height = 16;
        say(welcome);
    }

    void say(MessageType type) {
        MessageHeader header;
        header.type = type;
        say(header);
    }

    // Until the other end closes.
    int heartbeats() {
        int count = 0;
        std::uint8_t bytes[commonHeaderBytes];
        while (recv(socket_.get(), bytes, sizeof bytes, MSG_WAITALL) == sizeof bytes)
            count += bytes[5] == static_cast<int>(MessageType::heartbeat) ? 1 : 0;
        return count;
    }

private:
    void hear() {
        std::uint8_t bytes[64];
        recv(socket_.get(), bytes, sizeof bytes, MSG_WAITALL);
    }
    void say(const MessageHeader& header) {
        const HeaderBytes bytes = writeHeader(header);
        send(socket_.get(), bytes.bytes.data(), bytes.size, MSG_NOSIGNAL);
    }

    const Descriptor socket_;
};

TEST(VtpTimes, areThoseOfTheProtocol) {
    const Times times;
    EXPECT_EQ(times.connect, 2s);
    EXPECT_EQ(times.handshake, 5s);
    EXPECT_EQ(times.heartbeat, 1s);
    EXPECT_EQ(times.silence, 15s);
    EXPECT_EQ(times.announce, 500ms);
    EXPECT_EQ(times.linger, 250ms);
    EXPECT_EQ(forgetTime, 3s);
    EXPECT_EQ(maxHeartbeats, 20);
}

TEST(VtpTimes, strangersHaveTheTimeOfAHandshake) {
    Times times;
    times.handshake = 100ms;
    times.silence = never;
    Sender quick(streamOf("quick"), 0, times);
    times.handshake = never;
    Sender patient(streamOf("patient"), 0, times);
    ASSERT_TRUE(quick.start() && patient.start());
    Stranger here(quick.port());
    Stranger there(patient.port());
    EXPECT_TRUE(here.isClosed());
    EXPECT_FALSE(there.isClosed(1000));
}

TEST(VtpTimes, receiversMayBeSilentForSoLong) {
    Times times;
    times.handshake = never;
    times.silence = 200ms;
    const StreamInfo stream = streamOf("silence");
    Sender quick(stream, 0, times);
    times.silence = never;
    Sender patient(stream, 0, times);
    ASSERT_TRUE(quick.start() && patient.start());
    Stranger here(quick.port());
    Stranger there(patient.port());
    ASSERT_TRUE(here.becomesReceiver(stream.name));
    ASSERT_TRUE(there.becomesReceiver(stream.name));
    EXPECT_TRUE(here.isClosed());
    EXPECT_FALSE(there.isClosed(1000));
}

TEST(VtpTimes, heartbeatsComeWhereNothingElseDoes) {
    Times times;
    times.heartbeat = 10ms;
    const StreamInfo stream = streamOf("beats");
    Sender sender(stream, 0, times);
    ASSERT_TRUE(sender.start());
    Stranger receiver(sender.port());
    ASSERT_TRUE(receiver.becomesReceiver(stream.name));
    for (int i = 0; i < 3; ++i) {
        const std::string heartbeat = receiver.heard(32);
        ASSERT_EQ(heartbeat.size(), 32u);
        EXPECT_EQ(heartbeat[5], 7);
    }
}

// The sender's silence ends it, and the flood does; a receiver says heartbeats of its own.
TEST(VtpTimes, aReceiverGivesASilentSenderUp) {
    const Listening listening;
    Times times;
    times.silence = 400ms;
    times.heartbeat = 20ms;
    times.connect = 30s;
    Receiver receiver(times);
    int heartbeats = 0;
    std::thread silent([&] { heartbeats = FakeSender(listening).heartbeats(); });
    receiver.connect("127.0.0.1", listening.port());
    EXPECT_TRUE(becomesTrue([&] { return !receiver.isConnected(); }));
    silent.join();
    EXPECT_GE(heartbeats, 2);
}

TEST(VtpTimes, aFloodOfHeartbeatsEndsTheConnection) {
    Times times;
    times.silence = never;
    times.heartbeat = never;
    times.connect = 30s;
    const StreamInfo stream = streamOf("flood");
    Sender sender(stream, 0, times);
    ASSERT_TRUE(sender.start());
    Stranger talkative(sender.port());
    Stranger modest(sender.port());
    ASSERT_TRUE(talkative.becomesReceiver(stream.name));
    ASSERT_TRUE(modest.becomesReceiver(stream.name));
    for (int i = 0; i < 200; ++i)
        talkative.say(MessageType::heartbeat);
    EXPECT_TRUE(talkative.isClosed());
    for (int i = 0; i < 20; ++i)
        modest.say(MessageType::heartbeat);
    EXPECT_FALSE(modest.isClosed(500));

    const Listening listening;
    Receiver receiver(times);
    std::thread flood([&] {
        FakeSender fake(listening);
        for (int i = 0; i < 200; ++i)
            fake.say(MessageType::heartbeat);
        fake.heartbeats();
    });
    receiver.connect("127.0.0.1", listening.port());
    EXPECT_TRUE(becomesTrue([&] { return !receiver.isConnected(); }));
    receiver.disconnect();
    flood.join();
}

TEST(VtpTimes, connectingTakesSoLongAtMost) {
    const Listening silent;
    const auto taken = [&](Clock::duration connect) {
        Times times;
        times.connect = connect;
        Receiver receiver(times);
        const auto begun = Steady::now();
        receiver.connect("127.0.0.1", silent.port());
        EXPECT_FALSE(receiver.isConnected());
        return Steady::now() - begun;
    };
    EXPECT_LT(taken(50ms), 1500ms);
    EXPECT_GE(taken(700ms), 700ms);
}

TEST(VtpTimes, sendersAreAnnouncedSoOften) {
    const Descriptor hearing = listenForAnnouncements(nullptr);
    ASSERT_TRUE(hearing);
    const auto heard = [&](const std::string& name) {
        int count = 0;
        std::array<std::uint8_t, maxAnnouncementBytes> room{};
        Address from = 0;
        while (const auto size = receiveDatagram(hearing, room, from)) {
            const auto announcement = readAnnouncement({room.data(), *size});
            if (announcement && announcement->name == name) ++count;
        }
        return count;
    };
    Times times;
    times.announce = 10ms;
    const StreamInfo often = streamOf("often");
    Sender sender(often, 0, times);
    ASSERT_TRUE(sender.start());
    const auto begun = Steady::now();
    int count = 0;
    EXPECT_TRUE(becomesTrue([&] { return (count += heard(often.name)) >= 30; }));
    EXPECT_LT(Steady::now() - begun, 10s); // at two a second it would take fifteen
    sender.stop();

    times.announce = never;
    const StreamInfo once = streamOf("once");
    Sender quiet(once, 0, times);
    ASSERT_TRUE(quiet.start());
    count = 0;
    EXPECT_TRUE(becomesTrue([&] { return (count += heard(once.name)) >= 1; }));
    std::this_thread::sleep_for(700ms);
    quiet.stop();
    count += heard(once.name);
    EXPECT_EQ(count, 2) << "here, and gone";
}

// Far more than sockets hold: most of it waits when the stop begins.
TEST(VtpTimes, whatWasSentBeforeAStopArrives) {
    for (const int coding : {vtp_coding_none, vtp_coding_intra}) {
        Times times;
        times.linger = 60s;
        const StreamInfo stream = streamOf("lingers", 1280, 720);
        Sender sender(stream, coding, times);
        ASSERT_TRUE(sender.start());
        Stranger receiver(sender.port());
        ASSERT_TRUE(receiver.becomesReceiver(stream.name));
        const int pictures = coding == vtp_coding_none ? 8 : 1; // one waits to be coded
        const auto picture = test::vtpPicture(1280, 720, 3, 1);
        for (int i = 0; i < pictures; ++i)
            sender.sendPicture(picture.data(), 2, i);
        std::atomic<bool> isStopped = false;
        std::thread stopping([&] {
            sender.stop();
            isStopped = true;
        });
        if (coding == vtp_coding_none) {
            std::this_thread::sleep_for(400ms);
            EXPECT_FALSE(isStopped) << "it waits for the receiver";
        }
        std::vector<std::int64_t> times_;
        while (true) {
            const std::string header = receiver.heard(48);
            if (header.size() < 48) break;
            BlockPool pool;
            MessageParser parser(Reader::receiver, pool);
            parser.allowMedia();
            std::copy_n(header.data(), 32, parser.room().data());
            ASSERT_EQ(parser.taken(32), ParseResult::more);
            ASSERT_EQ(parser.header().type, MessageType::picture);
            times_.push_back(parser.header().timestamp);
            ASSERT_TRUE(receiver.hears(parser.header().payloadBytes));
        }
        // The stop is over when the receiver has seen the end and closes in its turn.
        if (coding == vtp_coding_none) {
            std::this_thread::sleep_for(50ms);
            EXPECT_FALSE(isStopped);
        }
        receiver = Stranger(0);
        stopping.join();
        ASSERT_EQ(times_.size(), static_cast<std::size_t>(pictures));
        for (int i = 0; i < pictures; ++i)
            EXPECT_EQ(times_[static_cast<std::size_t>(i)], i);
    }
}

TEST(VtpTimes, aStopWaitsSoLongForAReceiverThatDoesNotRead) {
    Times times;
    times.linger = 300ms;
    const StreamInfo stream = streamOf("stalls", 1280, 720);
    Sender sender(stream, vtp_coding_none, times);
    ASSERT_TRUE(sender.start());
    Stranger stalled(sender.port());
    Stranger silent(sender.port()); // is not waited for, but closed
    ASSERT_TRUE(stalled.becomesReceiver(stream.name));
    const auto picture = test::vtpPicture(1280, 720, 3, 1);
    for (int i = 0; i < 8; ++i)
        sender.sendPicture(picture.data(), 2, i);
    const auto begun = Steady::now();
    sender.stop();
    EXPECT_GE(Steady::now() - begun, 300ms);
    EXPECT_LT(Steady::now() - begun, 20s);
    EXPECT_TRUE(silent.isClosed());
    // And for none at all no time.
    times.linger = 1h;
    Sender alone(stream, vtp_coding_none, times);
    ASSERT_TRUE(alone.start());
    alone.stop();
}

} // namespace
