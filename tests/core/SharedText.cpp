#include "quolsdk/SharedText.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace {

using quol::SharedText;

TEST(SharedText, IsEmptyAtFirst) {
    const SharedText text;
    EXPECT_EQ(text.load(), "");
    EXPECT_TRUE(text == "");
}

TEST(SharedText, HoldsWhatWasSetLast) {
    SharedText text("None");
    EXPECT_TRUE(text == "None");
    text = "Horizontal";
    EXPECT_TRUE(text == "Horizontal");
    EXPECT_TRUE(text != "None");
    text = std::string(1000, 'x');
    const std::string copy = text;
    EXPECT_EQ(copy, std::string(1000, 'x'));
}

// Short and long texts lie in different places; a reader must never see one half of each.
TEST(SharedText, IsReadWholeWhileItIsWritten) {
    const std::string brief = "brief";
    const std::string lengthy(500, 'l');
    SharedText text(brief);
    std::thread writer([&] {
        for (int i = 0; i < 5000; ++i)
            text = i % 2 == 0 ? lengthy : brief;
    });
    int neither = 0;
    for (int i = 0; i < 5000; ++i) {
        const std::string seen = text;
        if (seen != brief && seen != lengthy) ++neither;
    }
    writer.join();
    EXPECT_EQ(neither, 0);
}

} // namespace
