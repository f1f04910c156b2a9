// What the preview's drawing makes anew, and what it does not.
#include "outputs/PreviewDrawing.h"

#include <gtest/gtest.h>

#include "platform/gl/HeadlessContext.h"
#include "support/Frames.h"

namespace {

using quol::PreviewDrawing;

int made = 0;  // textures that got memory
int taken = 0; // pictures' planes that went into what was there
decltype(quol::gl::EntryTable::TexImage2D) realImage = nullptr;
decltype(quol::gl::EntryTable::TexSubImage2D) realSubImage = nullptr;

void countImage(GLenum target, GLint level, GLint internal, GLsizei width, GLsizei height,
                GLint border, GLenum format, GLenum type, const void* pixels) {
    ++made;
    realImage(target, level, internal, width, height, border, format, type, pixels);
}
void countSubImage(GLenum target, GLint level, GLint x, GLint y, GLsizei width, GLsizei height,
                   GLenum format, GLenum type, const void* pixels) {
    ++taken;
    realSubImage(target, level, x, y, width, height, format, type, pixels);
}

class PreviewDrawingTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(context, nullptr);
        entries = context->entries();
        realImage = entries.TexImage2D;
        realSubImage = entries.TexSubImage2D;
        entries.TexImage2D = countImage;
        entries.TexSubImage2D = countSubImage;
        made = taken = 0;
        scene.name = "Camera 1";
        scene.timecode = "10:11:12:13";
        scene.look = quol::lookOf("live", std::nullopt);
    }

    std::unique_ptr<quol::gl::HeadlessContext> context =
        quol::gl::HeadlessContext::make(quol::gl::Driver::any);
    quol::gl::EntryTable entries;
    quol::PreviewScene scene;
};

TEST_F(PreviewDrawingTest, PlatesAreMadeOnlyOnAChange) {
    PreviewDrawing drawing(entries);
    const auto platesAfter = [&](const quol::SurfaceSize& size) {
        for (int pass = 0; pass < 5; ++pass)
            drawing.draw(scene, size);
        return made;
    };
    EXPECT_EQ(platesAfter({640, 360}), 2);
    EXPECT_EQ(platesAfter({700, 360}), 2); // the width is none of theirs
    scene.timecode = "10:11:12:14";
    EXPECT_EQ(platesAfter({700, 360}), 3);
    scene.name = "Camera 2";
    EXPECT_EQ(platesAfter({700, 360}), 4);
    scene.look = quol::lookOf("program", std::nullopt);
    EXPECT_EQ(platesAfter({700, 360}), 5); // the label's ground
    EXPECT_EQ(platesAfter({700, 720}), 7); // both heights
}

TEST_F(PreviewDrawingTest, APictureOfTheSameSizeGoesIntoTheTexturesOfTheLast) {
    PreviewDrawing drawing(entries);
    const auto upload = [&](int width, int height, AVPixelFormat format) {
        drawing.upload(*test::makePicture(width, height, format));
    };
    for (int i = 0; i < 5; ++i)
        upload(64, 36, AV_PIX_FMT_YUV420P);
    EXPECT_EQ(made, 3);
    EXPECT_EQ(taken, 12);
    upload(64, 36, AV_PIX_FMT_UYVY422); // converted first
    EXPECT_EQ(made, 3);
    EXPECT_EQ(taken, 15);
    upload(66, 36, AV_PIX_FMT_YUV420P);
    EXPECT_EQ(made, 6);
    EXPECT_EQ(taken, 15);
}

} // namespace
