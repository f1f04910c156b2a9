// A source in real time, with something to see and to hear at the same moments.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

#include "core/Handles.h"
#include "quolsdk/LObject.h"

namespace test {

// A source that is driven by hand: it says what it is told to say and produces nothing by itself.
class HandSource : public LObject {
public:
    double getFPS() override { return fps; }
    int getWidth() override { return width; }
    int getHeight() override { return height; }
    std::string getTimeCode() override { return timecode; }

    std::atomic<int> width{160};
    std::atomic<int> height{90};
    std::atomic<double> fps{25.0};
    std::string timecode = "00:00:00:00"; // set before it is used
};

// Dark pictures, each a little different; at every 0.6 s of the source's own time one bright
// picture and, from its very moment on, 40 ms of 1 kHz. Sound is 16-bit stereo at 48 kHz and goes
// out just ahead of the picture it belongs to.
class LiveSource : public HandSource {
public:
    ~LiveSource() override { stop(); }

    void start();
    void stop();

    // From now on: source's time of the next picture, its size, its pixel format, whether there is
    // sound, whether anything comes at all.
    void jumpTo(double seconds);
    void changeSize(int newWidth, int newHeight);
    void changeFormat(AVPixelFormat format) { format_ = format; }
    void setSound(bool on) { sound_ = on; }
    void setSilent(bool on) { silent_ = on; }
    // Whether the source's time runs on while nothing comes; it does at first.
    void setClockRunsOn(bool on) { clockRunsOn_ = on; }
    // How fast the source's time runs against the wall clock.
    void setSpeed(double speed) { speed_ = speed; }
    // Behind that many seconds of its own time the source starts again from 0.
    void setLoop(double seconds) { loop_ = seconds; }

    std::int64_t pictures() const { return pictures_; }
    // Waits until that many more pictures have gone out.
    bool waitForPictures(std::int64_t more) const;

    // How late the latest picture of all was, in seconds. The machine is to blame for it, and what
    // a sink makes of the time of arrival cannot be better.
    double largestLateness() const { return lateness_; }
    void forgetLateness() { lateness_ = 0.0; }

private:
    void run();
    void pushTick(double& sourceTime);
    quol::FramePtr makePictureAt(double sourceTime) const;
    quol::FramePtr makeSoundAt(double sourceTime) const;

    std::thread thread_;
    std::atomic<bool> running_{false};
    std::atomic<bool> sound_{true};
    std::atomic<bool> silent_{false};
    std::atomic<bool> clockRunsOn_{true};
    std::atomic<double> speed_{1.0};
    std::atomic<double> loop_{0.0};
    std::atomic<double> jump_{-1.0};
    std::atomic<int> format_{AV_PIX_FMT_YUV420P};
    std::atomic<std::int64_t> pictures_{0};
    std::atomic<double> lateness_{0.0};
};

} // namespace test
