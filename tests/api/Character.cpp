// The flat functions of the character generator. Its scenes come from project files here, as a host
// of the flat interface brings them; where a field is looked at, the class is asked.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "quolsdk/LCharacter.h"
#include "quolsdk/LFrame.h"
#include "quolsdk/quolsdk_c_api.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/RecordedFile.h"
#include "support/SteppedTitles.h"

namespace {

using test::alphaAt;
using test::CapturedStream;
using test::CollectingSink;
using test::samePicture;
using test::waitUntil;

LCharacter* characterOf(quolsdk_handle handle) {
    return dynamic_cast<LCharacter*>(static_cast<LObject*>(handle));
}

std::string fileWith(const std::string& name, const std::string& bytes) {
    const std::string path = test::temporaryPath(name);
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
}

std::string readAll(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string itemOf(const std::string& type, const std::string& id, const std::string& more) {
    return "<Item>\n<type>" + type + "</type>\n<id>" + id + "</id>\n" + more + "</Item>\n";
}

// A white panel of 100x100 whose top left corner is there.
std::string panelAt(const std::string& id, int x, int y) {
    return itemOf("rect", id,
                  "<x>" + std::to_string(x) + "</x>\n<y>" + std::to_string(y) +
                      "</y>\n<w>100</w>\n<h>100</h>\n<bgType>Color</bgType>\n"
                      "<bgColor>#FFFFFF</bgColor>\n");
}

// Always on the move.
std::string crawlAt(const std::string& id, int y) {
    return itemOf("crawl", id,
                  "<y>" + std::to_string(y) + "</y>\n<h>80</h>\n<text>News at any time</text>\n");
}

std::string grouped(const std::string& name, const std::string& items) {
    return "<group>\n<id>" + name + "</id>\n" + items + "</group>\n";
}

class CharacterApi : public testing::Test {
protected:
    quolsdk_handle character = quolsdk_character_create();
    CollectingSink sink{1};

    CharacterApi() { static_cast<LObject*>(character)->addSink(&sink); }
    ~CharacterApi() override {
        if (character == nullptr) return;
        static_cast<LObject*>(character)->removeSink(&sink);
        quolsdk_character_destroy(character);
    }

    void load(const std::string& text) {
        quolsdk_character_load_from_xml(character, fileWith("scene.xml", text).c_str());
    }

    int itemCount() { return characterOf(character)->getItemCount(); }

    // Waits for a picture in which the pixel is covered, or is not.
    bool covers(int x, int y, bool covered = true) {
        return waitUntil([&] {
            const quol::FramePtr picture = sink.latestPicture();
            return picture && (alphaAt(picture, x, y) > 0) == covered;
        });
    }
    bool leavesFree(int x, int y) { return covers(x, y, false); }

    // A picture that was begun after the call.
    quol::FramePtr nextPicture() {
        return sink.waitForPictures(sink.pictureCount() + 2) ? sink.latestPicture() : nullptr;
    }

    // The scene can still be changed, and the pictures go on.
    void expectAlive() {
        load(panelAt("alive", 700, 700));
        EXPECT_EQ(itemCount(), 1);
        EXPECT_TRUE(covers(750, 750));
    }
};

// ---------------------------------------------------------------------------------------- a scene

TEST_F(CharacterApi, TheHandleIsTheLObjectViewOfAGeneratorThatRuns) {
    ASSERT_NE(character, nullptr);
    ASSERT_NE(characterOf(character), nullptr);
    ASSERT_TRUE(sink.waitForPictures(3));
    const quol::FramePtr picture = sink.latestPicture();
    EXPECT_EQ(picture->width, 1920);
    EXPECT_EQ(picture->height, 1080);
    EXPECT_EQ(picture->format, AV_PIX_FMT_YUVA420P);
    EXPECT_EQ(itemCount(), 0);
}

TEST_F(CharacterApi, AProjectIsLoadedInPlaceOfTheScene) {
    load(panelAt("a", 0, 0));
    EXPECT_TRUE(covers(50, 50));
    load(panelAt("b", 200, 200));
    EXPECT_TRUE(covers(250, 250));
    EXPECT_TRUE(leavesFree(50, 50));
    EXPECT_EQ(itemCount(), 1);
    EXPECT_NE(characterOf(character)->getItem("b"), nullptr);
}

TEST_F(CharacterApi, AnyNumberOtherThan0ShowsAnItem) {
    load(panelAt("a", 0, 0) + panelAt("b", 200, 200));
    ASSERT_TRUE(covers(50, 50));
    for (const int show : {1, 2, -1}) {
        quolsdk_character_show_item(character, "a", 0);
        EXPECT_TRUE(leavesFree(50, 50)) << show;
        quolsdk_character_show_item(character, "a", show);
        EXPECT_TRUE(covers(50, 50)) << show;
    }
    EXPECT_TRUE(covers(250, 250));
    EXPECT_EQ(itemCount(), 2);
}

TEST_F(CharacterApi, AnItemThatIsHiddenInItsFileIsShownById) {
    load(itemOf("rect", "a", "<show>false</show>\n<bgType>Color</bgType>\n") + panelAt("b", 0, 0));
    ASSERT_TRUE(covers(50, 50));
    EXPECT_EQ(alphaAt(nextPicture(), 500, 500), 0);
    quolsdk_character_show_item(character, "a", 1);
    EXPECT_TRUE(covers(500, 500));
}

TEST_F(CharacterApi, AGroupIsShownAndHiddenByItsName) {
    load(grouped("g", panelAt("a", 0, 0) + panelAt("b", 200, 200)) + panelAt("c", 400, 400));
    ASSERT_TRUE(covers(50, 50));
    quolsdk_character_show_item(character, "g", 0);
    EXPECT_TRUE(leavesFree(50, 50));
    EXPECT_TRUE(leavesFree(250, 250));
    EXPECT_TRUE(covers(450, 450));
    EXPECT_TRUE(characterOf(character)->getItem("a")->show); // its own switch stays
    quolsdk_character_show_item(character, "g", 1);
    EXPECT_TRUE(covers(50, 50));
}

TEST_F(CharacterApi, RemoveTakesTheFirstItemOfThatNameAway) {
    load(panelAt("a", 0, 0) + panelAt("b", 200, 200));
    ASSERT_TRUE(covers(50, 50));
    quolsdk_character_remove(character, "a");
    EXPECT_TRUE(leavesFree(50, 50));
    EXPECT_TRUE(covers(250, 250));
    EXPECT_EQ(itemCount(), 1);
}

TEST_F(CharacterApi, UnknownNamesChangeNothing) {
    load(panelAt("a", 0, 0));
    ASSERT_TRUE(covers(50, 50));
    for (const char* id : {"b", "A", "a ", "", "group1", "\xFF\xFE", "%s%n"}) {
        quolsdk_character_show_item(character, id, 0);
        quolsdk_character_remove(character, id);
    }
    quolsdk_character_show_item(character, std::string(1 << 20, 'a').c_str(), 0);
    EXPECT_EQ(itemCount(), 1);
    EXPECT_GT(alphaAt(nextPicture(), 50, 50), 0);
}

TEST_F(CharacterApi, ForceUpdateDrawsWhatWasWrittenThroughAPointer) {
    load(panelAt("a", 0, 0));
    ASSERT_TRUE(covers(50, 50));
    const quol::FramePtr before = nextPicture();
    characterOf(character)->getItem("a")->y = 300.0F;
    EXPECT_TRUE(samePicture(nextPicture(), before));
    quolsdk_character_force_update(character);
    EXPECT_TRUE(covers(50, 350));
    EXPECT_TRUE(leavesFree(50, 50));
}

TEST_F(CharacterApi, ATextIsChangedByIdInTheClass) {
    load(itemOf("text", "t", "<w>600</w>\n<h>200</h>\n<text>Old</text>\n<fontSize>100</fontSize>"));
    const quol::FramePtr before = nextPicture();
    auto* item = dynamic_cast<LCGTextItem*>(characterOf(character)->getItem("t"));
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->props.text, "Old");
    LCGTextProps props = item->props;
    props.text = "New";
    characterOf(character)->updateItem("t", 0, 0, 600, 200, 1.0F, true, props);
    const quol::FramePtr after = nextPicture();
    ASSERT_NE(after, nullptr);
    EXPECT_FALSE(samePicture(after, before));
    int changed = 0;
    for (int y = 0; y < 200; ++y) {
        for (int x = 0; x < 600; ++x)
            changed += alphaAt(after, x, y) != alphaAt(before, x, y) ? 1 : 0;
    }
    EXPECT_GT(changed, 100);
}

TEST_F(CharacterApi, TheRateIsSetThroughTheVirtualFunctionOfTheClass) {
    characterOf(character)->setFPS(5.0);
    ASSERT_TRUE(sink.waitForPictures(3));
    const std::size_t first = sink.pictureCount();
    ASSERT_TRUE(sink.waitForPictures(first + 5));
    const auto seen = sink.pictures();
    EXPECT_GT(seen[first + 4].arrived - seen[first].arrived, 500'000'000); // 0.8 s by the rate
}

// -------------------------------------------------------------------------------------- the files

TEST_F(CharacterApi, WhatWasSavedLooksTheSameInAnotherGenerator) {
    load(grouped("g", panelAt("a", 10, 10)) + panelAt("b", 300, 40) +
         itemOf("text", "t", "<w>600</w>\n<h>900</h>\n<text>Saved & loaded</text>\n"));
    ASSERT_TRUE(covers(350, 90));
    const std::string path = test::temporaryPath("saved.xml");
    quolsdk_character_save_to_xml(character, path.c_str());
    const quol::FramePtr picture = nextPicture();
    const std::string text = readAll(path);
    EXPECT_EQ(text.rfind("<CGProject>\n", 0), 0U);
    EXPECT_NE(text.find("<text>Saved & loaded</text>"), std::string::npos);

    quolsdk_handle other = quolsdk_character_create();
    CollectingSink seen(1);
    static_cast<LObject*>(other)->addSink(&seen);
    quolsdk_character_load_from_xml(other, path.c_str());
    EXPECT_TRUE(waitUntil([&] { return alphaAt(seen.latestPicture(), 350, 90) > 0; }));
    const quol::FramePtr loaded = seen.latestPicture();
    bool isSame = true;
    for (int y = 0; y < 1080; ++y) {
        const auto row = [&](const quol::FramePtr& frame, int plane) {
            return frame->data[plane] + static_cast<std::ptrdiff_t>(y) * frame->linesize[plane];
        };
        for (const int plane : {0, 3})
            isSame = isSame && std::equal(row(picture, plane), row(picture, plane) + 1920,
                                          row(loaded, plane));
    }
    EXPECT_TRUE(isSame);
    const std::string again = test::temporaryPath("again.xml");
    quolsdk_character_save_to_xml(other, again.c_str());
    EXPECT_EQ(readAll(again), text);
    static_cast<LObject*>(other)->removeSink(&seen);
    quolsdk_character_destroy(other);
}

TEST_F(CharacterApi, AMissingFileIsToldAndLeavesAnEmptyScene) {
    load(panelAt("a", 0, 0));
    ASSERT_TRUE(covers(50, 50));
    const std::string path = test::temporaryPath("no such file.xml");
    {
        CapturedStream error(CapturedStream::Stream::error);
        quolsdk_character_load_from_xml(character, path.c_str());
        EXPECT_EQ(error.text(), "XML dosyasi acilamadi: " + path + "\n");
    }
    EXPECT_EQ(itemCount(), 0);
    EXPECT_TRUE(leavesFree(50, 50));
    EXPECT_FALSE(std::filesystem::exists(path));
    expectAlive();
}

TEST_F(CharacterApi, AFolderIsNoProjectAndCannotBeWritten) {
    load(panelAt("a", 0, 0));
    const std::string folder = std::filesystem::path(test::temporaryPath("x")).parent_path();
    quolsdk_character_load_from_xml(character, folder.c_str());
    EXPECT_EQ(itemCount(), 0);
    CapturedStream error(CapturedStream::Stream::error);
    quolsdk_character_save_to_xml(character, folder.c_str());
    EXPECT_EQ(error.text(), "XML dosyasi acilamadi: " + folder + "\n");
    EXPECT_TRUE(std::filesystem::is_directory(folder));
    expectAlive();
}

TEST_F(CharacterApi, HostileBytesAddNothingAndHarmNothing) {
    std::mt19937 random(11);
    std::string noise(300000, '\0');
    for (char& byte : noise)
        byte = static_cast<char>(random());
    for (const std::string& bytes :
         {std::string(), std::string(100000, '\0'), noise, std::string(1000000, '<'),
          std::string(1000000, '>'), std::string("<Item>\n<type>"), std::string("</Item>"),
          std::string("<Item>\n<type>text"), "<Item>\n" + std::string(1000000, '<') + "\n",
          "<Item>\n<" + std::string(500000, 'x') + ">" + std::string(500000, 'y') + "</x>\n"}) {
        load(bytes);
        EXPECT_EQ(itemCount(), 0) << bytes.substr(0, 20);
    }
    expectAlive();
}

TEST_F(CharacterApi, HostileFieldsAreSurvivedInThePicture) {
    load(itemOf("text", "t",
                "<x>-2147483648</x>\n<y>2147483647</y>\n<w>2147483647</w>\n<h>2147483647</h>\n"
                "<text>\xFF\xC0\xED\xA0\x80 %n tUp::::::</text>\n<fontSize>2147483647</fontSize>\n"
                "<letterSpacing>nan</letterSpacing>\n<padding>-2147483648</padding>\n") +
         itemOf("rect", "r",
                "<bgType>Gradient</bgType>\n<bgAlpha>-2147483648</bgAlpha>\n"
                "<bgRadius>2147483647</bgRadius>\n<borderSize>2147483647</borderSize>\n") +
         itemOf("crawl", "c", "<text>x</text>\n<textSpeed>inf</textSpeed>\n") +
         itemOf("ticker", "k", "<text></text>\n<textMoveDuration>-inf</textMoveDuration>\n") +
         itemOf("image", "i", "<path>/</path>\n") + itemOf("unknown", "u", ""));
    EXPECT_EQ(itemCount(), 5);
    EXPECT_NE(nextPicture(), nullptr);
    expectAlive();
}

TEST_F(CharacterApi, AValueThatIsNoNumberRaisesThroughTheInterface) {
    EXPECT_THROW(load(panelAt("a", 0, 0) + itemOf("rect", "b", "<x>left</x>\n")),
                 std::invalid_argument);
    EXPECT_EQ(itemCount(), 1); // what stood before it stays
    EXPECT_TRUE(covers(50, 50));
    EXPECT_THROW(load(itemOf("rect", "b", "<w>99999999999</w>\n")), std::out_of_range);
    EXPECT_EQ(itemCount(), 0);
    // The scene is not left locked.
    auto answer = std::async(std::launch::async, [this] { return itemCount(); });
    EXPECT_EQ(answer.get(), 0);
    expectAlive();
}

// ------------------------------------------------------------------------------ null and the like

TEST_F(CharacterApi, ANullIdIsTheEmptyOne) {
    load(panelAt("", 0, 0) + panelAt("a", 200, 200));
    ASSERT_TRUE(covers(50, 50));
    quolsdk_character_show_item(character, nullptr, 0);
    EXPECT_TRUE(leavesFree(50, 50));
    quolsdk_character_show_item(character, nullptr, 1);
    EXPECT_TRUE(covers(50, 50));
    quolsdk_character_remove(character, nullptr);
    EXPECT_TRUE(leavesFree(50, 50));
    EXPECT_EQ(itemCount(), 1);
    EXPECT_TRUE(covers(250, 250));
}

TEST_F(CharacterApi, ANullPathIsTheEmptyPathWhichCannotBeOpened) {
    load(panelAt("a", 0, 0));
    {
        CapturedStream error(CapturedStream::Stream::error);
        quolsdk_character_save_to_xml(character, nullptr);
        EXPECT_EQ(error.text(), "XML dosyasi acilamadi: \n");
    }
    EXPECT_EQ(itemCount(), 1);
    {
        CapturedStream error(CapturedStream::Stream::error);
        quolsdk_character_load_from_xml(character, nullptr);
        EXPECT_EQ(error.text(), "XML dosyasi acilamadi: \n");
    }
    EXPECT_EQ(itemCount(), 0);
}

TEST(CharacterApiNull, NothingHappensAndNothingIsWritten) {
    const std::string bad = fileWith("bad.xml", itemOf("rect", "b", "<x>left</x>\n"));
    const std::string path = test::temporaryPath("not written.xml");
    CapturedStream error(CapturedStream::Stream::error);
    quolsdk_character_show_item(nullptr, "a", 1);
    quolsdk_character_show_item(nullptr, nullptr, 0);
    quolsdk_character_remove(nullptr, "a");
    quolsdk_character_remove(nullptr, nullptr);
    quolsdk_character_force_update(nullptr);
    quolsdk_character_load_from_xml(nullptr, bad.c_str()); // would raise
    quolsdk_character_load_from_xml(nullptr, nullptr);     // would tell
    quolsdk_character_save_to_xml(nullptr, path.c_str());
    quolsdk_character_save_to_xml(nullptr, nullptr);
    quolsdk_character_destroy(nullptr);
    EXPECT_EQ(error.text(), "");
    EXPECT_FALSE(std::filesystem::exists(path));
}

// ----------------------------------------------------------------------------------- as a source

TEST_F(CharacterApi, AFrameTapGetsItsPicturesWithTheirAlpha) {
    load(itemOf("rect", "half",
                "<w>200</w>\n<h>200</h>\n<bgType>Color</bgType>\n<bgColor>#FFFFFF</bgColor>\n"
                "<bgAlpha>128</bgAlpha>\n"));
    LFrame tap;
    tap.readerObject(static_cast<LObject*>(character));
    const auto pixel = [&](int x, int y) {
        const LFrame::Video video = tap.getVideo();
        std::vector<int> values(4, -1);
        if (video.width == 1920 && video.height == 1080)
            std::copy_n(video.rgba.begin() + y * video.stride + x * 4, 4, values.begin());
        return values;
    };
    EXPECT_TRUE(waitUntil([&] { return pixel(100, 100)[3] > 0; }));
    for (const int value : pixel(100, 100)) // the colour is premultiplied
        EXPECT_NEAR(value, 128, 3);
    EXPECT_EQ(pixel(500, 500)[3], 0);
    quolsdk_character_show_item(character, "half", 0);
    EXPECT_TRUE(waitUntil([&] { return pixel(100, 100)[3] == 0; }));
    tap.readerObject(nullptr);
}

int framesWritten(quolsdk_handle recorder) {
    int frames = 0;
    quolsdk_recorder_get_stats(recorder, nullptr, nullptr, &frames, nullptr, nullptr, 0);
    return frames;
}

// A recorder that records the character into a small file.
quolsdk_handle recorderOf(quolsdk_handle character, const std::string& path) {
    quolsdk_handle recorder = quolsdk_recorder_create();
    const quolsdk_video_format format = {0, 192, 108, 25.0, 0};
    quolsdk_recorder_set_video_format(recorder, &format);
    quolsdk_recorder_custom_set(recorder, "preset=ultrafast");
    quolsdk_recorder_file_name_set(recorder, path.c_str());
    quolsdk_recorder_set_source(recorder, character);
    quolsdk_recorder_start(recorder);
    return recorder;
}

TEST_F(CharacterApi, ARecorderWritesIt) {
    load(itemOf("rect", "all", "<bgType>Color</bgType>\n<bgColor>#FFFFFF</bgColor>\n"));
    ASSERT_TRUE(covers(1900, 1000));
    const std::string path = test::temporaryPath("character.mp4");
    quolsdk_handle recorder = recorderOf(character, path);
    EXPECT_TRUE(waitUntil([&] { return framesWritten(recorder) >= 10; }));
    quolsdk_character_show_item(character, "all", 0);
    const int before = framesWritten(recorder);
    EXPECT_TRUE(waitUntil([&] { return framesWritten(recorder) >= before + 10; }));
    quolsdk_recorder_stop(recorder);
    quolsdk_recorder_destroy(recorder);

    const test::RecordedFile file = test::readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    ASSERT_GE(file.pictures.size(), 20U);
    EXPECT_EQ(file.pictures[0].width, 192);
    EXPECT_GT(file.pictures[1].luma, 200.0);
    EXPECT_LT(file.pictures.back().luma, 40.0);
}

TEST_F(CharacterApi, AMixerShowsIt) {
    quolsdk_handle mixer = quolsdk_mixer_create();
    const quolsdk_video_format canvas = {0, 64, 48, 50.0, 1};
    quolsdk_mixer_set_video_format(mixer, &canvas);
    CollectingSink seen(1);
    static_cast<LObject*>(mixer)->addSink(&seen);
    const auto lumaIs = [&](bool bright) {
        return waitUntil([&] {
            const quol::FramePtr picture = seen.latestPicture();
            if (!picture || picture->width != 64) return false;
            const int luma = test::lumaAt(picture, 8, 8);
            return bright ? luma > 150 : luma < 60;
        });
    };
    load(panelAt("a", 0, 0));
    quolsdk_mixer_add_layer(mixer, "titles", character);
    EXPECT_TRUE(lumaIs(true));
    quolsdk_character_show_item(character, "a", 0);
    EXPECT_TRUE(lumaIs(false));
    quolsdk_character_show_item(character, "a", 1);
    EXPECT_TRUE(lumaIs(true));
    quolsdk_mixer_remove_layer(mixer, "titles");
    EXPECT_TRUE(lumaIs(false));
    static_cast<LObject*>(mixer)->removeSink(&seen);
    quolsdk_mixer_destroy(mixer);
    EXPECT_NE(nextPicture(), nullptr);
}

// ---------------------------------------------------------------------------------------- the end

// A generator that is drawn at every tick.
quolsdk_handle busyCharacter() {
    quolsdk_handle character = quolsdk_character_create();
    const std::string scene = panelAt("a", 0, 0) + crawlAt("c", 200) + crawlAt("d", 300);
    quolsdk_character_load_from_xml(character, fileWith("busy.xml", scene).c_str());
    return character;
}

TEST(CharacterApiEnd, ItMayBeDestroyedWhileItRenders) {
    std::mt19937 random(5);
    for (int i = 0; i < 20; ++i) {
        quolsdk_handle character = busyCharacter();
        CollectingSink sink;
        static_cast<LObject*>(character)->addSink(&sink);
        ASSERT_TRUE(sink.waitForPictures(random() % 4));
        static_cast<LObject*>(character)->removeSink(&sink);
        if (i % 2 == 0) quolsdk_character_force_update(character);
        const std::size_t pictures = sink.pictureCount();
        quolsdk_character_destroy(character);
        EXPECT_EQ(sink.pictureCount(), pictures);
    }
}

TEST(CharacterApiEnd, ATapLeavesFirst) {
    for (int i = 0; i < 5; ++i) {
        quolsdk_handle character = busyCharacter();
        {
            LFrame tap;
            tap.readerObject(static_cast<LObject*>(character));
            EXPECT_TRUE(waitUntil([&] { return tap.getVideo().width == 1920; }));
            if (i % 2 == 0) tap.readerObject(nullptr);
        }
        quolsdk_character_destroy(character);
    }
}

TEST(CharacterApiEnd, ARecorderLeavesFirst) {
    for (const bool stopped : {true, false}) {
        quolsdk_handle character = busyCharacter();
        const std::string path = test::temporaryPath("end.mp4");
        quolsdk_handle recorder = recorderOf(character, path);
        EXPECT_TRUE(waitUntil([&] { return framesWritten(recorder) >= 3; }));
        if (stopped) {
            // Stopped, a recorder is attached to nothing.
            quolsdk_recorder_stop(recorder);
            quolsdk_character_destroy(character);
            quolsdk_recorder_destroy(recorder);
        } else {
            quolsdk_recorder_destroy(recorder);
            quolsdk_character_destroy(character);
        }
        EXPECT_EQ(test::readRecordedFile(path).error, "");
    }
}

TEST(CharacterApiEnd, ItsLayerOrItsMixerGoesFirst) {
    for (int i = 0; i < 6; ++i) {
        quolsdk_handle character = busyCharacter();
        quolsdk_handle mixer = quolsdk_mixer_create();
        CollectingSink seen(1);
        static_cast<LObject*>(mixer)->addSink(&seen);
        quolsdk_mixer_add_layer(mixer, "titles", character);
        ASSERT_TRUE(seen.waitForPictures(5));
        static_cast<LObject*>(mixer)->removeSink(&seen);
        if (i % 2 == 0) {
            quolsdk_mixer_remove_layer(mixer, "titles");
            quolsdk_character_destroy(character);
            quolsdk_mixer_destroy(mixer);
        } else {
            quolsdk_mixer_destroy(mixer);
            quolsdk_character_destroy(character);
        }
    }
}

// ------------------------------------------------------------------------------------- many
// threads

TEST_F(CharacterApi, AllFunctionsMayBeCalledFromManyThreadsWhileItRenders) {
    const std::string scene =
        fileWith("shared.xml",
                 grouped("g", panelAt("a", 0, 0)) + panelAt("b", 200, 200) + crawlAt("c", 400));
    std::vector<std::thread> threads;
    for (unsigned seed = 1; seed <= 3; ++seed) {
        threads.emplace_back([&, seed] {
            std::mt19937 random(seed);
            const std::string saved = test::temporaryPath("saved" + std::to_string(seed) + ".xml");
            const char* const ids[] = {"a", "b", "c", "g", nullptr};
            for (int i = 0; i < 80; ++i) {
                const char* const id = ids[random() % std::size(ids)];
                switch (random() % 6) {
                    case 0:
                        quolsdk_character_load_from_xml(character, scene.c_str());
                        break;
                    case 1:
                        quolsdk_character_save_to_xml(character, saved.c_str());
                        break;
                    case 2:
                        quolsdk_character_remove(character, id);
                        break;
                    case 3:
                        quolsdk_character_force_update(character);
                        break;
                    default:
                        quolsdk_character_show_item(character, id, static_cast<int>(random() % 2));
                }
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    expectAlive();
}

} // namespace
