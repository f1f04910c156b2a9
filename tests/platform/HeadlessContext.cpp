#include "platform/gl/HeadlessContext.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <thread>
#include <vector>

#include "support/ThisProcess.h"

namespace {

using quol::gl::Driver;
using quol::gl::HeadlessContext;

// A machine without any OpenGL driver has nothing to test here.
#define CONTEXT_OR_SKIP(name)                                                         \
    const std::unique_ptr<HeadlessContext> name = HeadlessContext::make(Driver::any); \
    if (!name) GTEST_SKIP() << "no OpenGL driver on this machine"

// Draws one colour into a framebuffer and reads a pixel of it.
std::array<GLubyte, 4> drawnColour(const quol::gl::EntryTable& gl, float red, float green) {
    GLuint texture = 0;
    GLuint framebuffer = 0;
    gl.GenTextures(1, &texture);
    gl.BindTexture(GL_TEXTURE_2D, texture);
    gl.TexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 16, 16, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    gl.GenFramebuffers(1, &framebuffer);
    gl.BindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    gl.FramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
    EXPECT_EQ(gl.CheckFramebufferStatus(GL_FRAMEBUFFER),
              static_cast<GLenum>(GL_FRAMEBUFFER_COMPLETE));
    gl.ClearColor(red, green, 0.0F, 1.0F);
    gl.Clear(GL_COLOR_BUFFER_BIT);
    std::array<GLubyte, 4> pixel{};
    gl.ReadPixels(5, 7, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixel.data());
    gl.DeleteFramebuffers(1, &framebuffer);
    gl.DeleteTextures(1, &texture);
    return pixel;
}

TEST(HeadlessContext, DrawsIntoAFramebuffer) {
    CONTEXT_OR_SKIP(context);
    EXPECT_EQ(drawnColour(context->entries(), 1.0F, 0.0F),
              (std::array<GLubyte, 4>{255, 0, 0, 255}));
    EXPECT_FALSE(context->renderer().empty());
}

// Where a graphics processor is asked for, the driver must not compute on the main one.
TEST(HeadlessContext, OfHardwareIsNoDriverOnTheMainProcessor) {
    const auto context = HeadlessContext::make(Driver::hardware);
    if (context) {
        EXPECT_EQ(context->renderer().find("llvmpipe"), std::string::npos);
        EXPECT_EQ(context->renderer().find("softpipe"), std::string::npos);
    }
    EXPECT_EQ(HeadlessContext::make(Driver::hardware) == nullptr, context == nullptr)
        << "the answer stays the same";
}

TEST(HeadlessContext, EachThreadDrawsIntoItsOwn) {
    CONTEXT_OR_SKIP(here);
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([i] {
            const auto own = HeadlessContext::make(Driver::any);
            ASSERT_NE(own, nullptr);
            const auto level = static_cast<GLubyte>(51 * i);
            EXPECT_EQ(drawnColour(own->entries(), 0.2F * static_cast<float>(i), 1.0F),
                      (std::array<GLubyte, 4>{level, 255, 0, 255}));
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(drawnColour(here->entries(), 0.0F, 1.0F), (std::array<GLubyte, 4>{0, 255, 0, 255}));
}

TEST(HeadlessContext, ComesAndGoesWithoutLeavingDescriptorsBehind) {
    { CONTEXT_OR_SKIP(first); }
    const int before = test::descriptorsOfThisProcess();
    for (int i = 0; i < 30; ++i)
        ASSERT_NE(HeadlessContext::make(Driver::any), nullptr);
    EXPECT_LE(test::descriptorsOfThisProcess(), before + 1);
}

} // namespace
