// What a host chooses of a live input through the flat interface, on a machine with cards.
#include <gtest/gtest.h>

#include "platform/decklink/Numbers.h"
#include "quolsdk/quolsdk_c_api.h"
#include "support/DeckLinkStandin.h"

namespace {

TEST(LiveDevicesApi, AnInputStartsOnTheCardTheChannelAndInTheFormatThatWereChosen) {
    test::DeckLinkStandin& driver = test::deckLinkStandin();
    driver.reset();
    quolsdk_handle live = quolsdk_live_create();
    int count = 0;
    quolsdk_live_device_get_count(live, &count);
    ASSERT_EQ(count, 5); // two cards
    quolsdk_live_device_set(live, 1);
    quolsdk_live_device_channel_set(live, 3); // composite
    EXPECT_EQ(driver.state().cards[1].inputConnection, 16);
    quolsdk_live_format_set(live, 2); // behind the automatic one
    quolsdk_live_start(live);
    EXPECT_TRUE(driver.state().cards[1].streaming);
    EXPECT_EQ(driver.state().cards[1].inputMode, quol::decklink::fourCC("Hp25"));
    EXPECT_FALSE(driver.state().cards[0].streaming);
    quolsdk_live_stop(live);
    quolsdk_live_destroy(live);
}

} // namespace
