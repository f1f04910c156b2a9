// The output when memory is short: a picture may be lost, the next one goes out.
#include <gtest/gtest.h>

#include "quolsdk/LOutput.h"
#include "support/Feed.h"
#include "support/MemoryShortage.h"
#include "support/NdiStandin.h"
#include "support/RunningOutput.h"

namespace {

using test::Feed;

TEST(LOutputMemory, APictureOrSoundShortOfItIsLostAndTheNextGoesOut) {
    test::NdiStandin& ndi = test::ndiStandin();
    ndi.reset();
    Feed feed(1);
    LOutput output;
    output.DeviceFormatVideoSet(1);
    output.setSource(&feed);
    output.setEnabled(true);
    const auto goesOn = [&] {
        const test::NdiState before = ndi.state();
        return ndi.wait([&](const test::NdiState& now) {
            return !now.senders.empty() &&
                   now.senders.back().videoSent >= before.senders.back().videoSent + 2 &&
                   now.senders.back().audioSent >= before.senders.back().audioSent + 1;
        });
    };
    ASSERT_TRUE(ndi.wait([](const test::NdiState& state) { return !state.senders.empty(); }));
    ASSERT_TRUE(goesOn());
    EXPECT_EQ(test::refuseInTurn(40, goesOn), 40);
    EXPECT_TRUE(test::survivesDrought(goesOn));
    output.setEnabled(false);
    output.setSource(nullptr);
    EXPECT_TRUE(ndi.state().allGivenBack());
    EXPECT_TRUE(ndi.state().misuses.empty());
}

} // namespace
