// The compositors on a system that has no thread left.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <system_error>

#include "quolsdk/LAudioMixer.h"
#include "quolsdk/LMixer.h"
#include "quolsdk/LMultiview.h"
#include "quolsdk/LStinger.h"
#include "quolsdk/LSwitcher.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/NoThreads.h"
#include "support/RunningMixer.h"
#include "support/ThisProcess.h"

namespace {

using test::CapturedStream;
using test::CollectingSink;
using test::NoThreads;
using testing::StartsWith;

TEST(WithoutThreads, AMixerCannotBeMade) {
    const NoThreads none;
    ASSERT_TRUE(none.works());
    EXPECT_THROW(LMixer{LMixer::Renderer::processor}, std::system_error);
}

TEST(WithoutThreads, ASwitcherCannotBeMade) {
    const NoThreads none;
    ASSERT_TRUE(none.works());
    EXPECT_THROW(LSwitcher(), std::system_error);
}

TEST(WithoutThreads, AMultiviewCannotBeMade) {
    const NoThreads none;
    ASSERT_TRUE(none.works());
    EXPECT_THROW(LMultiview{LMultiview::Renderer::processor}, std::system_error);
}

TEST(WithoutThreads, AnAudioMixerCannotBeMade) {
    const NoThreads none;
    ASSERT_TRUE(none.works());
    EXPECT_THROW(LAudioMixer(), std::system_error);
}

// The clock of a switcher ends for the first consumer and starts for the last one who leaves, who
// may be a sink on its way out.
TEST(WithoutThreads, ASwitcherWhoseClockCannotGoOnTriesAgainAtTheNextChange) {
    LSwitcher switcher;
    CollectingSink sink;
    switcher.addSink(&sink);
    const int before = test::threadsOfThisProcess();
    switcher.addPullConsumer();
    ASSERT_TRUE(test::waitUntil([&] { return test::threadsOfThisProcess() < before; }));
    {
        const NoThreads none;
        CapturedStream errors(CapturedStream::Stream::error);
        EXPECT_NO_THROW(switcher.removePullConsumer());
        EXPECT_THAT(errors.text(), StartsWith("LSwitcher: No thread: "));
    }
    sink.clear();
    switcher.setTransition(0.5F);
    EXPECT_TRUE(sink.waitForSounds(3));
    switcher.removeSink(&sink);
}

TEST(WithoutThreads, AnAutomaticTransitionIsACut) {
    test::WatchedSource a;
    test::WatchedSource b;
    LSwitcher switcher;
    switcher.setProgram(&a);
    switcher.setPreview(&b);
    CapturedStream errors(CapturedStream::Stream::error);
    {
        const NoThreads none;
        EXPECT_NO_THROW(switcher.setAutoTransition(500));
    }
    EXPECT_THAT(errors.text(), StartsWith("LSwitcher: No thread, falling back to Cut: "));
    EXPECT_EQ(switcher.getCurrentPreviewSource(), &a);
}

TEST(WithoutThreads, AStingerOfASwitcherIsNotLoaded) {
    LSwitcher switcher;
    const std::string path = test::mediaPath("mjpeg.avi");
    CapturedStream errors(CapturedStream::Stream::error);
    {
        const NoThreads none;
        EXPECT_NO_THROW(switcher.setStinger(path));
    }
    EXPECT_EQ(errors.text(), "[LSwitcher] Async Stinger load failed: " + path + "\n");
}

TEST(WithoutThreads, AStingerDoesNotPlayAndDoesSoLater) {
    LStinger stinger;
    CollectingSink sink;
    stinger.addSink(&sink);
    ASSERT_TRUE(stinger.load(test::mediaPath("mjpeg.avi"), 64, 48, 25.0));
    CapturedStream errors(CapturedStream::Stream::error);
    {
        const NoThreads none;
        EXPECT_NO_THROW(stinger.playOnce());
    }
    EXPECT_FALSE(stinger.isPlaying());
    EXPECT_THAT(errors.text(), StartsWith("[LStinger] No thread: "));
    stinger.playOnce();
    EXPECT_TRUE(sink.waitForPictures(1));
    stinger.removeSink(&sink);
}

} // namespace
