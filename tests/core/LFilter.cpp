#include "quolsdk/LFilter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "core/FilterGraph.h"
#include "support/CapturedStream.h"
#include "support/Frames.h"

namespace {

LFilter videoFilter() {
    return LFilter(LFilter::Type::video);
}

TEST(LFilter, WithNoEntriesGivesNullForVideoAndAnullForAudio) {
    EXPECT_EQ(LFilter(LFilter::Type::video).getFilterString(), "null");
    EXPECT_EQ(LFilter(LFilter::Type::audio).getFilterString(), "anull");
}

TEST(LFilter, AnyTypeOtherThanAudioIsVideo) {
    EXPECT_EQ(LFilter(static_cast<LFilter::Type>(0)).getFilterString(), "anull");
    for (const int type : {1, 2, -1, 100}) {
        EXPECT_EQ(LFilter(static_cast<LFilter::Type>(type)).getFilterString(), "null") << type;
    }
}

TEST(LFilter, KeysAreLowerCasedSoThatSettingHueAndErasingItLeavesNothing) {
    LFilter filter = videoFilter();
    filter.setProps("Hue", "s=0");
    EXPECT_EQ(filter.getFilterString(), "hue=s=0");
    filter.setProps("hue", "false");
    EXPECT_EQ(filter.getFilterString(), "null");
    filter.setProps("HFLIP", "1");
    filter.setProps("hFlip", "true");
    EXPECT_EQ(filter.getFilterString(), "hflip");
}

TEST(LFilter, EntriesSetInTheOrderVflipHflipComeOutAsHflipVflip) {
    LFilter filter = videoFilter();
    filter.setProps("vflip", "1");
    filter.setProps("hflip", "true");
    EXPECT_EQ(filter.getFilterString(), "hflip,vflip");
}

TEST(LFilter, ValueTrueOr1StandsAsTheKeyAloneAndAnyOtherBehindAnEqualsSign) {
    LFilter filter = videoFilter();
    for (const char* alone : {"true", "1"}) {
        filter.setProps("hflip", alone);
        EXPECT_EQ(filter.getFilterString(), "hflip") << alone;
    }
    for (const char* other : {"True", "TRUE", "0", "2", "False", "no", " ", "1.0", "w=640:h=360"}) {
        filter.setProps("hflip", other);
        EXPECT_EQ(filter.getFilterString(), std::string("hflip=") + other);
    }
}

TEST(LFilter, EmptyValueAndFalseEraseTheKey) {
    for (const char* erasing : {"", "false"}) {
        LFilter filter = videoFilter();
        filter.setProps("hflip", "1");
        filter.setProps("vflip", "1");
        filter.setProps("hflip", erasing);
        EXPECT_EQ(filter.getFilterString(), "vflip") << erasing;
        filter.setProps("never set", erasing);
        EXPECT_EQ(filter.getFilterString(), "vflip") << erasing;
    }
}

TEST(LFilter, ValueKeepsItsCase) {
    LFilter filter = videoFilter();
    filter.setProps("DrawText", "text=Hello World");
    EXPECT_EQ(filter.getFilterString(), "drawtext=text=Hello World");
}

TEST(LFilter, LettersBeyondAsciiStayAsTheyAre) {
    LFilter filter = videoFilter();
    filter.setProps(
        "\xC3\x84"
        "A_Z@[",
        "x");
    EXPECT_EQ(filter.getFilterString(),
              "\xC3\x84"
              "a_z@[=x");
}

TEST(LFilter, AnyRunOfCallsFollowsAPlainMap) {
    const std::vector<std::string> keys = {"hflip", "VFLIP", "Hue", "hue", "eq", "", "zscale"};
    const std::vector<std::string> values = {"true", "1", "false", "", "s=0", "False", "0"};
    for (const bool audio : {false, true}) {
        LFilter filter(audio ? LFilter::Type::audio : LFilter::Type::video);
        std::map<std::string, std::string> plain;
        std::mt19937 random(23);
        for (int i = 0; i < 5000; ++i) {
            const std::string& key = keys[random() % keys.size()];
            const std::string& value = values[random() % values.size()];
            filter.setProps(key, value);
            std::string lower;
            for (const char letter : key)
                lower += static_cast<char>(std::tolower(letter));
            if (value.empty() || value == "false")
                plain.erase(lower);
            else
                plain[lower] = value;

            std::string expected;
            std::size_t number = 0;
            for (const auto& [name, arguments] : plain) {
                if (number++ > 0) expected += ",";
                expected += name;
                if (arguments != "true" && arguments != "1") expected += "=" + arguments;
            }
            if (plain.empty()) expected = audio ? "anull" : "null";
            // An entry of no name leaves no trace that a comma could follow.
            if (plain.contains("")) continue;
            ASSERT_EQ(filter.getFilterString(), expected);
        }
    }
}

TEST(LFilter, NotifiesAfterEveryCall) {
    LFilter filter = videoFilter();
    filter.setProps("hflip", "1"); // with no callback yet
    int calls = 0;
    std::string seen;
    filter.setNotifyCallback([&] {
        ++calls;
        seen = filter.getFilterString(); // the change is made by now
    });
    EXPECT_EQ(calls, 0);
    filter.setProps("vflip", "1");
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(seen, "hflip,vflip");
    filter.setProps("vflip", "false");
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(seen, "hflip");
    filter.setProps("vflip", "");
    EXPECT_EQ(calls, 3);
    filter.setNotifyCallback({});
    filter.setProps("vflip", "1");
    EXPECT_EQ(calls, 3);
}

TEST(LFilter, CallbackMayChangeTheFilterAndItself) {
    LFilter filter = videoFilter();
    filter.setNotifyCallback([&] {
        filter.setNotifyCallback({});
        filter.setProps("vflip", "1");
    });
    filter.setProps("hflip", "1");
    EXPECT_EQ(filter.getFilterString(), "hflip,vflip");
}

TEST(LFilter, TextIsAChainThatFFmpegTakes) {
    LFilter filter = videoFilter();
    const quol::FramePtr picture = test::makePicture(64, 48, AV_PIX_FMT_YUV420P);
    quol::FilterGraph graph;
    const auto build = [&] {
        return graph.buildVideo({64, 48, AV_PIX_FMT_YUV420P, {1, 25}, {1, 1}},
                                filter.getFilterString(), 0);
    };
    EXPECT_TRUE(build());
    filter.setProps("hue", "s=0");
    filter.setProps("hflip", "1");
    filter.setProps("scale", "w=32:h=24");
    ASSERT_TRUE(build());
    ASSERT_TRUE(graph.send(picture.get()));
    const quol::FramePtr out = quol::makeFrame();
    ASSERT_TRUE(graph.receive(*out));
    EXPECT_EQ(out->width, 32);
    EXPECT_EQ(out->height, 24);
}

TEST(LFilter, ProducesNoFramesAndIsAnObjectLikeOthers) {
    LFilter filter = videoFilter();
    LObject& object = filter;
    EXPECT_EQ(object.renderVideoFrame(), nullptr);
    EXPECT_FALSE(object.canPullRender());
}

TEST(LFilterThreads, HostsChangeFiltersWhileAWorkerReadsTheText) {
    LFilter filter = videoFilter();
    std::atomic<int> notified{0};
    filter.setNotifyCallback([&] { ++notified; });
    std::atomic<bool> running{true};
    std::atomic<int> odd{0};
    std::thread worker([&] {
        while (running) {
            const std::string text = filter.getFilterString();
            const bool known =
                text == "null" || text == "hflip" || text == "hue=s=0" || text == "hflip,hue=s=0";
            if (!known) ++odd;
        }
    });
    const auto host = [&](const char* key, const char* value) {
        for (int i = 0; i < 2000; ++i)
            filter.setProps(key, i % 2 == 0 ? value : "");
    };
    std::thread first(host, "hflip", "1");
    std::thread second(host, "HUE", "s=0");
    for (int i = 0; i < 100; ++i)
        filter.setNotifyCallback([&] { ++notified; });
    first.join();
    second.join();
    running = false;
    worker.join();
    EXPECT_EQ(odd, 0);
    EXPECT_EQ(notified, 4000);
    EXPECT_EQ(filter.getFilterString(), "null");
}

} // namespace
