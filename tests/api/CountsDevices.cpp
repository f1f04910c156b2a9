// The functions that count, on a machine with cards: without a place for the count the call ends
// before it looks for any.
#include <gtest/gtest.h>

#include <functional>

#include "quolsdk/quolsdk_c_api.h"
#include "support/DeckLinkStandin.h"

namespace {

class CountsApi : public testing::Test {
protected:
    CountsApi() { driver.reset(); }

    int madeBy(const std::function<void()>& call) {
        const int before = driver.state().iterators;
        call();
        return driver.state().iterators - before;
    }

    test::DeckLinkStandin& driver = test::deckLinkStandin();
};

TEST_F(CountsApi, ANullPointerEndsTheCallBeforeAnInputLooksForCards) {
    quolsdk_handle live = quolsdk_live_create();
    EXPECT_EQ(madeBy([&] { quolsdk_live_device_get_count(live, nullptr); }), 0);
    int count = 0;
    EXPECT_GT(madeBy([&] { quolsdk_live_device_get_count(live, &count); }), 0);
    EXPECT_EQ(count, 5); // two cards
    quolsdk_live_destroy(live);
}

TEST_F(CountsApi, ANullPointerEndsTheCallBeforeAnOutputLooksForCards) {
    quolsdk_handle output = quolsdk_output_create();
    EXPECT_EQ(madeBy([&] { quolsdk_output_device_get_count(output, nullptr); }), 0);
    int count = 0;
    EXPECT_GT(madeBy([&] { quolsdk_output_device_get_count(output, &count); }), 0);
    EXPECT_EQ(count, 3); // the one card that can play
    quolsdk_output_destroy(output);
}

} // namespace
