// A sink that does not come back from a push, on every source that works by itself.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
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
#include "support/PlainFrames.h"
#include "support/RunningMixer.h"

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

// Keeps its source for a while, once.
class StallingSink : public test::CollectingSink {
public:
    void pushVideoFrame(AVFrame* frame) override {
        if (stalls.exchange(false)) std::this_thread::sleep_for(std::chrono::milliseconds(400));
        CollectingSink::pushVideoFrame(frame);
    }
    std::atomic<bool> stalls{false};
};

// Every tick has its picture, and the pictures behind the stall are in time again. The sink is to
// outlive the object.
void expectMadeUp(LObject& object, StallingSink& sink, double fps) {
    object.LObject::addSink(&sink);
    ASSERT_TRUE(sink.waitForPictures(3));
    const test::PictureSeen before = sink.pictures().back();
    sink.stalls = true;
    EXPECT_TRUE(test::waitUntil([&] {
        const test::PictureSeen now = sink.pictures().back();
        const double passed = static_cast<double>(now.arrived - before.arrived) / 1e9;
        return passed > 0.5 && static_cast<double>(now.pts - before.pts) / fps > passed - 0.2;
    }));
    object.LObject::removeSink(&sink);
    const std::vector<test::PictureSeen> pictures = sink.pictures();
    for (std::size_t i = 1; i < pictures.size(); ++i)
        EXPECT_EQ(pictures[i].pts, pictures[i - 1].pts + 1);
}

TEST(SinkThatBlocks, HasALayerMixerMakeUpItsTicks) {
    StallingSink sink;
    LMixer mixer(LMixer::Renderer::processor);
    mixer.setVideoFormat(test::customVideo(64, 48, 100));
    expectMadeUp(mixer, sink, 100.0);
}

TEST(SinkThatBlocks, HasASwitcherMakeUpItsTicks) {
    const test::CapturedStream output(test::CapturedStream::Stream::output);
    StallingSink sink;
    test::HandSource source; // without any there are no pictures
    LSwitcher switcher;
    switcher.setVideoFormat(test::customVideo(64, 48, 100));
    switcher.setProgram(&source);
    source.distributeVideoFrame(test::plainPicture(64, 48, test::grey).get());
    expectMadeUp(switcher, sink, 100.0);
}

} // namespace
