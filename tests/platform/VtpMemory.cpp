// When memory is short: pictures and connections may be lost, the process must not be.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "support/VtpEnds.h"

namespace {

// Every so many-th allocation fails, 0 for none; not on threads that are spared.
std::atomic<int> failEvery = 0;
std::atomic<unsigned> allocations = 0;
std::atomic<int> failures = 0;
thread_local bool isSpared = false;

} // namespace

[[gnu::noinline]] void* operator new(std::size_t size) {
    const int every = failEvery;
    if (every > 0 && !isSpared && allocations++ % static_cast<unsigned>(every) == 0) {
        ++failures;
        throw std::bad_alloc();
    }
    void* memory = std::malloc(size > 0 ? size : 1);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t& /*quiet*/) noexcept {
    try {
        return operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

[[gnu::noinline]] void* operator new[](std::size_t size) {
    return operator new(size);
}

[[gnu::noinline]] void operator delete[](void* memory) noexcept {
    std::free(memory);
}

[[gnu::noinline]] void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}

[[gnu::noinline]] void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

namespace {

using namespace test;

class VtpMemory : public testing::Test {
protected:
    VtpMemory() { isSpared = true; }
    ~VtpMemory() override {
        failEvery = 0;
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

} // namespace
