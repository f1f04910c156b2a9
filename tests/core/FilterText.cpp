#include "core/FilterText.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "core/FilterGraph.h"
#include "support/Frames.h"

namespace {

constexpr const char* letterBox1280 =
    "scale=w=1280:h=720:force_original_aspect_ratio=decrease,"
    "pad=w=1280:h=720:x=(ow-iw)/2:y=(oh-ih)/2,setsar=1";
constexpr const char* crop1280 =
    "scale=w=1280:h=720:force_original_aspect_ratio=increase,crop=w=1280:h=720,setsar=1";
constexpr const char* stretch1280 = "scale=w=1280:h=720,setsar=1";

constexpr const char* letterBoxAutomatic =
    "scale=w='round(iw*sar/2)*2':h='round(ih/2)*2',"
    "pad=w='round(max(iw\\,ih*(16/9))/2)*2':h='round(max(ih\\,iw*(9/16))/2)*2'"
    ":x='(ow-iw)/2':y='(oh-ih)/2',setsar=1";
constexpr const char* cropAutomatic =
    "scale=w='round(iw*sar/2)*2':h='round(ih/2)*2',"
    "crop=w='round(min(iw\\,ih*(16/9))/2)*2':h='round(min(ih\\,iw*(9/16))/2)*2',setsar=1";
constexpr const char* stretchAutomatic = "scale=w='round(iw*sar/2)*2':h='round(ih/2)*2',setsar=1";

constexpr const char* deinterlacer = "bwdif=mode=0:parity=-1:deint=1,";

quol::VideoChain chainOf(std::uint32_t mode, int width, int height, double fps = 0.0,
                         int pixelFormat = 0, const std::string& scaleType = "letter-box") {
    quol::VideoChain chain;
    chain.format = {mode, width, height, fps, pixelFormat};
    chain.scaleType = scaleType;
    return chain;
}

TEST(VideoChain, NativeModeWithNothingElseBuildsNoGraphAtAll) {
    EXPECT_EQ(quol::videoChainText(chainOf(1, 0, 0)), "");
    EXPECT_EQ(quol::videoChainText(chainOf(1, 1280, 720, 25.0)), "");
    EXPECT_EQ(quol::videoChainText(chainOf(1, 1280, 720, 25.0, 0, "crop")), "");
}

TEST(VideoChain, NativeModeWithDeinterlaceIsTheDeinterlacerAndTheAutomaticLetterBox) {
    quol::VideoChain chain = chainOf(1, 1920, 1080, 25.0);
    chain.deinterlace = true;
    EXPECT_EQ(quol::videoChainText(chain), std::string(deinterlacer) + letterBoxAutomatic);
}

TEST(VideoChain, ExplicitSizeByScaleType) {
    EXPECT_EQ(quol::videoChainText(chainOf(0, 1280, 720)), letterBox1280);
    EXPECT_EQ(quol::videoChainText(chainOf(0, 1280, 720, 0.0, 0, "crop")), crop1280);
    for (const char* other : {"", "stretch", "Letter-Box", "letterbox", "CROP"}) {
        EXPECT_EQ(quol::videoChainText(chainOf(0, 1280, 720, 0.0, 0, other)), stretch1280) << other;
    }
}

TEST(VideoChain, RateIsWrittenInTruncatedThousandths) {
    const auto rate = [](double fps) {
        return quol::videoChainText(chainOf(0, 1280, 720, fps, 0, "stretch"));
    };
    const std::string size = stretch1280;
    EXPECT_EQ(rate(25.0), size + ",fps=25000/1000");
    EXPECT_EQ(rate(29.97), size + ",fps=29970/1000");
    EXPECT_EQ(rate(30000.0 / 1001), size + ",fps=29970/1000");
    EXPECT_EQ(rate(24000.0 / 1001), size + ",fps=23976/1000");
    EXPECT_EQ(rate(60000.0 / 1001), size + ",fps=59940/1000");
    EXPECT_EQ(rate(12.5), size + ",fps=12500/1000");
    EXPECT_EQ(rate(0.0), size);
    EXPECT_EQ(rate(-25.0), size);
}

TEST(VideoChain, RateBeyondAllCountingStaysANumber) {
    for (const double fps : {1e9, 1e300, std::numeric_limits<double>::infinity()}) {
        EXPECT_EQ(quol::videoChainText(chainOf(0, 1280, 720, fps, 0, "stretch")),
                  std::string(stretch1280) + ",fps=2147483647/1000");
    }
    EXPECT_EQ(quol::videoChainText(
                  chainOf(0, 1280, 720, std::numeric_limits<double>::quiet_NaN(), 0, "stretch")),
              stretch1280);
}

TEST(VideoChain, RateIsNotPartOfTheAutomaticBranch) {
    EXPECT_EQ(quol::videoChainText(chainOf(1, 1280, 720, 25.0, 6)),
              std::string(letterBoxAutomatic) + ",format=rgba");
    EXPECT_EQ(quol::videoChainText(chainOf(0, 0, 720, 25.0, 6)),
              std::string(letterBoxAutomatic) + ",format=rgba");
}

TEST(VideoChain, PixelFormatHoleAsksForAChainAndAppendsNothing) {
    EXPECT_EQ(quol::videoChainText(chainOf(1, 0, 0, 0.0, 2)), letterBoxAutomatic);
}

// Every combination of what a chain is made of, put together here from the rules' own steps.
TEST(VideoChain, EveryCombination) {
    struct Scale {
        const char* type;
        const char* sized;
        const char* automatic;
    };
    constexpr Scale scales[] = {{"letter-box", letterBox1280, letterBoxAutomatic},
                                {"crop", crop1280, cropAutomatic},
                                {"stretch", stretch1280, stretchAutomatic}};
    struct Size {
        std::uint32_t mode;
        int width;
        int height;
        bool counts;
    };
    constexpr Size sizes[] = {{0, 1280, 720, true},   {6, 1280, 720, true}, {1, 1280, 720, false},
                              {0, 0, 0, false},       {0, 1280, 0, false},  {0, 0, 720, false},
                              {0, -1280, 720, false}, {0, 1280, -1, false}, {1, 0, 0, false},
                              {39, 0, 0, false}};
    struct Format {
        int value;
        const char* text;
    };
    constexpr Format formats[] = {
        {0, ""}, {1, ",format=yuv420p"}, {2, ""}, {17, ",format=yuva420p"}};
    int seen = 0;
    for (const Scale& scale : scales) {
        for (const Size& size : sizes) {
            for (const double fps : {0.0, 50.0}) {
                for (const Format& format : formats) {
                    for (const bool deinterlace : {false, true}) {
                        for (const bool filter : {false, true}) {
                            quol::VideoChain chain = chainOf(size.mode, size.width, size.height,
                                                             fps, format.value, scale.type);
                            chain.deinterlace = deinterlace;
                            chain.hasFilter = filter;
                            if (filter) chain.filter = "hflip,hue=s=0";

                            std::string expected;
                            if (size.counts || filter || deinterlace || format.value != 0) {
                                expected = deinterlace ? deinterlacer : "";
                                expected += size.counts ? scale.sized : scale.automatic;
                                if (size.counts && fps > 0.0) expected += ",fps=50000/1000";
                                expected += format.text;
                                if (filter) expected += ",hflip,hue=s=0";
                            }
                            EXPECT_EQ(quol::videoChainText(chain), expected);
                            ++seen;
                        }
                    }
                }
            }
        }
    }
    EXPECT_EQ(seen, 3 * 10 * 2 * 4 * 2 * 2);
}

TEST(VideoChain, EmptyFilterOfTheHostIsItsNull) {
    quol::VideoChain chain = chainOf(1, 0, 0);
    chain.hasFilter = true;
    chain.filter = "null";
    EXPECT_EQ(quol::videoChainText(chain), std::string(letterBoxAutomatic) + ",null");
}

quol::AudioChain soundChain(int delayMs, int sampleRate) {
    quol::AudioChain chain;
    chain.format.sampleRate = sampleRate;
    chain.delayMs = delayMs;
    return chain;
}

TEST(AudioChain, NothingToDoIsAnull) {
    EXPECT_EQ(quol::audioChainText(soundChain(0, 0)), "anull");
    EXPECT_EQ(quol::audioChainText(soundChain(-5, -1)), "anull");
}

TEST(AudioChain, DelayIsWrittenForTwoChannels) {
    EXPECT_EQ(quol::audioChainText(soundChain(1, 0)), "adelay=delays=1ms|1ms");
    EXPECT_EQ(quol::audioChainText(soundChain(250, 0)), "adelay=delays=250ms|250ms");
}

TEST(AudioChain, RateReplacesAnullAndFollowsADelay) {
    EXPECT_EQ(quol::audioChainText(soundChain(0, 48000)), "aresample=sample_rate=48000");
    EXPECT_EQ(quol::audioChainText(soundChain(40, 44100)),
              "adelay=delays=40ms|40ms,aresample=sample_rate=44100");
}

// A block of it would take memory without end.
TEST(AudioChain, RateIsNoHigherThanAnySound) {
    EXPECT_EQ(quol::audioChainText(soundChain(0, 2'000'000'000)), "aresample=sample_rate=768000");
}

TEST(AudioChain, HostsFilterComesLast) {
    quol::AudioChain chain = soundChain(0, 0);
    chain.hasFilter = true;
    chain.filter = "volume=0.5";
    EXPECT_EQ(quol::audioChainText(chain), "anull,volume=0.5");
    chain.delayMs = 40;
    EXPECT_EQ(quol::audioChainText(chain), "adelay=delays=40ms|40ms,volume=0.5");
    chain.format.sampleRate = 96000;
    EXPECT_EQ(quol::audioChainText(chain),
              "adelay=delays=40ms|40ms,aresample=sample_rate=96000,volume=0.5");
    chain.delayMs = 0;
    EXPECT_EQ(quol::audioChainText(chain), "aresample=sample_rate=96000,volume=0.5");
}

TEST(AudioChain, ChannelsAndBitsDoNotMatter) {
    quol::AudioChain chain;
    chain.format = {6, 16, 0, 2};
    EXPECT_EQ(quol::audioChainText(chain), "anull");
}

// What becomes of one picture of 4:2:0 by the chain: width, height and pixel shape of what comes.
struct Result {
    int width = 0;
    int height = 0;
    AVRational aspect{0, 0};
};

Result runChain(const quol::VideoChain& chain, int width, int height, AVRational pixelAspect) {
    // A rate filter gives a picture once it knows when the next one comes.
    const quol::FramePtr picture = test::makePicture(width, height, AV_PIX_FMT_YUV420P, 0);
    const quol::FramePtr next = test::makePicture(width, height, AV_PIX_FMT_YUV420P, 1);
    quol::FilterGraph graph;
    const std::string text = quol::videoChainText(chain);
    EXPECT_TRUE(
        graph.buildVideo({width, height, AV_PIX_FMT_YUV420P, {1, 25}, pixelAspect}, text, 0))
        << text;
    if (!graph || !graph.send(picture.get()) || !graph.send(next.get())) return {};
    const quol::FramePtr out = quol::makeFrame();
    if (!graph.receive(*out)) return {};
    return {out->width, out->height, out->sample_aspect_ratio};
}

TEST(VideoChain, ExplicitChainsGiveTheSizeForAnySource) {
    for (const char* type : {"letter-box", "crop", "stretch"}) {
        for (const int width : {64, 100, 720, 101}) {
            for (const int height : {64, 576, 33}) {
                const Result result =
                    runChain(chainOf(0, 320, 180, 25.0, 0, type), width, height, {1, 1});
                EXPECT_EQ(result.width, 320) << type << ' ' << width << 'x' << height;
                EXPECT_EQ(result.height, 180) << type << ' ' << width << 'x' << height;
                EXPECT_EQ(result.aspect.num, result.aspect.den);
            }
        }
    }
}

TEST(VideoChain, AutomaticChainsGiveSquarePixelsAndEvenSizes) {
    const auto run = [](const char* type, int width, int height, AVRational aspect) {
        quol::VideoChain chain = chainOf(1, 0, 0, 0.0, 1, type);
        const Result result = runChain(chain, width, height, aspect);
        EXPECT_EQ(result.width % 2, 0);
        EXPECT_EQ(result.height % 2, 0);
        EXPECT_EQ(result.aspect.num, 1);
        EXPECT_EQ(result.aspect.den, 1);
        return std::pair(result.width, result.height);
    };
    using Size = std::pair<int, int>;
    // Wide pixels of a 5:4 raster: 1024 square ones in a row of 720.
    EXPECT_EQ(run("stretch", 720, 576, {64, 45}), Size(1024, 576));
    EXPECT_EQ(run("letter-box", 720, 576, {64, 45}), Size(1024, 576));
    EXPECT_EQ(run("crop", 720, 576, {64, 45}), Size(1024, 576));
    // A 4:3 picture is padded at its sides, or loses above and below.
    EXPECT_EQ(run("stretch", 640, 480, {1, 1}), Size(640, 480));
    EXPECT_EQ(run("letter-box", 640, 480, {1, 1}), Size(854, 480));
    EXPECT_EQ(run("crop", 640, 480, {1, 1}), Size(640, 360));
    // A picture wider than 16:9 the other way round.
    EXPECT_EQ(run("letter-box", 640, 272, {1, 1}), Size(640, 360));
    EXPECT_EQ(run("crop", 640, 288, {1, 1}), Size(512, 288));
    // Odd sizes.
    EXPECT_EQ(run("stretch", 101, 57, {1, 1}), Size(102, 58));
}

} // namespace
