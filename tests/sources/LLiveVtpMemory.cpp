// A live input with a VTP sender when memory is short: there may be no connection and no picture,
// but there must be a process.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>

#include "sources/LiveVtp.h"
#include "support/FailingMemory.h"
#include "support/VtpEnds.h"

namespace {

using namespace std::chrono_literals;

// A sender that is known to a listener, and does something all the time.
class Sending {
public:
    explicit Sending(const std::function<void(vtp_sender*)>& send) {
        const std::string name = test::vtpName("short");
        sender_ = test::startedSender(name);
        thread_ = std::thread([this, send] {
            while (!isEnding_) {
                send(sender_.get());
                std::this_thread::sleep_for(2ms);
            }
        });
        test::becomesTrue([&] {
            for (const vtp_source_record& record : listener->sources()) {
                if (name == record.name) text = quol::vtpSourceText(record);
            }
            return !text.empty();
        });
    }
    Sending(const Sending&) = delete;
    Sending& operator=(const Sending&) = delete;
    ~Sending() {
        isEnding_ = true;
        thread_.join();
    }

    const std::shared_ptr<quol::VtpListener> listener = std::make_shared<quol::VtpListener>();
    std::string text; // empty when it was not found

private:
    test::VtpSender sender_;
    std::atomic<bool> isEnding_ = false;
    std::thread thread_;
};

// Each allocation on the way to the connection fails once.
TEST(LLiveVtpMemory, aConnectionForWhichThereIsNoneIsNotMade) {
    const auto sound = test::vtpSound(480, 2, 1);
    const Sending sending([&sound](vtp_sender* sender) {
        vtp_sender_send_audio(sender, sound.data(), 480, 48000, 2, 1);
    });
    ASSERT_FALSE(sending.text.empty());
    std::atomic<int> sounds = 0;
    quol::LiveHub hub{quol::LiveOutlets{[](AVFrame*) {},
                                        [&](AVFrame*) {
                                            ++sounds;
                                            hub.state.running = false;
                                        },
                                        [](const quol::AudioPeak&) {}}};
    int failed = 0;
    bool hasFailed = true;
    for (int after = 0; hasFailed && after < 1000; ++after) {
        quol::LiveVtp run(hub, sending.listener, 0, true, sending.text);
        hub.state.running = true;
        std::atomic<bool> hasEnded = false;
        // Where there is no memory for the thread of the sound.
        std::thread ending([&] {
            test::becomesTrue([&] { return hasEnded.load(); }, 3s);
            hub.state.running = false;
        });
        const int before = test::failures;
        test::failAfter = after;
        EXPECT_NO_THROW(run.run()) << after;
        hasFailed = test::failAfter < 0;
        test::failAfter = -1;
        failed += test::failures - before;
        hasEnded = true;
        ending.join();
        run.end(); // waits for a connecting that has been left
    }
    EXPECT_GE(failed, 5);
    EXPECT_FALSE(hasFailed); // the last one met none
    EXPECT_GE(sounds, 1);
}

TEST(LLiveVtpMemory, aPictureOrSoundForWhichThereIsNoneIsLostAndTheNextComes) {
    const auto picture = test::vtpPicture(16, 8, 3, 1);
    const auto sound = test::vtpSound(480, 2, 1);
    const Sending sending([&](vtp_sender* sender) {
        vtp_sender_send_frame(sender, picture.data(), vtp_format_bgr24, 1);
        vtp_sender_send_audio(sender, sound.data(), 480, 48000, 2, 1);
    });
    ASSERT_FALSE(sending.text.empty());
    std::atomic<int> pictures = 0;
    std::atomic<int> sounds = 0;
    const auto take = [&](std::atomic<int>& count) {
        if (++count == 1) throw std::bad_alloc();
    };
    quol::LiveHub hub{quol::LiveOutlets{[&](AVFrame*) { take(pictures); },
                                        [&](AVFrame*) { take(sounds); },
                                        [](const quol::AudioPeak&) {}}};
    quol::LiveVtp run(hub, sending.listener, 0, true, sending.text);
    hub.state.running = true;
    std::thread ending([&] {
        EXPECT_TRUE(test::becomesTrue([&] { return pictures > 1 && sounds > 1; }));
        hub.state.running = false;
    });
    EXPECT_NO_THROW(run.run());
    ending.join();
}

} // namespace
