#include "outputs/OutputFormats.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>

namespace {

struct Row {
    const char* name;
    int width;
    int height;
    double rate;
};

constexpr double rate23 = 24000.0 / 1001;
constexpr double rate29 = 30000.0 / 1001;
constexpr double rate59 = 60000.0 / 1001;

// Mode 2 onwards.
constexpr std::array<Row, 37> rows{{
    {"720x486i59", 720, 486, rate29},     {"720x576i50", 720, 576, 25},
    {"1280x720p50", 1280, 720, 50},       {"1280x720p59", 1280, 720, rate59},
    {"1280x720p60", 1280, 720, 60},       {"1920x1080p23", 1920, 1080, rate23},
    {"1920x1080p24", 1920, 1080, 24},     {"1920x1080p25", 1920, 1080, 25},
    {"1920x1080p29", 1920, 1080, rate29}, {"1920x1080p30", 1920, 1080, 30},
    {"1920x1080i50", 1920, 1080, 25},     {"1920x1080p50", 1920, 1080, 50},
    {"1920x1080i59", 1920, 1080, rate29}, {"1920x1080p59", 1920, 1080, rate59},
    {"1920x1080i60", 1920, 1080, 30},     {"1920x1080p60", 1920, 1080, 60},
    {"2048x1080p23", 2048, 1080, rate23}, {"2048x1080p24", 2048, 1080, 24},
    {"2048x1080p25", 2048, 1080, 25},     {"2048x1080p50", 2048, 1080, 50},
    {"2048x1080p60", 2048, 1080, 60},     {"3840x2160p23", 3840, 2160, rate23},
    {"3840x2160p24", 3840, 2160, 24},     {"3840x2160p25", 3840, 2160, 25},
    {"3840x2160p29", 3840, 2160, rate29}, {"3840x2160p30", 3840, 2160, 30},
    {"3840x2160i50", 3840, 2160, 25},     {"3840x2160p50", 3840, 2160, 50},
    {"3840x2160i59", 3840, 2160, rate29}, {"3840x2160p59", 3840, 2160, rate59},
    {"3840x2160i60", 3840, 2160, 30},     {"3840x2160p60", 3840, 2160, 60},
    {"4096x2160p23", 4096, 2160, rate23}, {"4096x2160p24", 4096, 2160, 24},
    {"4096x2160p25", 4096, 2160, 25},     {"4096x2160p50", 4096, 2160, 50},
    {"4096x2160p60", 4096, 2160, 60},
}};

TEST(OutputFormats, EveryRowHasItsNameAndRecord) {
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const quol::OutputFormat format = quol::outputFormat(static_cast<int>(i));
        EXPECT_EQ(format.name, rows[i].name);
        EXPECT_EQ(format.props.mode, i + 2);
        EXPECT_EQ(format.props.width, rows[i].width);
        EXPECT_EQ(format.props.height, rows[i].height);
        EXPECT_EQ(format.props.fps, rows[i].rate) << rows[i].name;
    }
}

TEST(OutputFormats, CountStopsShortOfTheLastTwo) {
    EXPECT_EQ(quol::offeredOutputFormats, 35);
    EXPECT_EQ(quol::outputFormat(35).name, "4096x2160p50");
    EXPECT_EQ(quol::outputFormat(36).name, "4096x2160p60");
}

TEST(OutputFormats, OutsideTheTableThereIsNothing) {
    for (int index :
         {-1, -2, 37, 1000, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        const quol::OutputFormat format = quol::outputFormat(index);
        EXPECT_EQ(format.name, "");
        EXPECT_EQ(format.props.mode, 0U);
        EXPECT_EQ(format.props.width, 0);
        EXPECT_EQ(format.props.height, 0);
        EXPECT_EQ(format.props.fps, 0.0);
    }
}

} // namespace
