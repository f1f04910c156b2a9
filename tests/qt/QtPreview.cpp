// The preview in a widget of a Qt host.
#include <gtest/gtest.h>

#include <QApplication>
#include <QImage>
#include <QPixmap>
#include <QWidget>
#include <chrono>
#include <functional>
#include <memory>
#include <thread>

#include "quolsdk/LObject.h"
#include "quolsdk/LPreview.h"
#include "support/CapturedStream.h"
#include "support/Frames.h"

namespace {

class QtPreview : public testing::Test {
protected:
    // Runs the host's loop until it holds.
    static bool comes(const std::function<bool()>& condition) {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > limit) return false;
            QApplication::processEvents();
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return true;
    }
    bool shows(int x, int y, const QColor& wanted) {
        return comes([&] {
            shot = host->grab().toImage();
            return shot.rect().contains(x, y) && isNear(shot.pixelColor(x, y), wanted);
        });
    }
    static bool isNear(const QColor& pixel, const QColor& wanted) {
        return std::abs(pixel.red() - wanted.red()) <= 3 &&
               std::abs(pixel.green() - wanted.green()) <= 3 &&
               std::abs(pixel.blue() - wanted.blue()) <= 3;
    }
    int status() {
        int value = -7;
        preview->statusGet(value);
        return value;
    }
    void begin() {
        preview = std::make_unique<LPreview>();
        preview->setProps("ui_framework", "qt");
        preview->previewObject(&source);
        preview->previewEnable(host.get(), false, true);
    }
    void push(std::uint8_t luma) {
        const quol::FramePtr frame = test::makePicture(64, 36, AV_PIX_FMT_YUV420P);
        test::fillPlane(*frame, 0, luma);
        test::fillPlane(*frame, 1, 128);
        test::fillPlane(*frame, 2, 128);
        frame->pts = AV_NOPTS_VALUE;
        for (int row = 0; row < 18; ++row)
            std::fill_n(frame->data[0] + row * frame->linesize[0], 64, std::uint8_t{235});
        source.distributeVideoFrame(frame.get());
    }

    // Before the application is made.
    const bool withoutScreen = qputenv("QT_QPA_PLATFORM", "offscreen");
    int argc = 1;
    char name[5] = "host";
    char* argv[2] = {name, nullptr};
    QApplication application{argc, argv};
    std::unique_ptr<QWidget> host = [] {
        auto made = std::make_unique<QWidget>();
        made->resize(320, 180);
        made->show();
        return made;
    }();
    LObject source;
    std::unique_ptr<LPreview> preview;
    QImage shot;
};

TEST_F(QtPreview, ShowsThePictureInTheHostsWidget) {
    test::CapturedStream output(test::CapturedStream::Stream::output);
    begin();
    EXPECT_TRUE(comes([&] { return status() == 1; }));
    EXPECT_NE(output.text().find("[quolsdk] Qt preview ready.\n"), std::string::npos);
    push(126);
    EXPECT_TRUE(shows(160, 150, QColor(128, 128, 128)));
    EXPECT_TRUE(isNear(shot.pixelColor(160, 20), Qt::white)); // the top row is at the top
    preview->setStatus("program");
    EXPECT_TRUE(shows(0, 179, QColor(150, 0, 0)));
    host->resize(640, 360);
    EXPECT_TRUE(shows(639, 359, QColor(150, 0, 0)));
    EXPECT_TRUE(isNear(shot.pixelColor(320, 300), QColor(128, 128, 128)));
    preview.reset();
    EXPECT_TRUE(comes([&] { return host->children().isEmpty(); }));
}

TEST_F(QtPreview, SurvivesTheEndOfTheHostsWidget) {
    begin();
    push(126);
    EXPECT_TRUE(shows(160, 150, QColor(128, 128, 128)));
    host.reset();
    EXPECT_TRUE(comes([&] { return status() == 0; }));
    push(126);
    host = std::make_unique<QWidget>();
    host->resize(100, 100);
    preview->previewEnable(host.get(), false, true);
    push(126);
    EXPECT_TRUE(shows(50, 90, QColor(128, 128, 128)));
}

TEST_F(QtPreview, MayBeEnabledFromAnotherThread) {
    std::thread other([this] { begin(); });
    EXPECT_TRUE(comes([&] { return !host->children().isEmpty(); }));
    other.join();
    push(126);
    EXPECT_TRUE(shows(160, 150, QColor(128, 128, 128)));
}

TEST_F(QtPreview, AWidgetThatEndsBeforeItIsReachedIsGone) {
    std::thread other([this] { begin(); });
    other.join(); // Qt's loop has not run
    host.reset();
    EXPECT_TRUE(comes([&] { return status() == 0; }));
    push(126);
    host = std::make_unique<QWidget>();
    host->resize(100, 100);
    preview->previewEnable(host.get(), false, true);
    push(126);
    EXPECT_TRUE(shows(50, 90, QColor(128, 128, 128)));
}

TEST_F(QtPreview, IsDestroyedAtAnyTime) {
    for (int i = 0; i < 10; ++i) {
        begin();
        push(126);
        if (i % 2 == 1) QApplication::processEvents();
        preview.reset();
    }
    begin();
    host.reset();
    preview.reset();
    QApplication::processEvents();
}

TEST_F(QtPreview, NoWidgetIsAFailure) {
    test::CapturedStream errors(test::CapturedStream::Stream::error);
    host.reset();
    begin();
    EXPECT_TRUE(comes([&] { return errors.text() == "[quolsdk] Qt preview init failed.\n"; }));
    EXPECT_EQ(status(), 0);
}

} // namespace
