// A live input with a VTP sender when memory is short: there may be no connection and no picture,
// but there must be a process.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "sources/LiveVtp.h"
#include "support/FailingMemory.h"
#include "support/VtpEnds.h"

namespace {

TEST(LLiveVtpMemory, noAllocationOfTheLoopThatFailsEndsTheProcess) {
    const std::string name = test::vtpName("short");
    const test::VtpSender sender = test::startedSender(name);
    ASSERT_TRUE(sender);
    const auto picture = test::vtpPicture(16, 8, 3, 1);
    std::atomic<bool> isEnding = false;
    std::thread sending([&] {
        while (!isEnding) {
            vtp_sender_send_frame(sender.get(), picture.data(), vtp_format_bgr24, 1);
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    });
    const auto listener = std::make_shared<quol::VtpListener>();
    std::string text;
    EXPECT_TRUE(test::becomesTrue([&] {
        for (const vtp_source_record& record : listener->sources()) {
            if (name == record.name) text = quol::vtpSourceText(record);
        }
        return !text.empty();
    }));
    int pictures = 0;
    quol::LiveHub hub{quol::LiveOutlets{[&](AVFrame*) {
                                            ++pictures;
                                            hub.state.running = false;
                                        },
                                        [](AVFrame*) {}, [](const quol::AudioPeak&) {}}};
    int failed = 0;
    bool hasFailed = true;
    for (int after = 0; hasFailed && after < 1000; ++after) {
        quol::LiveVtp run(hub, listener, 0, true, text);
        hub.state.running = true;
        const int before = test::failures;
        test::failAfter = after;
        EXPECT_NO_THROW(run.run()) << after;
        hasFailed = test::failAfter < 0;
        test::failAfter = -1;
        failed += test::failures - before;
        run.end(); // waits for a connecting that has been left
    }
    isEnding = true;
    sending.join();
    EXPECT_GE(failed, 5);
    EXPECT_FALSE(hasFailed); // the last one met none
    EXPECT_GE(pictures, 1);
}

} // namespace
