#include <gtest/gtest.h>

#include <cstdlib>

#include "quolsdk/LPreview.h"
#include "quolsdk/LSignal.h"
#include "quolsdk/quolsdk_c_api.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/XServer.h"

namespace {

constexpr auto patience = std::chrono::seconds(60);

int statusOf(quolsdk_handle preview) {
    int status = -7;
    static_cast<LPreview*>(preview)->statusGet(status);
    return status;
}

TEST(PreviewApi, ShowsASignalInAWindow) {
    const test::XServer server;
    if (!server.running()) GTEST_SKIP() << "no Xvfb on this machine";
    const test::HostWindow window(320, 180);
    quolsdk_handle signal = quolsdk_signal_create();
    quolsdk_signal_set_color(signal, "#808080");
    quolsdk_signal_start(signal);
    quolsdk_handle preview = quolsdk_preview_create();
    quolsdk_preview_set_name(preview, "A name");
    quolsdk_preview_set_props(preview, "border", "1");
    quolsdk_preview_object(preview, signal);
    quolsdk_preview_enable(preview, window.handle(), 0, 1);
    EXPECT_EQ(statusOf(preview), 0); // nothing draws yet
    quolsdk_preview_set_props(preview, "ui_framework", "");
    EXPECT_TRUE(test::waitUntil([&] { return statusOf(preview) == 1; }, patience));
    test::Screenshot shot;
    const auto border = [&](const test::Pixel& wanted) {
        return test::waitUntil(
            [&] {
                shot = window.screenshot();
                return test::isNear(shot.at(0, 0), wanted) &&
                       shot.at(160, 90).red > 100; // and the signal
            },
            patience);
    };
    EXPECT_TRUE(border({0, 0, 0}));
    EXPECT_GT(shot.count({255, 255, 255}), 5); // the name
    quolsdk_preview_set_status(preview, "program");
    EXPECT_TRUE(border({150, 0, 0}));
    quolsdk_preview_clear(preview);
    quolsdk_preview_set_name(preview, nullptr);
    EXPECT_TRUE(test::waitUntil(
        [&] {
            return window.screenshot().count({255, 255, 255}) == 0;
        },
        patience));
    quolsdk_preview_object(preview, nullptr);
    quolsdk_preview_destroy(preview);
    EXPECT_EQ(window.children(), 0);
    quolsdk_signal_destroy(signal);
}

TEST(PreviewApi, NullTextsAreEmptyOnes) {
    test::CapturedStream output(test::CapturedStream::Stream::output);
    quolsdk_handle preview = quolsdk_preview_create();
    quolsdk_preview_set_name(preview, nullptr);
    quolsdk_preview_set_status(preview, nullptr);
    quolsdk_preview_set_props(preview, nullptr, nullptr);
    quolsdk_preview_set_props(preview, "ui_framework", nullptr);
    EXPECT_EQ(output.text(), "[quolsdk] Loading built-in Win32 GDI Preview...\n");
    quolsdk_preview_set_audio(preview, 1);
    quolsdk_preview_mute(preview, 1);
    quolsdk_preview_destroy(preview);
}

TEST(PreviewApi, NullHandles) {
    quolsdk_preview_destroy(nullptr);
    quolsdk_preview_enable(nullptr, nullptr, 1, 1);
    quolsdk_preview_object(nullptr, nullptr);
    quolsdk_preview_set_props(nullptr, "name", "x");
    quolsdk_preview_set_status(nullptr, "x");
    quolsdk_preview_set_name(nullptr, "x");
    quolsdk_preview_clear(nullptr);
    quolsdk_preview_set_audio(nullptr, 1);
    quolsdk_preview_mute(nullptr, 1);
}

} // namespace
