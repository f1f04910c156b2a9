// What a tile's picture costs on the graphics processor: memory is asked for when the shape of the
// pictures changes, and never for a picture of the same shape.
#include "compositing/TileTextures.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform/gl/HeadlessContext.h"
#include "support/Frames.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace {

using quol::TileTextures;

// What the driver was asked for.
struct Calls {
    int made = 0;      // textures
    int ended = 0;     // textures
    int allocated = 0; // memory for the samples of one
    int written = 0;   // samples into memory that is there
};

// A context whose calls are counted on their way to the driver. One at a time.
class CountedContext {
public:
    CountedContext() : context_(quol::gl::HeadlessContext::make(quol::gl::Driver::any)) {
        if (!context_) return;
        calls = {};
        driver = context_->entries();
        entries_ = driver;
        entries_.GenTextures = [](GLsizei count, GLuint* names) {
            calls.made += count;
            driver.GenTextures(count, names);
        };
        entries_.DeleteTextures = [](GLsizei count, const GLuint* names) {
            for (GLsizei i = 0; i < count; ++i)
                calls.ended += names[i] != 0 ? 1 : 0;
            driver.DeleteTextures(count, names);
        };
        entries_.TexImage2D = [](GLenum target, GLint level, GLint internalFormat, GLsizei width,
                                 GLsizei height, GLint border, GLenum format, GLenum type,
                                 const void* pixels) {
            ++calls.allocated;
            driver.TexImage2D(target, level, internalFormat, width, height, border, format, type,
                              pixels);
        };
        entries_.TexSubImage2D = [](GLenum target, GLint level, GLint x, GLint y, GLsizei width,
                                    GLsizei height, GLenum format, GLenum type,
                                    const void* pixels) {
            ++calls.written;
            driver.TexSubImage2D(target, level, x, y, width, height, format, type, pixels);
        };
    }

    explicit operator bool() const { return context_ != nullptr; }
    const quol::gl::EntryTable& entries() const { return entries_; }

    static Calls calls;

private:
    static quol::gl::EntryTable driver;

    std::unique_ptr<quol::gl::HeadlessContext> context_;
    quol::gl::EntryTable entries_;
};

Calls CountedContext::calls;
quol::gl::EntryTable CountedContext::driver;

constexpr int longest = 4096;

struct Form {
    AVPixelFormat format;
    int textures;
};

class TileTexturesOf : public testing::TestWithParam<Form> {
protected:
    void SetUp() override { ASSERT_TRUE(context) << "no OpenGL on this machine"; }

    bool upload(TileTextures& textures, int width, int height, int number) {
        const auto picture = test::makePicture(width, height, GetParam().format, number);
        picture->pts = number;
        return textures.upload(*picture);
    }

    CountedContext context;
    const Calls& calls = CountedContext::calls;
};

TEST_P(TileTexturesOf, PicturesOfOneShapeGoIntoOneMemory) {
    const int count = GetParam().textures;
    TileTextures textures(context.entries(), longest);
    ASSERT_TRUE(upload(textures, 64, 36, 0));
    EXPECT_EQ(calls.made, count);
    EXPECT_EQ(calls.allocated, count);
    EXPECT_EQ(calls.written, 0);
    const GLuint first = textures.texture(0);
    for (int number = 1; number <= 10; ++number)
        ASSERT_TRUE(upload(textures, 64, 36, number));
    EXPECT_EQ(calls.made, count);
    EXPECT_EQ(calls.allocated, count);
    EXPECT_EQ(calls.written, 10 * count);
    EXPECT_EQ(textures.texture(0), first);
    EXPECT_EQ(calls.ended, 0);
}

TEST_P(TileTexturesOf, AnotherShapeTakesMemoryOfItsOwnInTheSameTextures) {
    const int count = GetParam().textures;
    TileTextures textures(context.entries(), longest);
    ASSERT_TRUE(upload(textures, 64, 36, 0));
    ASSERT_TRUE(upload(textures, 32, 18, 1));
    EXPECT_EQ(textures.width(), 32);
    EXPECT_EQ(textures.height(), 18);
    EXPECT_EQ(calls.made, count);
    EXPECT_EQ(calls.allocated, 2 * count);
    EXPECT_EQ(calls.written, 0);
}

TEST_P(TileTexturesOf, APictureThatIsThereIsNotSentAgain) {
    TileTextures textures(context.entries(), longest);
    const auto picture = test::makePicture(64, 36, GetParam().format);
    ASSERT_TRUE(textures.upload(*picture));
    const Calls once = calls;
    for (int i = 0; i < 5; ++i)
        ASSERT_TRUE(textures.upload(*picture));
    EXPECT_EQ(calls.allocated, once.allocated);
    EXPECT_EQ(calls.written, 0);
}

TEST_P(TileTexturesOf, AllTexturesEndWithTheTile) {
    {
        TileTextures textures(context.entries(), longest);
        ASSERT_TRUE(upload(textures, 64, 36, 0));
    }
    EXPECT_EQ(calls.ended, GetParam().textures);
    EXPECT_EQ(calls.ended, calls.made);
}

INSTANTIATE_TEST_SUITE_P(Forms, TileTexturesOf,
                         testing::Values(Form{AV_PIX_FMT_YUV420P, 3}, Form{AV_PIX_FMT_YUV422P, 3},
                                         Form{AV_PIX_FMT_YUVA420P, 4}, Form{AV_PIX_FMT_UYVY422, 1},
                                         Form{AV_PIX_FMT_RGB24, 1}, Form{AV_PIX_FMT_RGBA, 1},
                                         // brought into a form that OpenGL takes
                                         Form{AV_PIX_FMT_NV12, 3}, Form{AV_PIX_FMT_BGRA, 1},
                                         Form{AV_PIX_FMT_YUV422P10, 3}),
                         [](const auto& info) {
                             return std::string(av_get_pix_fmt_name(info.param.format));
                         });

} // namespace
