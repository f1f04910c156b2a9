// When memory is short: pictures and connections may be lost, the process must not be.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include "platform/vtp/Connection.h"
#include "platform/vtp/Limits.h"
#include "support/FailingMemory.h"
#include "support/VtpEnds.h"
#include "support/VtpStranger.h"

namespace {

using namespace test;

class VtpMemory : public testing::Test {
protected:
    VtpMemory() { isSpared = true; }
    ~VtpMemory() override {
        failEvery = 0;
        failAfter = -1;
        isSpared = false;
    }
};

TEST_F(VtpMemory, threadsSurviveItsLack) {
    const auto picture = vtpPicture(64, 48, 3, 1);
    const auto sound = vtpSound(480, 2, 1);
    for (const int coding : {vtp_coding_none, vtp_coding_intra}) {
        for (const int every : {1, 2, 3, 5, 11, 37}) {
            const VtpSender sender = startedSender(vtpName("short"), 64, 48, coding);
            const VtpListener listener(vtp_create_listener());
            vtp_listener_start(listener.get());
            const VtpReceiver receiver = connectedReceiver(sender.get());
            ASSERT_TRUE(receiver);
            const int before = failures;
            failEvery = every;
            // At least so many, and long enough for all threads to meet one.
            for (int i = 0; i < 30 || (failures < before + 5 && i < 3000); ++i) {
                vtp_sender_send_frame(sender.get(), picture.data(), 2, i);
                vtp_sender_send_audio(sender.get(), sound.data(), 480, 48000, 2, i);
                vtp_receiver_connect(receiver.get(), "127.0.0.1",
                                     i % 10 == 0 ? vtp_sender_get_port(sender.get()) : 0);
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            failEvery = 0;
            EXPECT_GE(failures, before + 5);
            // All of it goes on.
            const VtpReceiver after = connectedReceiver(sender.get());
            ASSERT_TRUE(after);
            vtp_video_frame frame{};
            EXPECT_TRUE(becomesTrue([&] {
                vtp_sender_send_frame(sender.get(), picture.data(), 2, 99);
                return vtp_receiver_receive_frame(after.get(), &frame);
            }));
            EXPECT_TRUE(becomesTrue([&] { return !sourcesOf(listener.get()).empty(); }));
        }
    }
}

TEST_F(VtpMemory, operationsFailQuietly) {
    const auto picture = vtpPicture(16, 8, 3, 1);
    const auto sound = vtpSound(480, 2, 1);
    const std::string longName(100, 'n');
    const vtp_network network{longName, longName};
    for (const int every : {1, 2, 3}) {
        const VtpSender running = startedSender(vtpName("runs"));
        const VtpReceiver connected = connectedReceiver(running.get());
        ASSERT_TRUE(connected);
        const std::uint16_t port = vtp_sender_get_port(running.get());
        isSpared = false;
        failEvery = every;
        for (int i = 0; i < 20; ++i) {
            vtp_sender* sender =
                vtp_create_sender(longName.c_str(), 16, 8, 25, vtp_coding_automatic, 1);
            vtp_receiver* receiver = vtp_create_receiver();
            vtp_listener* listener = vtp_create_listener();
            if (i % 2 == 0) {
                vtp_sender_set_network(sender, network);
                vtp_receiver_set_network(receiver, network);
                vtp_listener_set_network(listener, network);
            }
            vtp_sender_start(sender);
            vtp_listener_start(listener);
            vtp_receiver_connect(receiver, "127.0.0.1", port);
            if (i == 0) vtp_receiver_connect_by_name(receiver, longName.c_str());
            vtp_sender_send_frame(running.get(), picture.data(), 2, i);
            vtp_sender_send_audio(running.get(), sound.data(), 480, 48000, 2, i);
            vtp_source_record records[4];
            vtp_listener_get_sources(listener, records, 4);
            vtp_video_frame frame{};
            vtp_audio_frame block{};
            vtp_receiver_receive_frame(connected.get(), &frame);
            vtp_receiver_receive_audio(connected.get(), &block);
            vtp_receiver_is_connected(receiver);
            vtp_receiver_disconnect(receiver);
            vtp_listener_stop(listener);
            vtp_sender_stop(sender);
            vtp_destroy_sender(sender);
            vtp_destroy_receiver(receiver);
            vtp_destroy_listener(listener);
        }
        failEvery = 0;
        isSpared = true;
        EXPECT_TRUE(connectedReceiver(running.get()));
    }
}

// A sender's end that cannot answer is over at once: the other one would wait for the answer until
// the time for the handshake is gone. Each of its allocations fails once.
TEST_F(VtpMemory, anAnswerForWhichThereIsNoneEndsTheHandshake) {
    using namespace quol::vtp;
    const StreamInfo stream{"name", 16, 8, 25, true};
    const std::string secret;
    const Times times;
    const Clock::time_point now{};
    const auto nothing = [] { return MessagePtr(); };
    for (const bool isProof : {false, true}) {
        int failed = 0;
        for (int after = 0; after < 20; ++after) {
            int ends[2];
            ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends), 0);
            const Descriptor other(ends[1]);
            BlockPool pool;
            Connection connection(Descriptor(ends[0]), Ends{}, stream, secret, pool, times, now);
            const auto say = [&other](MessageType type) {
                MessageHeader header;
                header.type = type;
                const HeaderBytes bytes = writeHeader(header);
                return send(other.get(), bytes.bytes.data(), bytes.size, MSG_NOSIGNAL) > 0;
            };
            if (isProof) {
                ASSERT_TRUE(say(MessageType::hello));
                ASSERT_TRUE(connection.read(now) && connection.write(nothing, now));
                ASSERT_FALSE(connection.isBusy());
            }
            ASSERT_TRUE(say(isProof ? MessageType::proof : MessageType::hello));
            const int before = failures;
            failAfter = after;
            bool goesOn = false;
            try {
                goesOn = connection.read(now);
            } catch (const std::bad_alloc&) {
                // As the sender takes it: closed.
            }
            failAfter = -1;
            failed += failures - before;
            EXPECT_TRUE(!goesOn || connection.isBusy()) << isProof << after;
            EXPECT_TRUE(goesOn || failures > before) << isProof << after;
        }
        EXPECT_GE(failed, 1);
    }
}

// Who has not gone through the handshake gets none, whatever is said to come.
TEST_F(VtpMemory, receiversTakeNoneForWhatAStrangerAnnounces) {
    using namespace quol::vtp;
    MessageHeader challenge;
    challenge.type = MessageType::challenge;
    MessageHeader picture;
    picture.type = MessageType::picture;
    picture.width = 8192;
    picture.height = 4320;
    picture.pixelFormat = 1;
    picture.payloadBytes = 8192u * 4320 * 4;
    MessageHeader sound;
    sound.type = MessageType::sound;
    sound.sampleRate = sound.samplesPerChannel = 384000;
    sound.channels = 16;
    sound.payloadBytes = 384000u * 32;
    for (const MessageHeader& large : {picture, sound}) {
        for (const bool isChallenged : {false, true}) {
            for (const char* secret : {"", "sesame"}) {
                const Listening listening;
                ASSERT_NE(listening.port(), 0);
                largestAllocation = 0;
                std::thread liar([&] {
                    const Descriptor socket = listening.accepted();
                    const auto say = [&socket](const MessageHeader& header) {
                        const HeaderBytes bytes = writeHeader(header);
                        send(socket.get(), bytes.bytes.data(), bytes.size, MSG_NOSIGNAL);
                    };
                    if (isChallenged) say(challenge);
                    say(large);
                    char heard[256];
                    while (recv(socket.get(), heard, sizeof heard, 0) > 0) {
                    }
                });
                const VtpReceiver receiver(vtp_create_receiver());
                vtp_receiver_set_network(receiver.get(), {"", secret});
                vtp_receiver_connect(receiver.get(), "127.0.0.1", listening.port());
                EXPECT_FALSE(vtp_receiver_is_connected(receiver.get()));
                vtp_receiver_disconnect(receiver.get());
                liar.join();
                EXPECT_LT(largestAllocation, 1u << 20);
            }
        }
    }
}

} // namespace
