// What the generator reads, it reads without keeping the pictures, or a host, waiting.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <string>

#include "graphics/CGImages.h"
#include "quolsdk/LCharacter.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/SteppedTitles.h"

namespace {

// A pipe that nobody writes to: whoever opens it to read waits for ever.
class SilentPipe {
public:
    explicit SilentPipe(const char* name) : path(test::temporaryPath(name)) {
        std::remove(path.c_str());
        EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
    }
    ~SilentPipe() { std::remove(path.c_str()); }
    SilentPipe(const SilentPipe&) = delete;
    SilentPipe& operator=(const SilentPipe&) = delete;

    const std::string path;
};

TEST(LCharacterReading, APipeIsNoProjectAndLoadingItEmptiesTheScene) {
    const SilentPipe pipe("silent.xml");
    LCharacter character;
    character.addItem("a", 0, 0, 10, 10, test::panelOf("#FFFFFF"));
    character.insertFromXMLFile(pipe.path);
    EXPECT_EQ(character.getItemCount(), 1);
    character.loadFromXMLFile(pipe.path);
    EXPECT_EQ(character.getItemCount(), 0);
}

TEST(LCharacterReading, ADeviceIsNoProject) {
    LCharacter character;
    character.loadFromXMLFile("/dev/zero");
    EXPECT_EQ(character.getItemCount(), 0);
}

TEST(LCharacterReading, APipeIsNoImageOfAnItemAndNoSeparatorOfACrawl) {
    const SilentPipe pipe("silent.png");
    LCharacter character;
    test::CollectingSink sink;
    character.addSink(&sink);
    LCGImageProps image;
    image.path = pipe.path;
    const LCGItem* const item = character.addItem("image", 0, 0, 0, 0, image);
    EXPECT_EQ(item->w, 0);
    EXPECT_EQ(item->h, 0);
    LCGCrawlProps crawl;
    crawl.text = "one\ntwo";
    crawl.separatorImage = pipe.path;
    character.addItem("crawl", 0, 0, 100, 100, crawl);
    EXPECT_TRUE(sink.waitForPictures(sink.pictureCount() + 3));
    character.removeSink(&sink);
}

// It would wait for a caller.
TEST(LCharacterReading, AnAddressIsNoImage) {
    EXPECT_EQ(quol::loadImageSurface("tcp://127.0.0.1:45999?listen"), nullptr);
}

TEST(LCharacterReading, AnImageOfAnUpdateIsSeen) {
    test::SteppedTitles titles;
    const std::string path = test::temporaryPath("square.png");
    {
        const quol::SurfacePtr square = quol::makeSurface(40, 40);
        const quol::CairoPtr cr(cairo_create(square.get()));
        cairo_set_source_rgb(cr.get(), 1.0, 1.0, 1.0);
        cairo_paint(cr.get());
        ASSERT_EQ(cairo_surface_write_to_png(square.get(), path.c_str()), CAIRO_STATUS_SUCCESS);
    }
    LCGImageProps image;
    titles.character.addItem("image", 0, 0, 0, 0, image);
    EXPECT_EQ(test::alphaAt(titles.step(), 20, 20), 0);
    image.path = path;
    titles.character.updateItem("image", 0, 0, 0, 0, 1.0F, true, image);
    EXPECT_EQ(test::alphaAt(titles.step(), 20, 20), 255);
    image.path = path + ".missing";
    titles.character.updateItem("image", 0, 0, 0, 0, 1.0F, true, image);
    EXPECT_EQ(test::alphaAt(titles.step(), 20, 20), 0);
    std::remove(path.c_str());
}

} // namespace
