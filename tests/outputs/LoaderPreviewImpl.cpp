#include "outputs/LoaderPreviewImpl.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "quolsdk/LObject.h"
#include "quolsdk/LPreview.h"
#include "support/CapturedStream.h"
#include "support/RefusingSource.h"

namespace {

using Calls = std::vector<std::string>;

// Notes what it is told.
class NotingImpl : public LPreview::Impl {
public:
    explicit NotingImpl(Calls& calls) : calls_(calls) {}
    ~NotingImpl() override { note("end"); }

    void setProps(const std::string& key, const std::string& value) override {
        note(key + "=" + value);
    }
    void previewEnable(void* window, bool audio, bool video) override {
        note("enable " + std::to_string(reinterpret_cast<std::uintptr_t>(window)) +
             (audio ? " audio" : "") + (video ? " video" : ""));
    }
    void previewObject(LObject* object) override {
        note(object ? "object" : "no object");
        if (dynamic_cast<test::RefusingSource*>(object) != nullptr) throw std::bad_alloc();
    }
    void clear() override { note("clear"); }
    void setName(const std::string& name) override { note("name " + name); }
    void setStatus(const std::string& status) override { note("status " + status); }
    void setAudio(bool enabled) override { note(enabled ? "audio on" : "audio off"); }
    void mute(bool muted) override { note(muted ? "mute on" : "mute off"); }
    void statusGet(int& status) override { status = 1; }

private:
    void note(const std::string& call) { calls_.push_back(call); }

    Calls& calls_;
};

class LoaderPreview : public testing::Test {
protected:
    void choose() { loader.setRealImpl(std::make_unique<NotingImpl>(calls)); }
    int status() {
        int value = -7;
        loader.statusGet(value);
        return value;
    }

    Calls calls; // outlives the implementations that note in it
    LoaderPreviewImpl loader;
    LObject source;
    void* window = reinterpret_cast<void*>(std::uintptr_t{77});
};

TEST_F(LoaderPreview, WithoutAnythingSetOnlyNameAndSoundAreHandedOn) {
    EXPECT_EQ(status(), 0);
    choose();
    EXPECT_EQ(calls, (Calls{"name ", "audio off"}));
    EXPECT_EQ(status(), 1);
}

TEST_F(LoaderPreview, SettingsMadeBeforeReachItInOrderTheLastValueOfEachKey) {
    loader.previewEnable(window, true, false);
    loader.previewObject(&source);
    loader.setProps("scale_type", "letter-box");
    loader.setProps("border", "1");
    loader.setProps("audio_meter", "0");
    loader.setProps("border", "0");
    loader.setProps("audio_meter", "1");
    loader.setStatus("live");
    loader.setName("first");
    loader.setName("second");
    loader.clear();
    EXPECT_EQ(status(), 0);
    choose();
    EXPECT_EQ(calls, (Calls{"name second", "status live", "audio on", "audio_meter=1", "border=0",
                            "scale_type=letter-box", "object", "enable 77 audio"}));
}

TEST_F(LoaderPreview, AStatusOfEmptyIsNotHandedOn) {
    loader.setStatus("live");
    loader.setStatus("empty");
    loader.previewObject(&source);
    loader.previewObject(nullptr);
    choose();
    EXPECT_EQ(calls, (Calls{"name ", "audio off"}));
}

TEST_F(LoaderPreview, TheSoundIsWhatWasAskedForLast) {
    loader.previewEnable(window, true, true);
    loader.mute(true);
    choose();
    EXPECT_EQ(calls, (Calls{"name ", "audio off", "enable 77 video"}));
    loader.mute(false);
    loader.setAudio(false);
    loader.setAudio(true);
    calls.clear();
    choose();
    EXPECT_EQ(calls, (Calls{"end", "name ", "audio on", "enable 77 audio video"}));
}

TEST_F(LoaderPreview, TheSoundIsWhatAKeyAskedForLast) {
    loader.previewEnable(window, true, true);
    loader.setProps("mute", "true");
    choose();
    EXPECT_EQ(calls, (Calls{"name ", "audio off", "mute=true", "enable 77 video"}));
    for (const char* key : {"audio", "audio_enabled"}) {
        loader.mute(true);
        loader.setProps(key, "true");
        calls.clear();
        choose();
        EXPECT_EQ(calls.back(), "enable 77 audio video") << key;
    }
}

TEST_F(LoaderPreview, FromThenOnEveryCallIsForwarded) {
    choose();
    calls.clear();
    loader.setProps("key", "value");
    loader.previewEnable(window, false, true);
    loader.previewObject(&source);
    loader.previewObject(nullptr);
    loader.clear();
    loader.setName("n");
    loader.setStatus("empty");
    loader.setAudio(true);
    loader.mute(true);
    EXPECT_EQ(calls, (Calls{"key=value", "enable 77 video", "object", "no object", "clear",
                            "name n", "status empty", "audio on", "mute on"}));
}

TEST_F(LoaderPreview, AnotherImplementationEndsTheOneBeforeAndGetsEverythingAnew) {
    loader.setName("n");
    choose();
    loader.setProps("key", "value");
    loader.previewObject(&source);
    calls.clear();
    choose();
    EXPECT_EQ(calls, (Calls{"end", "name n", "audio off", "key=value", "object"}));
}

TEST_F(LoaderPreview, ASourceThatCouldNotBeHadIsNotHandedOn) {
    test::RefusingSource refusing;
    loader.previewObject(&source);
    choose();
    EXPECT_THROW(loader.previewObject(&refusing), std::bad_alloc);
    calls.clear();
    choose();
    EXPECT_EQ(calls, (Calls{"end", "name ", "audio off"}));
}

TEST(LPreviewFramework, AHostThatNeverChoosesHasNothing) {
    LPreview preview;
    LObject source;
    preview.setName("x");
    preview.previewObject(&source);
    preview.previewEnable(nullptr, true, true);
    source.distributeVideoFrame(nullptr);
    int status = -7;
    preview.statusGet(status);
    EXPECT_EQ(status, 0);
}

TEST(LPreviewFramework, AMissingLibraryLeavesALineAndTheBuiltInOne) {
    for (const std::string framework : {"gtk", "qt"}) {
        test::CapturedStream output(test::CapturedStream::Stream::output);
        test::CapturedStream errors(test::CapturedStream::Stream::error);
        LPreview preview;
        preview.setProps("ui_framework", framework);
        EXPECT_EQ(output.text(), "[quolsdk] Loading built-in Win32 GDI Preview...\n");
        const std::string line = "[quolsdk] Failed to load libquolsdk_" + framework + ".so: ";
        const std::string text = errors.text();
        ASSERT_EQ(text.rfind(line, 0), 0U) << text;
        const std::size_t end = text.find_first_not_of("0123456789", line.size());
        EXPECT_GT(end, line.size());
        // The loader's own words about both, in the order in which they were looked for.
        ASSERT_EQ(text.substr(end, 11), "\n[quolsdk] ") << text;
        const std::size_t installed = text.find("libquolsdk_" + framework + ".so", end);
        const std::size_t local = text.find("; ./quolsdk_" + framework + ".so", end);
        EXPECT_LT(installed, local) << text;
        EXPECT_NE(local, std::string::npos) << text;
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2) << text;
    }
}

TEST(LPreviewFramework, AnyOtherValueIsTheBuiltInOne) {
    for (const char* value : {"", "x11", "Qt", "GTK"}) {
        test::CapturedStream output(test::CapturedStream::Stream::output);
        test::CapturedStream errors(test::CapturedStream::Stream::error);
        LPreview preview;
        preview.setProps("ui_framework", value);
        EXPECT_EQ(output.text(), "[quolsdk] Loading built-in Win32 GDI Preview...\n");
        EXPECT_EQ(errors.text(), "");
    }
}

} // namespace
