// What the properties of a switcher do to its pictures.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "quolsdk/LSwitcher.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/FilePlayer.h"
#include "support/PlainFrames.h"
#include "support/RunningMixer.h"
#include "support/SteppedSwitcher.h"

extern "C" {
#include <libavutil/dict.h>
}

namespace {

using test::customVideo;
using test::Level;
using test::Speaker;
using test::SteppedSwitcher;

constexpr int width = test::steppedWidth;
constexpr int height = test::steppedHeight;
constexpr int block = test::steppedBlock;

std::string timecodeOn(const quol::FramePtr& picture) {
    if (!picture) return "no picture";
    const AVDictionaryEntry* const entry = av_dict_get(picture->metadata, "timecode", nullptr, 0);
    return entry != nullptr ? entry->value : "none";
}

} // namespace

TEST(LSwitcherProps, PicturesCarryTheirTimeCodeWhenTold) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&source);
    source.show(1.0);
    const auto stamped = [&] {
        stepped.tick();
        return timecodeOn(stepped.picture);
    };
    EXPECT_EQ(stamped(), "none");
    for (const char* value : {"true", "1"}) {
        stepped.switcher.setProps("timecode", value);
        const std::string expected = stepped.switcher.getTimeCode();
        EXPECT_EQ(stamped(), expected) << value;
        stepped.switcher.setProps("timecode", "on");
        EXPECT_EQ(stamped(), "none");
    }
    stepped.switcher.setProps("timecode", "true");
    while (stepped.stats().frameCount < 100)
        stepped.tick();
    EXPECT_EQ(stamped(), "00:00:02:00");
    EXPECT_EQ(stepped.switcher.getTimeCode(), "00:00:02:01");
    EXPECT_EQ(stepped.stats().timecode, "00:00:02:01");
    stepped.switcher.setVideoFormat(customVideo(width, height, 0.0, 1));
    EXPECT_EQ(stepped.switcher.getTimeCode(), "00:00:04:01") << "25 where no rate is known";
    EXPECT_EQ(stepped.stats().timecode, "00:00:02:01") << "50 here";
}

TEST(LSwitcherProps, TimeCodesAreOfTheCounterOrTheWall) {
    LSwitcher switcher;
    EXPECT_EQ(switcher.getTimecodeString(0, 25.0), "00:00:00:00");
    EXPECT_EQ(switcher.getTimecodeString(25 * (3600 * 23 + 60 * 59 + 59) + 24, 25.0),
              "23:59:59:24");
    EXPECT_EQ(switcher.getTimecodeString(25LL * 3600 * 24, 25.0), "00:00:00:00");
    EXPECT_EQ(switcher.getTimecodeString(59, 29.97), "00:00:01:01") << "59 modulo 29";
    EXPECT_EQ(switcher.getTimecodeString(30, 0.0), "00:00:01:05");
    EXPECT_EQ(switcher.getTimecodeString(30, -1.0), "00:00:01:05");
    switcher.setProps("timecodeSource", "0");
    // The frames are still those of the counter.
    const std::string wall = switcher.getTimecodeString(30, 25.0);
    EXPECT_EQ(wall.size(), 11U);
    EXPECT_EQ(wall.substr(9), "05");
    // Two hours far apart give one time of day, unless a second has passed between.
    EXPECT_TRUE(test::waitUntil([&] {
        return switcher.getTimecodeString(0, 25.0) ==
               switcher.getTimecodeString(25LL * 3600 * 5, 25.0);
    }));
    for (const char* other : {"1", "2", "-1", "7"}) {
        switcher.setProps("timecodeSource", "0");
        switcher.setProps("timecodeSource", other);
        EXPECT_EQ(switcher.getTimecodeString(30, 25.0), "00:00:01:05") << other;
    }
}

namespace {

// A picture of another shape than the canvas: left half dark, right half bright.
quol::FramePtr halves(int w, int h) {
    quol::FramePtr picture = test::plainPicture(w, h, {200, 128, 128});
    for (int y = 0; y < h; ++y)
        std::fill_n(picture->data[0] + static_cast<std::ptrdiff_t>(y) * picture->linesize[0], w / 2,
                    std::uint8_t{40});
    picture->time_base = {1, 25};
    picture->pts = 0;
    return picture;
}

int lumaOf(const quol::FramePtr& picture, int x, int y) {
    return test::levelsAt(picture.get(), x, y).y;
}

// Different levels in the middle row.
std::size_t levelsAcross(const quol::FramePtr& picture) {
    std::set<int> levels;
    for (int x = 0; picture && x < picture->width; ++x)
        levels.insert(lumaOf(picture, x, height / 2));
    return levels.size();
}

} // namespace

TEST(LSwitcherProps, TheScaleModeSaysWhereThePictureLies) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&source);
    const quol::FramePtr narrow = halves(24, 48);
    const auto show = [&](const char* mode) {
        stepped.switcher.setProps("scale_mode", mode);
        source.distributeVideoFrame(narrow.get());
        stepped.tick();
    };
    for (const char* stretched : {"0", "3", "-1"}) {
        show("1"); // bars at both sides
        EXPECT_EQ(lumaOf(stepped.picture, 2, 24), 0);
        EXPECT_EQ(lumaOf(stepped.picture, 61, 24), 0);
        EXPECT_NEAR(lumaOf(stepped.picture, 22, 24), 40, 12);
        show(stretched);
        EXPECT_NEAR(lumaOf(stepped.picture, 2, 24), 40, 2) << stretched;
        EXPECT_NEAR(lumaOf(stepped.picture, 61, 24), 200, 2) << stretched;
    }
}

TEST(LSwitcherProps, TheScalingQualitySaysHowEdgesLook) {
    // The nearest sample makes no level that was not there. The others each make different ones.
    const quol::FramePtr small = halves(16, 48);
    std::set<std::vector<int>> looks;
    for (const char* quality : {"1", "2", "4", "0", "3", "-5"}) {
        Speaker source;
        SteppedSwitcher stepped;
        stepped.switcher.setProps("scaling_quality", quality);
        stepped.switcher.setProgram(&source);
        source.distributeVideoFrame(small.get());
        stepped.tick();
        ASSERT_NE(stepped.picture, nullptr);
        if (std::string(quality) == "1") {
            EXPECT_EQ(levelsAcross(stepped.picture), 2U);
        } else {
            EXPECT_GT(levelsAcross(stepped.picture), 2U) << quality;
        }
        std::vector<int> row;
        for (int x = 0; x < width; ++x)
            row.push_back(lumaOf(stepped.picture, x, height / 2));
        looks.insert(row);
    }
    EXPECT_EQ(looks.size(), 4U) << "1, 2, 4, and all others alike";
}

TEST(LSwitcherProps, UnknownKeysAreIgnored) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&source);
    source.sayLong({1000, 1000});
    for (const char* key : {"", "timeCode", "mastermute", "MasterMute", "masterGain ", " audioGain",
                            "masterVolume", "no such key"}) {
        for (const char* value : {"1", "true", "0", "no number", ""})
            EXPECT_NO_THROW(stepped.switcher.setProps(key, value)) << key;
    }
    EXPECT_EQ(stepped.level(), (Level{1000, 1000}));
    EXPECT_EQ(timecodeOn(stepped.picture), "none");
}

TEST(LSwitcherProps, ANumberThatIsNoneRaisesAndChangesNothing) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&source);
    stepped.switcher.setProps("scale_mode", "1");
    stepped.switcher.setProps("scaling_quality", "1");
    stepped.switcher.setProps("masterGain", "150");
    const std::string code = stepped.switcher.getTimecodeString(77, 25.0);
    for (const char* key : {"timecodeSource", "scaling_quality", "scale_mode", "audioGain",
                            "masterGain", "extAudioGain"}) {
        for (const char* value : {"", " ", "x", "x1", "-", "+", "true", ".5"})
            EXPECT_THROW(stepped.switcher.setProps(key, value), std::invalid_argument)
                << key << ' ' << value;
        for (const char* value : {"2147483648", "-2147483649", "99999999999999999999"})
            EXPECT_THROW(stepped.switcher.setProps(key, value), std::out_of_range)
                << key << ' ' << value;
    }
    const quol::FramePtr narrow = halves(24, 48);
    source.distributeVideoFrame(narrow.get());
    source.say(block, {1000, 1000}, 0.0);
    EXPECT_EQ(stepped.level(), (Level{1500, 1500}));
    EXPECT_EQ(lumaOf(stepped.picture, 2, 24), 0) << "still with bars";
    EXPECT_EQ(levelsAcross(stepped.picture), 3U) << "still by the nearest sample";
    EXPECT_EQ(stepped.switcher.getTimecodeString(77, 25.0), code);
    // No lock has stayed behind.
    std::thread([&] { stepped.switcher.setProps("masterGain", "100"); }).join();
    source.say(block, {1000, 1000}, 0.0);
    EXPECT_EQ(stepped.level(), (Level{1000, 1000}));
}

TEST(LSwitcherProps, WhatFollowsANumberDoesNotCount) {
    Speaker source;
    SteppedSwitcher stepped;
    stepped.switcher.setProgram(&source);
    source.sayLong({1000, 1000});
    for (const char* value : {"50", " 50", "+50", "50%", "50.9", "050"}) {
        stepped.switcher.setProps("masterGain", "100");
        stepped.switcher.setProps("masterGain", value);
        EXPECT_EQ(stepped.level(), (Level{500, 500})) << value;
    }
}
