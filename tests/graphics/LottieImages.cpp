#include <gtest/gtest.h>

#include <optional>

#include "graphics/LottieText.h"

namespace {

using quol::assetOf;
using quol::findAsset;
using quol::hasImageFile;
using quol::imageFileName;
using quol::LottieAsset;
using quol::setImageFile;

constexpr auto npos = std::string::npos;

// An image asset as exporters write one.
std::string image(const std::string& id, const std::string& folder, const std::string& file) {
    return R"({"id":")" + id + R"(","w":64,"h":48,"u":")" + folder + R"(","p":")" + file +
           R"(","e":0})";
}

std::string idOf(const std::string& json, const std::string& name) {
    const LottieAsset asset = assetOf(json, name);
    return asset.ofLayer ? "layer's " + asset.id : asset.id;
}

// ---------------------------------------------------------------------------------- assets

TEST(LottieAssets, ALayerStandsForWhatItRefersTo) {
    const std::string json = R"([{"ind":1,"ty":2,"nm":"Logo","cl":"png","refId":"image_0"},)"
                             R"({"ind":2,"ty":2,"nm":"Flag","refId":"image_1"}])";
    EXPECT_EQ(idOf(json, "Logo"), "layer's image_0");
    EXPECT_EQ(idOf(json, "Flag"), "layer's image_1"); // no further name
}

TEST(LottieAssets, AReferenceBehindTheNextNameIsOfAnotherLayer) {
    const std::string json = R"([{"nm":"Text","ty":5},{"nm":"Logo","refId":"image_0"}])";
    EXPECT_EQ(idOf(json, "Text"), "Text");
}

TEST(LottieAssets, ALayerWithoutAReferenceStandsForItself) {
    EXPECT_EQ(idOf(R"({"refId":"image_0","nm":"Logo"})", "Logo"), "Logo");
    EXPECT_EQ(idOf(R"({"nm":"Logo","refId":"image_0)", "Logo"), "Logo");
    EXPECT_EQ(idOf(R"({"nm":"Logo","refId":5})", "Logo"), "Logo");
}

TEST(LottieAssets, ANameOfNoLayerIsAnAsset) {
    EXPECT_EQ(idOf(R"({"nm":"Logo","refId":"image_0"})", "image_0"), "image_0");
    EXPECT_EQ(idOf("", ""), "");
    EXPECT_EQ(idOf(R"({"nm":"Logo","refId":"image_0"})", "\""), "\"");
}

TEST(LottieAssets, AreFoundByTheirId) {
    const std::string json = image("image_0", "images/", "a.png") + image("1", "images/", "b.png");
    EXPECT_EQ(findAsset(json, "image_0"), json.find(R"("id":"image_0")"));
    EXPECT_EQ(findAsset(json, "1"), json.find(R"("id":"1")"));
    EXPECT_EQ(findAsset(json, "image"), npos);
    EXPECT_EQ(findAsset(json, "2"), npos);
    EXPECT_EQ(findAsset(json, ""), npos);
    EXPECT_EQ(findAsset("", "image_0"), npos);
}

TEST(LottieAssets, AreFoundByANumber) {
    const std::string json = R"([{"id":12,"p":"a"},{"id":1,"p":"b"},{"id":-3}])";
    EXPECT_EQ(findAsset(json, "12"), json.find(R"("id":12)"));
    EXPECT_EQ(findAsset(json, "1"), json.find(R"("id":1,)")); // 12 is another
    EXPECT_EQ(findAsset(json, "-3"), json.find(R"("id":-3)"));
    EXPECT_EQ(findAsset(json, "3"), npos);
    EXPECT_EQ(findAsset(json, "-"), npos);
    EXPECT_EQ(findAsset(R"({"id":7)", "7"), 1U);
}

TEST(LottieAssets, AnIdInQuotesGoesBeforeANumber) {
    const std::string json = R"([{"id":5,"p":"a"},{"id":"5","p":"b"}])";
    EXPECT_EQ(findAsset(json, "5"), json.find(R"("id":"5")"));
}

TEST(LottieAssets, OnlyANumberIsFoundWithoutQuotes) {
    const std::string json = R"([{"id":null,"x":{"id":{}}}])";
    for (const std::string id : {"", "null", "{", "nul"})
        EXPECT_EQ(findAsset(json, id), npos) << id;
}

// ------------------------------------------------------------------------------ file names

TEST(LottieImageFile, IsSetAndItsFolderEmptied) {
    std::string json = image("image_0", "images/", "a.png") + image("image_1", "images/", "b.png");
    ASSERT_TRUE(setImageFile(json, findAsset(json, "image_1"), "temp_image_1.jpg"));
    EXPECT_EQ(json,
              image("image_0", "images/", "a.png") + image("image_1", "", "temp_image_1.jpg"));
    ASSERT_TRUE(setImageFile(json, findAsset(json, "image_0"), "temp_image_0.jpg"));
    EXPECT_EQ(json,
              image("image_0", "", "temp_image_0.jpg") + image("image_1", "", "temp_image_1.jpg"));
}

TEST(LottieImageFile, IsSetAgain) {
    std::string json = image("image_0", "/a/images/", "a.png");
    ASSERT_TRUE(setImageFile(json, findAsset(json, "image_0"), "temp_image_0.jpg"));
    ASSERT_TRUE(setImageFile(json, findAsset(json, "image_0"), "temp_image_0.png"));
    EXPECT_EQ(json, image("image_0", "", "temp_image_0.png"));
}

TEST(LottieImageFile, MayStandBeforeItsFolder) {
    std::string json = R"({"id":"i","p":"a.png","u":"images/"})";
    ASSERT_TRUE(setImageFile(json, findAsset(json, "i"), "a much longer name.png"));
    EXPECT_EQ(json, R"({"id":"i","p":"a much longer name.png","u":""})");
}

TEST(LottieImageFile, MayHaveNoFolder) {
    std::string json = R"({"u":"x/","id":"i","p":"a.png"})";
    ASSERT_TRUE(setImageFile(json, findAsset(json, "i"), "b.png"));
    EXPECT_EQ(json, R"({"u":"x/","id":"i","p":"b.png"})");
}

TEST(LottieImageFile, IsNotSetWhereThereIsNone) {
    for (const std::string before :
         {R"({"p":"a.png","u":"images/","id":"i"})", R"({"id":"i","u":"images/","p":"a)",
          R"({"id":"i","u":"images/","p":")", R"({"id":"i","u":"images/","p":5})"}) {
        std::string json = before;
        const std::size_t asset = findAsset(json, "i");
        ASSERT_NE(asset, npos);
        EXPECT_FALSE(hasImageFile(json, asset)) << before;
        EXPECT_FALSE(setImageFile(json, asset, "b.png")) << before;
        EXPECT_EQ(json, before);
    }
}

TEST(LottieImageFile, IsThereWhereAnAssetHasOne) {
    const std::string json = image("i", "images/", "");
    EXPECT_TRUE(hasImageFile(json, findAsset(json, "i")));
    EXPECT_FALSE(hasImageFile(json, npos));
    EXPECT_FALSE(hasImageFile("", 5));
}

// ------------------------------------------------------------------------------------ copies

TEST(LottieImageCopy, IsNamedAfterTheAssetAndTheKindOfFile) {
    EXPECT_EQ(imageFileName("image_0", "/a/b/photo.png"), "temp_image_0.png");
    EXPECT_EQ(imageFileName("image_0", "photo.tar.JPG"), "temp_image_0.JPG");
    EXPECT_EQ(imageFileName("5", "C:\\a\\photo.jpeg"), "temp_5.jpeg");
    EXPECT_EQ(imageFileName("", ".png"), "temp_.png");
}

TEST(LottieImageCopy, OfAFileWithoutAnExtensionHasNone) {
    EXPECT_EQ(imageFileName("image_0", "photo"), "temp_image_0");
    EXPECT_EQ(imageFileName("image_0", ""), "temp_image_0");
    EXPECT_EQ(imageFileName("image_0", "/a.b/photo"), "temp_image_0");
    EXPECT_EQ(imageFileName("image_0", "../photo"), "temp_image_0");
    EXPECT_EQ(imageFileName("image_0", "C:\\a.b\\photo"), "temp_image_0");
}

TEST(LottieImageCopy, NeverLeavesTheFolder) {
    for (const std::string id : {"/", "a/b", "../../etc/x", "x/../../y", "..\\x", "a/"})
        EXPECT_EQ(imageFileName(id, "photo.png"), std::nullopt) << id;
    EXPECT_EQ(imageFileName("..", "photo.png"), "temp_...png"); // a name like any other
}

TEST(LottieImageCopy, HasNoNameThatBreaksTheTemplateOrThePath) {
    EXPECT_EQ(imageFileName("a\"b", "photo.png"), std::nullopt);
    EXPECT_EQ(imageFileName("a", "photo.p\"ng"), std::nullopt);
    EXPECT_EQ(imageFileName("a\nb", "photo.png"), std::nullopt);
    EXPECT_EQ(imageFileName(std::string("a\0b", 3), "photo.png"), std::nullopt);
    EXPECT_EQ(imageFileName("görsel 1", "photo.png"), "temp_görsel 1.png");
}

} // namespace
