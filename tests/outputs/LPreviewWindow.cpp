// The preview in real windows of an X server.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "outputs/PreviewLook.h"
#include "outputs/PreviewText.h"
#include "quolsdk/LObject.h"
#include "quolsdk/LPreview.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/Frames.h"
#include "support/XServer.h"

extern "C" {
#include <libavutil/dict.h>
}

namespace {

using test::isNear;
using test::Pixel;
using test::Screenshot;

constexpr auto patience = std::chrono::seconds(60);

constexpr Pixel hostGround{255, 0, 255};
constexpr Pixel black{0, 0, 0};
constexpr Pixel white{255, 255, 255};

// Grey all over, in limited range.
quol::FramePtr greyPicture(int width, int height, std::uint8_t luma,
                           AVPixelFormat format = AV_PIX_FMT_YUV420P) {
    quol::FramePtr frame = test::makePicture(width, height, format);
    test::fillPlane(*frame, 0, luma);
    if (format == AV_PIX_FMT_YUV420P || format == AV_PIX_FMT_YUVJ420P) {
        test::fillPlane(*frame, 1, 128);
        test::fillPlane(*frame, 2, 128);
    }
    frame->pts = AV_NOPTS_VALUE; // shown at once
    return frame;
}

constexpr std::uint8_t midLuma = 126;
constexpr Pixel midGrey{128, 128, 128};

class LPreviewWindow : public testing::Test {
protected:
    void SetUp() override {
        if (!server.running()) GTEST_SKIP() << "no Xvfb on this machine";
        window = std::make_unique<test::HostWindow>(640, 360);
    }

    void begin(bool audio = false) {
        preview = std::make_unique<LPreview>();
        preview->setProps("ui_framework", "x11");
        preview->previewObject(&source);
        preview->previewEnable(window->handle(), audio, true);
        ASSERT_TRUE(becomes(1));
    }

    bool becomes(int wanted) {
        return test::waitUntil([&] { return status() == wanted; }, patience);
    }
    int status() {
        int value = -7;
        preview->statusGet(value);
        return value;
    }

    // Until the window shows it.
    bool shows(const std::function<bool(const Screenshot&)>& wanted) {
        return test::waitUntil(
            [&] {
                shot = window->screenshot();
                return wanted(shot);
            },
            patience);
    }
    bool showsAt(int x, int y, const Pixel& wanted) {
        return shows([&](const Screenshot& seen) { return isNear(seen.at(x, y), wanted); });
    }
    void push(const quol::FramePtr& frame) { source.distributeVideoFrame(frame.get()); }

    // A grey picture, and the screenshot when it has come.
    void showGrey(int width = 64, int height = 36) {
        push(greyPicture(width, height, midLuma));
        EXPECT_TRUE(shows([](const Screenshot& seen) { return seen.count(midGrey) > 10000; }));
    }

    // How many pixels of a black plate with white letters are not in the screenshot, on mid grey.
    int pixelsUnlike(const quol::TextPlate& plate, int left, int top) const {
        int others = 0;
        for (int y = 0; y < plate.height; ++y) {
            for (int x = 0; x < plate.width; ++x) {
                const std::uint8_t* const from =
                    plate.rgba.data() + (static_cast<std::size_t>(y) * plate.width + x) * 4;
                const int level = (from[0] * from[3] + 128 * (255 - from[3])) / 255;
                others += isNear(shot.at(left + x, top + y), {level, level, level}, 4) ? 0 : 1;
            }
        }
        return others;
    }

    test::XServer server;
    std::unique_ptr<test::HostWindow> window;
    LObject source;
    std::unique_ptr<LPreview> preview;
    Screenshot shot;
};

TEST_F(LPreviewWindow, TellsThatItIsReadyOnce) {
    test::CapturedStream output(test::CapturedStream::Stream::output);
    begin();
    preview->previewEnable(window->handle(), false, true);
    EXPECT_TRUE(showsAt(5, 5, black));
    EXPECT_EQ(status(), 1);
    const std::string line = "[quolsdk] Win32 OpenGL GPU preview ready (WGL).\n";
    const std::string text = output.text();
    ASSERT_NE(text.find(line), std::string::npos) << text;
    EXPECT_EQ(text.find(line), text.rfind(line)) << text;
}

TEST_F(LPreviewWindow, BeforeTheFirstPictureItShowsTheGround) {
    begin();
    EXPECT_TRUE(shows([](const Screenshot& seen) { return seen.count(black) == 640 * 360; }));
    preview->setProps("preview_background", "#204060");
    EXPECT_TRUE(shows([](const Screenshot& seen) {
        return seen.count({0x20, 0x40, 0x60}) == 640 * 360;
    }));
    preview->setProps("preview_background", "mauve"); // no colour
    preview->setName("MMMM");
    EXPECT_TRUE(shows([](const Screenshot& seen) { return seen.count(white) > 10; }));
    EXPECT_TRUE(isNear(shot.at(3, 3), {0x20, 0x40, 0x60}));
}

TEST_F(LPreviewWindow, RowZeroIsAtTheTopAndThePictureFillsTheWindow) {
    begin();
    quol::FramePtr frame = greyPicture(64, 36, 235);
    for (int row = 18; row < 36; ++row)
        std::memset(frame->data[0] + row * frame->linesize[0], 16, 64);
    push(frame);
    EXPECT_TRUE(showsAt(320, 90, white));
    EXPECT_TRUE(isNear(shot.at(0, 0), white));
    EXPECT_TRUE(isNear(shot.at(639, 0), white));
    EXPECT_TRUE(isNear(shot.at(0, 359), black));
    EXPECT_TRUE(isNear(shot.at(639, 359), black));
    EXPECT_TRUE(isNear(shot.at(320, 270), black));
    test::keepPicture(shot, "halves");
}

// The shader's formula, by hand.
TEST_F(LPreviewWindow, LimitedRangeColoursBecomeRgb) {
    begin();
    quol::FramePtr frame = greyPicture(64, 36, 81);
    test::fillPlane(*frame, 1, 90);
    test::fillPlane(*frame, 2, 240);
    push(frame);
    EXPECT_TRUE(showsAt(320, 180, {254, 0, 0}));
    test::fillPlane(*(frame = greyPicture(64, 36, 145)), 1, 54);
    test::fillPlane(*frame, 2, 34);
    push(frame);
    EXPECT_TRUE(showsAt(320, 180, {0, 255, 1}));
    test::fillPlane(*(frame = greyPicture(64, 36, 41)), 1, 240);
    test::fillPlane(*frame, 2, 110);
    push(frame);
    EXPECT_TRUE(showsAt(320, 180, {0, 0, 255}));
}

TEST_F(LPreviewWindow, TakesFullRangePlanarAsItIsAndConvertsOthers) {
    begin();
    push(greyPicture(64, 36, midLuma, AV_PIX_FMT_YUVJ420P));
    EXPECT_TRUE(showsAt(320, 180, midGrey));
    quol::FramePtr rgb = greyPicture(63, 35, 0, AV_PIX_FMT_RGB24); // of an odd size too
    for (int row = 0; row < 35; ++row) {
        for (int x = 0; x < 63; ++x) {
            std::uint8_t* const pixel = rgb->data[0] + row * rgb->linesize[0] + x * 3;
            pixel[0] = 200;
            pixel[1] = 100;
            pixel[2] = 50;
        }
    }
    push(rgb);
    EXPECT_TRUE(shows([](const Screenshot& seen) {
        return isNear(seen.at(320, 180), {200, 100, 50}, 6);
    }));
    quol::FramePtr packed = test::makePicture(64, 36, AV_PIX_FMT_UYVY422);
    test::fillPlane(*packed, 0, 128);
    packed->pts = AV_NOPTS_VALUE;
    push(packed);
    EXPECT_TRUE(showsAt(320, 180, {130, 130, 130}));
}

TEST_F(LPreviewWindow, APictureThatCannotBeReadLeavesTheLastOne) {
    begin();
    showGrey();
    quol::FramePtr empty = quol::makeFrame();
    push(empty);
    empty->width = 64;
    empty->height = 36;
    empty->format = AV_PIX_FMT_YUV420P;
    push(empty);
    preview->setName("still here");
    EXPECT_TRUE(shows([](const Screenshot& seen) { return seen.count(white) > 10; }));
    EXPECT_TRUE(isNear(shot.at(100, 100), midGrey));
    EXPECT_EQ(status(), 1);
}

TEST_F(LPreviewWindow, UpsideDownInMemoryIsStraightened) {
    begin();
    quol::FramePtr frame = greyPicture(64, 36, 235);
    std::memset(frame->data[0], 16, static_cast<std::size_t>(frame->linesize[0]) * 18);
    for (int plane = 0; plane < 3; ++plane) {
        frame->data[plane] += frame->linesize[plane] * (plane == 0 ? 35 : 17);
        frame->linesize[plane] = -frame->linesize[plane];
    }
    push(frame);
    EXPECT_TRUE(showsAt(320, 90, white));
    EXPECT_TRUE(showsAt(320, 270, black));
}

// ----------------------------------------------------------------------------------- the shape

TEST_F(LPreviewWindow, KeepsThePicturesShapeWhereItIsAsked) {
    begin();
    preview->setProps("preview_background", "green");
    preview->setProps("maintain_ar", "true");
    push(greyPicture(36, 36, midLuma)); // square: bars left and right
    EXPECT_TRUE(showsAt(320, 180, midGrey));
    EXPECT_TRUE(isNear(shot.at(139, 180), {0, 255, 0}));
    EXPECT_TRUE(isNear(shot.at(140, 180), midGrey));
    EXPECT_TRUE(isNear(shot.at(499, 180), midGrey));
    EXPECT_TRUE(isNear(shot.at(500, 180), {0, 255, 0}));
    test::keepPicture(shot, "square");
    push(greyPicture(128, 36, midLuma)); // twice as wide: bars above and below
    EXPECT_TRUE(showsAt(2, 180, midGrey));
    EXPECT_TRUE(showsAt(320, 89, {0, 255, 0}));
    EXPECT_TRUE(isNear(shot.at(320, 91), midGrey));
    EXPECT_TRUE(isNear(shot.at(320, 268), midGrey));
    EXPECT_TRUE(isNear(shot.at(320, 271), {0, 255, 0}));
    test::keepPicture(shot, "wide");
    preview->setProps("scale_type", "stretch");
    EXPECT_TRUE(showsAt(320, 5, midGrey));
    preview->setProps("scale_type", "aspect-ratio");
    EXPECT_TRUE(showsAt(320, 5, {0, 255, 0}));
    preview->setProps("maintain_ar", "True"); // not "true"
    EXPECT_TRUE(showsAt(320, 5, midGrey));
    preview->setProps("scale_type", "letter-box");
    EXPECT_TRUE(showsAt(320, 5, {0, 255, 0}));
}

// ------------------------------------------------------------------------- status and label

struct StatusCase {
    const char* status;
    Pixel border;
    Pixel plate; // on mid grey
};

TEST_F(LPreviewWindow, EachStatusHasABorderAndALabelOfItsOwn) {
    begin();
    showGrey();
    preview->setName("Camera 1");
    const auto over = [](int level) {
        return static_cast<int>((level * 229 + 128 * (255 - 229)) / 255.0);
    };
    const Pixel red{over(0x8C), over(0x14), over(0x14)};
    const Pixel green{over(0x14), over(0x78), over(0x28)};
    const StatusCase cases[] = {{"program", {150, 0, 0}, red},
                                {"preview", {51, 161, 79}, green},
                                {"record", {150, 0, 0}, red},
                                {"live", {51, 161, 79}, green},
                                {"trim", {84, 171, 255}, {over(0x41), over(0x82), over(0xC8)}},
                                {"ready", {255, 171, 0}, {over(0xC8), over(0x82), over(0x00)}}};
    for (const StatusCase& look : cases) {
        preview->setStatus(look.status);
        EXPECT_TRUE(showsAt(0, 0, look.border)) << look.status;
        // 4 * 360 / 540 pixels, all round.
        for (const auto& [x, y] : {std::pair{1, 180}, {638, 180}, {320, 1}, {320, 358}})
            EXPECT_TRUE(isNear(shot.at(x, y), look.border)) << look.status << x << ' ' << y;
        EXPECT_TRUE(isNear(shot.at(4, 180), midGrey)) << look.status;
        EXPECT_GT(shot.count(look.plate, 200, 310, 440, 350), 300) << look.status;
        EXPECT_GT(shot.count(white, 200, 310, 440, 350), 20) << look.status;
        test::keepPicture(shot, std::string("status_") + look.status);
    }
}

TEST_F(LPreviewWindow, AStatusWithACapitalLetterDrawsNoBorder) {
    begin();
    showGrey();
    preview->setStatus("ready");
    EXPECT_TRUE(showsAt(0, 0, {255, 171, 0}));
    preview->setStatus("Ready");
    EXPECT_TRUE(showsAt(0, 0, midGrey));
    EXPECT_EQ(shot.count(midGrey), 640 * 360);
}

TEST_F(LPreviewWindow, StatusAndNameAreProperties) {
    begin();
    showGrey();
    preview->setProps("status", "trim");
    EXPECT_TRUE(showsAt(0, 0, {84, 171, 255}));
    EXPECT_EQ(shot.count(white), 0);
    preview->setProps("name", "A");
    EXPECT_TRUE(shows([](const Screenshot& seen) { return seen.count(white) > 5; }));
    preview->setProps("status", "");
    EXPECT_TRUE(showsAt(0, 0, midGrey));
}

TEST_F(LPreviewWindow, TheBorderFlagDrawsOneInItsColourWhateverTheStatus) {
    begin();
    showGrey();
    preview->setName("Camera 1");
    preview->setProps("borderColor", "#4080C0");
    preview->setProps("border", "1");
    EXPECT_TRUE(showsAt(0, 0, {0x40, 0x80, 0xC0}));
    // 60 percent of it, 0.59 opaque, below the label.
    const auto over = [](int level) {
        return static_cast<int>((level * 150 + 128 * (255 - 150)) / 255.0);
    };
    EXPECT_GT(shot.count({over(38), over(76), over(115)}, 200, 310, 440, 350), 300);
    test::keepPicture(shot, "border");
    preview->setProps("border_color", "red");
    EXPECT_TRUE(showsAt(0, 0, {255, 0, 0}));
    preview->setProps("border_color", "#12345"); // no colour
    preview->setStatus("program");
    EXPECT_TRUE(showsAt(0, 0, {150, 0, 0}));
    preview->setStatus("");
    EXPECT_TRUE(showsAt(0, 0, {255, 0, 0}));
    preview->setProps("border", "false");
    EXPECT_TRUE(showsAt(0, 0, midGrey));
}

TEST_F(LPreviewWindow, AnEmptyNameDrawsNoLabel) {
    begin();
    showGrey();
    EXPECT_EQ(shot.count(midGrey), 640 * 360);
    preview->setName("A");
    EXPECT_TRUE(shows([](const Screenshot& seen) { return seen.count(white) > 5; }));
    preview->setProps("name", "");
    EXPECT_TRUE(shows([](const Screenshot& seen) { return seen.count(midGrey) == 640 * 360; }));
}

TEST_F(LPreviewWindow, TheLabelStandsCentredAboveTheLowerEdge) {
    begin();
    showGrey();
    preview->setName("MMMM");
    EXPECT_TRUE(shows([](const Screenshot& seen) { return seen.count(white) > 20; }));
    test::keepPicture(shot, "label");
    int left = 640;
    int right = -1;
    int top = 360;
    int bottom = -1;
    for (int y = 0; y < 360; ++y) {
        for (int x = 0; x < 640; ++x) {
            if (isNear(shot.at(x, y), midGrey)) continue;
            left = std::min(left, x);
            right = std::max(right, x);
            top = std::min(top, y);
            bottom = std::max(bottom, y);
        }
    }
    EXPECT_NEAR(left, 639 - right, 1);
    EXPECT_EQ(359 - bottom, 17); // 25 * 360 / 540
    const int fontHeight = quol::labelFontHeight(360);
    EXPECT_EQ(bottom - top + 1, fontHeight + quol::marginsOf(fontHeight).height);
    const quol::TextPlate wanted =
        quol::drawTextPlate("MMMM", {{0, 0, 0}, 0.59}, fontHeight, "Arial");
    EXPECT_EQ(wanted.width, right - left + 1);
    EXPECT_EQ(pixelsUnlike(wanted, left, top), 0);
}

TEST_F(LPreviewWindow, NamesThatAreNoUtf8AreLatin1AndLongOnesAreCut) {
    begin();
    showGrey();
    preview->setName("\xC7\x61\xF0");
    EXPECT_TRUE(shows([](const Screenshot& seen) { return seen.count(white) > 10; }));
    preview->setName(std::string(100000, 'W'));
    EXPECT_TRUE(
        shows([](const Screenshot& seen) { return seen.count(white, 0, 300, 640, 360) > 500; }));
    EXPECT_EQ(status(), 1);
}

// ------------------------------------------------------------------------------ time code

TEST_F(LPreviewWindow, TimeCodeIsShownWhereItIsAskedAndKnown) {
    begin();
    showGrey();
    preview->setProps("timecode.preview", "true");
    quol::FramePtr frame = greyPicture(64, 36, midLuma);
    av_dict_set(&frame->metadata, "timecode", "10:11:12:13", 0);
    push(frame);
    // On black of 119 / 255.
    const Pixel plate{68, 68, 68};
    EXPECT_TRUE(
        shows([&](const Screenshot& seen) { return seen.count(plate, 0, 0, 320, 60) > 300; }));
    EXPECT_GT(shot.count(white, 0, 0, 320, 60), 20);
    EXPECT_EQ(shot.count(midGrey, 320, 0, 640, 360), 320 * 360);
    test::keepPicture(shot, "timecode");
    // Letter by letter: with its prefix, bold, in a face of fixed pitch.
    const quol::TextPlate wanted = quol::drawTextPlate(
        "TC:10:11:12:13", {{0, 0, 0}, 0.47}, quol::timecodeFontHeight(360), "Courier New");
    const auto margin = static_cast<int>(std::lround(quol::labelDistance(360) / 2));
    EXPECT_EQ(pixelsUnlike(wanted, margin, margin), 0);
    push(greyPicture(64, 36, midLuma)); // without one
    EXPECT_TRUE(shows([](const Screenshot& seen) { return seen.count(midGrey) == 640 * 360; }));
    push(frame);
    EXPECT_TRUE(shows([](const Screenshot& seen) { return seen.count(white) > 20; }));
    preview->setProps("timecode.preview", "false");
    EXPECT_TRUE(shows([](const Screenshot& seen) { return seen.count(midGrey) == 640 * 360; }));
}

// ------------------------------------------------------------------------------ the meter

constexpr Pixel segmentGreen{26, 204, 51};
constexpr Pixel segmentYellow{242, 204, 26};
constexpr Pixel segmentRed{242, 38, 26};

// Sound of full scale in both channels, or of a level in one.
quol::FramePtr loudSound(std::int16_t left, std::int16_t right) {
    quol::FramePtr sound = test::makeSound(960, 48000, 2, AV_SAMPLE_FMT_S16, 0, 0.0);
    auto* const samples = reinterpret_cast<std::int16_t*>(sound->data[0]);
    for (int i = 0; i < 960; ++i) {
        samples[i * 2] = left;
        samples[i * 2 + 1] = right;
    }
    return sound;
}

TEST_F(LPreviewWindow, FullScaleLightsAllSegments) {
    begin();
    preview->setProps("audio_meter", "1");
    const quol::MeterPlace place = quol::placeMeter(640, 360);
    const auto lit = [&](const Screenshot& seen, int channel) {
        int count = 0;
        for (int segment = 0; segment < 40; ++segment) {
            const auto x = static_cast<int>(place.columnLeft[channel] + place.columnWidth / 2);
            const auto y = static_cast<int>(place.bottom - place.segmentPitch * segment - 1);
            const Pixel wanted = segment < 26   ? segmentGreen
                                 : segment < 36 ? segmentYellow
                                                : segmentRed;
            count += isNear(seen.at(x, y), wanted) ? 1 : 0;
        }
        return count;
    };
    // Sound alone moves it, and it falls again by itself: so it is kept coming.
    EXPECT_TRUE(shows([&](const Screenshot& seen) {
        const quol::FramePtr sound = loudSound(-32768, -32768);
        source.distributeAudioFrame(sound.get());
        return lit(seen, 0) == 40 && lit(seen, 1) == 40;
    }));
    test::keepPicture(shot, "meter_full");
    // The left channel alone; the right one's held level falls by 0.006 a pass.
    EXPECT_TRUE(shows([&](const Screenshot& seen) {
        const quol::FramePtr sound = loudSound(16384, 0);
        source.distributeAudioFrame(sound.get());
        return lit(seen, 0) == 21 && lit(seen, 1) == 1;
    })) << lit(shot, 0)
        << lit(shot, 1);
    test::keepPicture(shot, "meter_held");
    EXPECT_TRUE(shows([&](const Screenshot& seen) { return lit(seen, 0) + lit(seen, 1) == 0; }));
    test::keepPicture(shot, "meter_rest");
    preview->setProps("audio_meter", "0");
    EXPECT_TRUE(shows([](const Screenshot& seen) { return seen.count(black) == 640 * 360; }));
}

// ------------------------------------------------------------------- what a window goes through

TEST_F(LPreviewWindow, FollowsTheWindowsSizeWithoutANewPicture) {
    begin();
    showGrey();
    preview->setStatus("program");
    EXPECT_TRUE(showsAt(0, 0, {150, 0, 0}));
    for (const auto& [width, height] : {std::pair{800, 600}, {200, 100}, {1, 1}, {1000, 540}}) {
        window->resize(width, height);
        EXPECT_TRUE(shows([&, width = width, height = height](const Screenshot& seen) {
            return seen.width == width && isNear(seen.at(width - 1, height - 1), {150, 0, 0}) &&
                   seen.count(hostGround) == 0;
        })) << width;
    }
    EXPECT_TRUE(isNear(shot.at(500, 270), midGrey));
    EXPECT_TRUE(isNear(shot.at(3, 270), {150, 0, 0}));
    EXPECT_TRUE(isNear(shot.at(5, 270), midGrey));
    test::keepPicture(shot, "resized");
}

TEST_F(LPreviewWindow, ComesBackAfterTheWindowWasHidden) {
    begin();
    showGrey();
    window->unmap();
    push(greyPicture(64, 36, 235));
    EXPECT_EQ(status(), 1);
    window->map();
    EXPECT_TRUE(shows([](const Screenshot& seen) { return seen.count(white) == 640 * 360; }));
    EXPECT_EQ(status(), 1);
}

TEST_F(LPreviewWindow, SurvivesTheEndOfItsWindowAndTakesAnother) {
    begin();
    showGrey();
    window->destroy();
    EXPECT_TRUE(becomes(0));
    for (int i = 0; i < 20; ++i)
        push(greyPicture(64, 36, midLuma));
    window = std::make_unique<test::HostWindow>(320, 240);
    preview->previewEnable(window->handle(), false, true);
    EXPECT_TRUE(becomes(1));
    push(greyPicture(64, 36, 235));
    EXPECT_TRUE(shows([](const Screenshot& seen) { return seen.count(white) == 320 * 240; }));
}

TEST_F(LPreviewWindow, SurvivesTheEndOfItsWindowWhilePicturesCome) {
    for (int turn = 0; turn < 3; ++turn) {
        window = std::make_unique<test::HostWindow>(640, 360);
        begin();
        std::atomic<bool> going{true};
        std::thread pushing([&] {
            const quol::FramePtr frame = greyPicture(640, 360, midLuma);
            while (going) {
                push(frame);
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });
        EXPECT_TRUE(showsAt(320, 180, midGrey));
        window->destroy();
        EXPECT_TRUE(becomes(0));
        going = false;
        pushing.join();
        preview.reset();
    }
}

TEST_F(LPreviewWindow, SurvivesTheEndOfTheServer) {
    begin();
    showGrey();
    server.kill();
    for (int i = 0; i < 20; ++i)
        push(greyPicture(64, 36, midLuma));
    EXPECT_TRUE(becomes(0));
    preview->previewEnable(window->handle(), false, true);
    preview.reset();
}

TEST_F(LPreviewWindow, MovesToAnotherWindowAndLeavesTheFirstAsItWas) {
    begin();
    showGrey();
    EXPECT_EQ(window->children(), 1);
    test::HostWindow second(320, 240, 700);
    preview->previewEnable(second.handle(), false, true);
    push(greyPicture(64, 36, 235));
    EXPECT_TRUE(
        test::waitUntil([&] { return second.screenshot().count(white) == 320 * 240; }, patience));
    EXPECT_EQ(window->children(), 0);
    EXPECT_TRUE(shows([](const Screenshot& seen) { return seen.count(hostGround) == 640 * 360; }));
    preview.reset();
    EXPECT_EQ(second.children(), 0);
}

TEST_F(LPreviewWindow, TheHostsEventHandlingIsItsOwn) {
    window->events();
    const std::uint32_t before = window->eventMask();
    begin();
    showGrey();
    EXPECT_EQ(window->eventMask(), before);
    EXPECT_TRUE(window->events().empty()); // none that it has not asked for, and no error
    preview.reset();
    EXPECT_EQ(window->eventMask(), before);
    EXPECT_TRUE(window->events().empty());
}

TEST_F(LPreviewWindow, ThePointerGoesThroughToTheHostsWindow) {
    begin();
    showGrey();
    ASSERT_EQ(window->children(), 1);
    xcb_connection_t* const host = window->connection();
    xcb_warp_pointer(host, XCB_NONE, window->id(), 0, 0, 0, 0, 100, 50);
    struct Free {
        void operator()(void* memory) const { std::free(memory); }
    };
    const std::unique_ptr<xcb_query_pointer_reply_t, Free> pointer(
        xcb_query_pointer_reply(host, xcb_query_pointer(host, window->id()), nullptr));
    ASSERT_NE(pointer, nullptr);
    EXPECT_EQ(pointer->win_x, 100);
    EXPECT_EQ(pointer->win_y, 50);
    EXPECT_EQ(pointer->child, static_cast<xcb_window_t>(XCB_NONE));
}

TEST_F(LPreviewWindow, TwoPreviewsInOneProcess) {
    begin();
    test::HostWindow otherWindow(320, 240, 700);
    LObject otherSource;
    LPreview other;
    other.setProps("ui_framework", "x11");
    other.previewObject(&otherSource);
    other.previewEnable(otherWindow.handle(), false, true);
    push(greyPicture(64, 36, midLuma));
    const quol::FramePtr bright = greyPicture(64, 36, 235);
    otherSource.distributeVideoFrame(bright.get());
    EXPECT_TRUE(shows([](const Screenshot& seen) { return seen.count(midGrey) == 640 * 360; }));
    EXPECT_TRUE(test::waitUntil([&] { return otherWindow.screenshot().count(white) == 320 * 240; },
                                patience));
}

// --------------------------------------------------------------------------------- failures

TEST_F(LPreviewWindow, AWindowThatIsNoneLeavesItBlankAndTheSourceUnharmed) {
    test::CapturedStream errors(test::CapturedStream::Stream::error);
    preview = std::make_unique<LPreview>();
    preview->setProps("ui_framework", "x11");
    preview->previewObject(&source);
    preview->previewEnable(reinterpret_cast<void*>(0x7FFFFF1), false, true);
    const std::string line =
        "[quolsdk] Win32 OpenGL (WGL) init failed \xE2\x80\x94 check GPU driver.\n";
    EXPECT_TRUE(test::waitUntil([&] { return errors.text() == line; }, patience));
    EXPECT_EQ(status(), 0);
    for (int i = 0; i < 100; ++i)
        push(greyPicture(64, 36, midLuma));
    preview->previewEnable(nullptr, false, true);
    EXPECT_TRUE(test::waitUntil([&] { return errors.text() == line + line; }, patience));
    preview->previewEnable(window->handle(), false, true);
    EXPECT_TRUE(becomes(1));
}

TEST_F(LPreviewWindow, NoServerIsAFailureToo) {
    test::CapturedStream errors(test::CapturedStream::Stream::error);
    setenv("DISPLAY", ":65000", 1);
    preview = std::make_unique<LPreview>();
    preview->setProps("ui_framework", "x11");
    preview->previewEnable(window->handle(), false, true);
    EXPECT_TRUE(test::waitUntil(
        [&] { return errors.text().find("init failed") != std::string::npos; }, patience));
    EXPECT_EQ(status(), 0);
}

TEST_F(LPreviewWindow, WithoutVideoPicturesAreNotTaken) {
    begin();
    showGrey();
    preview->previewEnable(window->handle(), false, false);
    EXPECT_EQ(status(), 1);
    push(greyPicture(64, 36, 235));
    preview->setStatus("program");
    EXPECT_TRUE(showsAt(0, 0, {150, 0, 0}));
    EXPECT_TRUE(isNear(shot.at(320, 180), midGrey));
}

TEST_F(LPreviewWindow, IsDestroyedAtAnyTime) {
    for (int i = 0; i < 10; ++i) {
        preview = std::make_unique<LPreview>();
        preview->setProps("ui_framework", "x11");
        preview->previewObject(&source);
        preview->previewEnable(window->handle(), false, true);
        if (i % 3 == 1) push(greyPicture(64, 36, midLuma));
        if (i % 3 == 2) becomes(1);
        preview.reset();
        push(greyPicture(64, 36, midLuma)); // it has left the source
    }
    EXPECT_EQ(window->children(), 0);
}

} // namespace
