// Still images as layers of a mixer.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <filesystem>
#include <thread>
#include <vector>

#include "compositing/LayerRenderer.h"
#include "support/ClipFile.h"
#include "support/Frames.h"
#include "support/MixerPictures.h"
#include "support/RunningMixer.h"

namespace {

using test::blackLevels;
using test::blended;
using test::customVideo;
using test::dark;
using test::fileOf;
using test::grey;
using test::HandSource;
using test::Levels;
using test::levelsOf;
using test::plainImage;
using test::plainPicture;
using test::RunningMixer;
using namespace std::chrono_literals;

} // namespace

// ---------------------------------------------------------------------------------- images

TEST(LMixerPictures, AnImageIsShownAndStandsWithoutASource) {
    RunningMixer running;
    running.mixer.addImage("i", plainImage("grey.ppm", 128), 0, 16, 8, 255, 32, 24);
    quol::FramePtr picture = running.nextPicture();
    // 128 of 255 is 16 + 128 * 219 / 255 in limited range; an image is blended, not copied.
    EXPECT_NEAR(test::levelsAt(picture.get(), 16, 8).y, 125, 2);
    EXPECT_NEAR(test::levelsAt(picture.get(), 47, 31).u, 127, 2);
    EXPECT_EQ(test::levelsAt(picture.get(), 15, 8), blackLevels);
    std::this_thread::sleep_for(1200ms);
    picture = running.nextPicture();
    EXPECT_NEAR(test::levelsAt(picture.get(), 16, 8).y, 125, 2);
}

TEST(LMixerPictures, AnImageWithAlphaIsTransparentWhereItSaysSo) {
    std::string bytes =
        "P7\nWIDTH 64\nHEIGHT 48\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n";
    for (int i = 0; i < 64 * 48; ++i)
        bytes += i % 64 < 32 ? std::string("\xff\xff\xff\xff") : std::string("\xff\xff\xff\0", 4);
    HandSource under;
    RunningMixer running;
    running.mixer.addLayer("a", &under);
    running.mixer.addImage("i", fileOf("alpha.pam", bytes), 1);
    ASSERT_TRUE(running.give("a", under, plainPicture(64, 48, dark)));
    const quol::FramePtr picture = running.nextPicture();
    EXPECT_NEAR(test::levelsAt(picture.get(), 4, 4).y, 234, 2);
    EXPECT_EQ(test::levelsAt(picture.get(), 60, 4), dark);
}

TEST(LMixerPictures, AnImageTakesTheFirstPictureOfAFileWithMore) {
    RunningMixer running(customVideo(320, 180, 25, 1));
    running.mixer.addImage("i", test::mediaPath("h264_aac.mp4"));
    const quol::FramePtr first = running.nextPicture();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(levelsOf(first.get()), (Levels{-1, -1, -1})); // a pattern
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(test::fingerprint(*running.nextPicture()), test::fingerprint(*first));
}

TEST(LMixerPictures, AnImageOfAFileWithSeveralStreamsIsOfTheFirst) {
    RunningMixer running;
    running.mixer.addImage("i", test::twoStreamClip());
    const quol::FramePtr picture = running.nextPicture();
    EXPECT_NEAR(test::levelsAt(picture.get(), 4, 4).y, dark.y, 2);
    EXPECT_EQ(test::levelsAt(picture.get(), test::firstStreamWidth + 2, 4), blackLevels);
}

TEST(LMixerPictures, TheCoverOfASoundFileIsAnImage) {
    RunningMixer running;
    running.mixer.addImage("i", test::mediaPath("cover.mp3"), 0, 0, 0, 255, 64, 48);
    EXPECT_NE(running.levelsAt(40, 40), blackLevels);
}

TEST(LMixerPictures, AnImageThatIsReplacedShowsTheNewFile) {
    RunningMixer running;
    running.mixer.addImage("i", plainImage("black.ppm", 0));
    EXPECT_NEAR(running.levelsAt(4, 4).y, 15, 2);
    running.mixer.addImage("i", plainImage("white.ppm", 255));
    EXPECT_NEAR(running.levelsAt(4, 4).y, 234, 2);
    running.mixer.addImage("i", "no such file.png");
    EXPECT_EQ(running.levelsAt(4, 4), blackLevels);
}

TEST(LMixerPictures, AnImageThatCannotBeReadLeavesALayerWithoutAPicture) {
    const std::string pipe = test::temporaryPath("pipe.png");
    std::filesystem::remove(pipe); // of a run before
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const std::vector<std::string> paths = {
        "",
        " ",
        "no such file.png",
        "/",
        test::temporaryPath(""),
        test::mediaPath(""),
        test::mediaPath("mono.wav"),
        test::mediaPath("text.mp4"),
        test::mediaPath("empty.mp4"),
        test::mediaPath("huge_png.png"),
        test::mediaPath("truncated_no_moov.mp4"),
        test::mediaPath("seq/seq_%04d.png") + "x",
        "/dev/null",
        "/dev/zero",
        pipe,
        "file:" + pipe,
        std::string(100000, 'x'),
        "/" + std::string(255, 'x') + ".png",
        std::string("still.png\0/etc", 14),
        "\xff\xfe\x01.png",
        "%s%s%s%n.png",
        "a\nb.png",
        "http://127.0.0.1:1/none.png",
        "nosuchprotocol://x",
        "concat:",
        "subfile,,start,0,end,10,,:x",
        "data:image/png;base64,",
        fileOf("short.ppm", "P6\n64 48\n255\nxx"),
        fileOf("wrong.ppm", "P6\n-1 99999999999\n255\n"),
        fileOf("short.png", "\x89PNG\r\n\x1a\n"),
    };
    RunningMixer running;
    for (const std::string& path : paths) {
        LLayerItem* const item = running.mixer.addImage("i", path, 3);
        ASSERT_NE(item, nullptr) << path;
        EXPECT_EQ(item->zIndex, 3) << path;
        EXPECT_EQ(running.mixer.getLayer("i"), item) << path;
    }
    // None of them held the mixer up for good, nor broke it.
    EXPECT_EQ(running.levelsAt(4, 4), blackLevels);
    running.mixer.addImage("i", plainImage("after.ppm", 255));
    EXPECT_NEAR(running.levelsAt(4, 4).y, 234, 2);
}

TEST(LMixerPictures, EachImageThatCannotBeReadIsBlack) {
    RunningMixer running;
    for (const std::string& path :
         {std::string(), std::string("no such file.png"), test::mediaPath("mono.wav"),
          test::mediaPath("text.mp4"), test::mediaPath("huge_png.png")}) {
        running.mixer.addImage("i", plainImage("before.ppm", 255));
        running.mixer.addImage("i", path);
        EXPECT_EQ(levelsOf(running.nextPicture().get()), blackLevels) << path;
    }
}

TEST(LMixerPictures, DamagedFilesAsImagesDoNoHarm) {
    RunningMixer running;
    for (const char* name : {"random.mp4", "bitflips.mp4", "truncated.mp4", "odd_size.mkv",
                             "tenbit.mp4", "size_change.ts", "prores.mov"}) {
        running.mixer.addImage("i", test::mediaPath(name), 0, 0, 0, 200, 64, 48);
        EXPECT_NE(running.nextPicture(), nullptr) << name;
    }
}
