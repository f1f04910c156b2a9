// The preview in a widget of a GTK host.
#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <thread>

#include "quolsdk/LObject.h"
#include "quolsdk/LPreview.h"
#include "support/CapturedStream.h"
#include "support/Frames.h"
#include "support/ThisProcess.h"
#include "support/XServer.h"

// Xlib has macros of everyday names: behind everything else.
#include <gdk/x11/gdkx.h>

namespace {

// Newer versions of GTK advise against asking, as not every surface is an X window; here they are.
G_GNUC_BEGIN_IGNORE_DEPRECATIONS
xcb_window_t numberOf(GdkSurface* surface) {
    return static_cast<xcb_window_t>(gdk_x11_surface_get_xid(surface));
}
G_GNUC_END_IGNORE_DEPRECATIONS

constexpr test::Pixel grey{128, 128, 128};
constexpr test::Pixel white{255, 255, 255};
constexpr test::Pixel red{150, 0, 0};

class GtkPreview : public testing::Test {
protected:
    void SetUp() override {
        if (!server.running()) GTEST_SKIP() << "no Xvfb on this machine";
        setenv("GDK_BACKEND", "x11", 1);
        setenv("GSK_RENDERER", "cairo", 1);
        setenv("GTK_A11Y", "none", 1);
        ASSERT_TRUE(gtk_init_check());
        connection = xcb_connect(nullptr, nullptr);
        makeWindow();
    }
    void makeWindow() {
        window = gtk_window_new();
        gtk_window_set_decorated(GTK_WINDOW(window), FALSE);
        gtk_window_set_default_size(GTK_WINDOW(window), 320, 180);
    }
    void TearDown() override {
        preview.reset();
        if (window != nullptr) gtk_window_destroy(GTK_WINDOW(window));
        if (connection != nullptr) xcb_disconnect(connection);
    }

    // Runs the host's loop until it holds.
    static bool comes(const std::function<bool()>& condition) {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > limit) return false;
            while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return true;
    }
    bool shows(const test::Pixel& wanted, int pixels) {
        return comes([&] {
            GdkSurface* const surface = gtk_native_get_surface(GTK_NATIVE(window));
            if (surface == nullptr) return false;
            shot = test::takeScreenshot(connection, numberOf(surface));
            return shot.count(wanted) >= pixels;
        });
    }
    int status() {
        int value = -7;
        preview->statusGet(value);
        return value;
    }
    void begin(GtkWidget* host) {
        preview = std::make_unique<LPreview>();
        preview->setProps("ui_framework", "gtk");
        preview->previewObject(&source);
        preview->previewEnable(host, false, true);
        gtk_window_present(GTK_WINDOW(window));
    }
    void push() {
        const quol::FramePtr frame = test::makePicture(64, 36, AV_PIX_FMT_YUV420P);
        test::fillPlane(*frame, 0, 126);
        test::fillPlane(*frame, 1, 128);
        test::fillPlane(*frame, 2, 128);
        frame->pts = AV_NOPTS_VALUE;
        for (int row = 0; row < 18; ++row)
            std::fill_n(frame->data[0] + row * frame->linesize[0], 64, std::uint8_t{235});
        source.distributeVideoFrame(frame.get());
    }

    test::XServer server;
    xcb_connection_t* connection = nullptr;
    GtkWidget* window = nullptr;
    LObject source;
    std::unique_ptr<LPreview> preview;
    test::Screenshot shot;
};

TEST_F(GtkPreview, ShowsThePictureInAPictureOfTheHosts) {
    test::CapturedStream output(test::CapturedStream::Stream::output);
    GtkWidget* const picture = gtk_picture_new();
    gtk_window_set_child(GTK_WINDOW(window), picture);
    begin(picture);
    EXPECT_TRUE(comes([&] { return status() == 1; }));
    EXPECT_NE(output.text().find("[quolsdk] GTK preview ready.\n"), std::string::npos);
    push();
    EXPECT_TRUE(shows(grey, 320 * 80));
    test::keepPicture(shot, "gtk");
    EXPECT_GE(shot.count(white), 320 * 80);
    EXPECT_EQ(shot.count(white, 0, shot.height / 2 + 3, shot.width, shot.height),
              0); // row 0 at the top
    preview->setStatus("program");
    EXPECT_TRUE(shows(red, 1000));
    preview.reset();
    EXPECT_TRUE(comes([&] { return gtk_picture_get_paintable(GTK_PICTURE(picture)) == nullptr; }));
    EXPECT_FALSE(g_signal_has_handler_pending(picture, g_signal_lookup("destroy", GTK_TYPE_WIDGET),
                                              0, TRUE)); // nor anything else of it
}

TEST_F(GtkPreview, AWindowWithAChildOfTheHostsKeepsIt) {
    test::CapturedStream errors(test::CapturedStream::Stream::error);
    GtkWidget* const label = gtk_label_new("x");
    gtk_window_set_child(GTK_WINDOW(window), label);
    begin(window);
    EXPECT_TRUE(comes([&] {
        return errors.text().find("[quolsdk] GTK preview init failed.\n") != std::string::npos;
    }));
    EXPECT_EQ(status(), 0);
    EXPECT_EQ(gtk_window_get_child(GTK_WINDOW(window)), label);
    preview.reset();
    gtk_window_set_child(GTK_WINDOW(window), nullptr);
    begin(window);
    preview.reset(); // its picture still stands there, and gives way
    begin(window);
    push();
    EXPECT_TRUE(shows(grey, 320 * 80));
}

TEST_F(GtkPreview, ShowsItInsideAWindowABoxAndAnOverlay) {
    for (int kind = 0; kind < 3; ++kind) {
        GtkWidget* host = window;
        if (kind == 1) host = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
        if (kind == 2) host = gtk_overlay_new();
        if (kind != 0) gtk_window_set_child(GTK_WINDOW(window), host);
        begin(host);
        push();
        EXPECT_TRUE(shows(grey, 320 * 80)) << kind;
        preview.reset();
        EXPECT_TRUE(comes([&] {
            return kind == 0 ? gtk_window_get_child(GTK_WINDOW(window)) == nullptr
                             : gtk_widget_get_first_child(host) == nullptr;
        })) << kind;
        gtk_window_destroy(GTK_WINDOW(window));
        makeWindow();
    }
}

TEST_F(GtkPreview, SurvivesTheEndOfTheHostsWindow) {
    begin(window);
    push();
    EXPECT_TRUE(shows(grey, 320 * 80));
    gtk_window_destroy(GTK_WINDOW(window));
    window = nullptr;
    EXPECT_TRUE(comes([&] { return status() == 0; }));
    push();
}

TEST_F(GtkPreview, IsDestroyedAtAnyTime) {
    for (int i = 0; i < 10; ++i) {
        begin(window);
        push();
        if (i % 2 == 1) g_main_context_iteration(nullptr, FALSE);
        preview.reset();
    }
    comes([] { return g_main_context_pending(nullptr) == FALSE; });
}

// A picture's memory goes to GTK and comes back: as many previews as one likes leave none behind,
// nor does one preview keep a second picture for each that it shows.
TEST_F(GtkPreview, LeavesNoPicturesMemoryBehind) {
    constexpr std::size_t pictureBytes = std::size_t{320} * 180 * 4;
    const auto showSome = [&] {
        begin(window);
        push();
        EXPECT_TRUE(shows(grey, 320 * 80));
        for (int i = 0; i < 40; ++i) {
            push();
            while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    };
    const auto end = [&] {
        preview.reset();
        EXPECT_TRUE(comes([&] { return gtk_window_get_child(GTK_WINDOW(window)) == nullptr; }));
    };
    showSome(); // with what GTK and OpenGL make once
    const std::size_t showing = test::heapOfThisProcess();
    end();
    const std::size_t gone = test::heapOfThisProcess();
    for (int i = 0; i < 3; ++i) {
        showSome();
        EXPECT_LT(test::heapOfThisProcess(), showing + 6 * pictureBytes) << i;
        end();
        EXPECT_LT(test::heapOfThisProcess(), gone + 6 * pictureBytes) << i;
    }
}

TEST_F(GtkPreview, AWidgetWithoutAPlaceIsAFailure) {
    test::CapturedStream errors(test::CapturedStream::Stream::error);
    GtkWidget* const label = gtk_label_new("x");
    g_object_ref_sink(label);
    begin(label);
    EXPECT_TRUE(comes([&] {
        return errors.text().find("[quolsdk] GTK preview init failed.\n") != std::string::npos;
    }));
    preview->previewEnable(nullptr, false, true);
    EXPECT_EQ(status(), 0);
    preview.reset();
    g_object_unref(label);
}

} // namespace
