// A sink that does not come back from a push, on every source that works by itself.
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "graphics/LottieEngine.h"
#include "quolsdk/LAnimation.h"
#include "quolsdk/LAudioMixer.h"
#include "quolsdk/LCharacter.h"
#include "quolsdk/LFile.h"
#include "quolsdk/LLive.h"
#include "quolsdk/LMixer.h"
#include "quolsdk/LMultiview.h"
#include "quolsdk/LSignal.h"
#include "quolsdk/LSwitcher.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/LottieTemplates.h"

namespace {

class BlockingSink : public LSink {
public:
    void pushVideoFrame(AVFrame* /*frame*/) override { wait(); }
    void pushAudioFrame(AVFrame* /*frame*/) override { wait(); }
    void open() {
        const std::lock_guard lock(mutex_);
        isOpen_ = true;
        opened_.notify_all();
    }
    std::atomic<int> pushes{0};

private:
    void wait() {
        ++pushes;
        std::unique_lock lock(mutex_);
        opened_.wait(lock, [this] { return isOpen_; });
    }
    std::mutex mutex_;
    std::condition_variable opened_;
    bool isOpen_ = false;
};

struct Source {
    const char* name;
    std::function<std::shared_ptr<LObject>()> make; // one that runs, or is about to
    std::function<void(LObject&)> start = [](LObject&) {};
};

std::vector<Source> sources() {
    std::vector<Source> all{
        {"LSignal", [] { return std::make_shared<LSignal>(); },
         [](LObject& o) { dynamic_cast<LSignal&>(o).Start(); }},
        {"LFile", [] { return std::make_shared<LFile>(); },
         [](LObject& o) {
             auto& file = dynamic_cast<LFile&>(o);
             file.fileNameSet(test::mediaPath("flash_beep.mov"));
             file.setProps("loop", "true");
             file.play();
         }},
        {"LLive", [] { return std::make_shared<LLive>(); },
         [](LObject& o) {
             auto& live = dynamic_cast<LLive&>(o);
             live.DeviceSet(2); // the test signal of a machine without cards
             live.Start();
         }},
        {"LMixer", [] { return std::make_shared<LMixer>(LMixer::Renderer::processor); }},
        {"LSwitcher", [] { return std::make_shared<LSwitcher>(); }},
        {"LMultiview",
         [] { return std::make_shared<LMultiview>(LMultiview::Renderer::processor); }},
        {"LAudioMixer", [] { return std::make_shared<LAudioMixer>(); }},
        {"LCharacter", [] { return std::make_shared<LCharacter>(); }},
    };
    if (quol::hasLottieEngine()) {
        all.push_back({"LAnimation", [] { return std::make_shared<LAnimation>(); },
                       [](LObject& o) {
                           dynamic_cast<LAnimation&>(o).loadTemplate(
                               1, test::writeFile("box.json", test::boxTemplate("1,0,0,1")));
                       }});
    }
    return all;
}

// While it blocks, the source's questions are answered on the host's thread and another source
// goes on; when it is let go, so does the one that it held up.
TEST(SinkThatBlocks, HoldsItsSourceUpAndNothingElse) {
    const test::CapturedStream output(test::CapturedStream::Stream::output);
    for (const Source& source : sources()) {
        SCOPED_TRACE(source.name);
        LSignal other;
        test::CollectingSink otherSink;
        other.addSink(&otherSink);
        other.Start();
        const std::shared_ptr<LObject> object = source.make();
        BlockingSink blocking;
        object->addSink(&blocking);
        source.start(*object);
        EXPECT_TRUE(test::waitUntil([&] { return blocking.pushes == 1; }));
        int status = -1;
        object->statusGet(status);
        EXPECT_GE(status, 0);
        EXPECT_GT(object->getFPS(), 0.0);
        EXPECT_GE(object->getWidth(), 0);
        object->getTimeCode();
        EXPECT_TRUE(otherSink.waitForPictures(otherSink.pictureCount() + 3));
        EXPECT_EQ(blocking.pushes, 1);
        blocking.open();
        EXPECT_TRUE(test::waitUntil([&] { return blocking.pushes >= 3; }));
        object->removeSink(&blocking);
        other.Stop();
        other.removeSink(&otherSink);
    }
}

} // namespace
