// Titles and templates on a system that has no thread left.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <system_error>

#include "graphics/LottieEngine.h"
#include "quolsdk/LAnimation.h"
#include "quolsdk/LCharacter.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/LottieTemplates.h"
#include "support/NoThreads.h"
#include "support/SteppedAnimation.h"

namespace {

using test::NoThreads;

TEST(WithoutThreads, ACharacterCannotBeMade) {
    const NoThreads none;
    ASSERT_TRUE(none.works());
    EXPECT_THROW(LCharacter(), std::system_error);
}

TEST(WithoutThreads, AnAnimationLoadsNothingAndDoesSoLater) {
    if (!quol::hasLottieEngine()) GTEST_SKIP() << "built without templates";
    const std::string path = test::writeFile("box.json", test::boxTemplate("1,0,0,1"));
    test::CollectingSink sink(1);
    test::CapturedStream errors(test::CapturedStream::Stream::error);
    std::unique_ptr<LAnimation> animation;
    {
        const NoThreads none;
        ASSERT_TRUE(none.works());
        animation = std::make_unique<LAnimation>();
        EXPECT_FALSE(animation->loadTemplate(1, path));
    }
    EXPECT_THAT(errors.text(), testing::StartsWith("LAnimation: No thread: "));
    animation->setVideoFormat(test::lottieFormat());
    animation->addSink(&sink);
    EXPECT_TRUE(animation->loadTemplate(1, path));
    EXPECT_TRUE(sink.waitForPictures(3));
    animation->removeSink(&sink);
    EXPECT_EQ(test::middleOf(sink.latestPicture()), test::pixelOf(255, 0, 0));
}

} // namespace
