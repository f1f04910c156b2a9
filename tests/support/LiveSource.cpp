#include "support/LiveSource.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "core/Clock.h"
#include "support/CollectingSink.h"
#include "support/Frames.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace test {

namespace {

constexpr int soundRate = 48000;
constexpr double flashPeriod = 0.6; // seconds
constexpr double beepLength = 0.04; // seconds
constexpr int clockRate = 90000;

double sincePeriodBegan(double sourceTime) {
    constexpr double rounding = 1e-6;
    return std::fmod(sourceTime + rounding, flashPeriod);
}

} // namespace

void LiveSource::start() {
    if (running_.exchange(true)) return;
    thread_ = std::thread(&LiveSource::run, this);
}

void LiveSource::stop() {
    running_ = false;
    if (thread_.joinable()) thread_.join();
}

void LiveSource::jumpTo(double seconds) {
    jump_ = seconds;
}

void LiveSource::changeSize(int newWidth, int newHeight) {
    width = newWidth;
    height = newHeight;
}

bool LiveSource::waitForPictures(std::int64_t more) const {
    const std::int64_t wanted = pictures_ + more;
    return waitUntil([&] { return pictures_ >= wanted; }, std::chrono::seconds(60));
}

void LiveSource::run() {
    double sourceTime = 0.0;
    const auto tick = static_cast<std::int64_t>(1e9 / fps);
    std::int64_t deadline = quol::steadyNow();
    while (running_) {
        const auto late = static_cast<double>(quol::steadyNow() - deadline) / 1e9;
        if (!silent_ && late > lateness_) lateness_ = late;
        pushTick(sourceTime);
        deadline += tick;
        quol::sleepFor(deadline - quol::steadyNow());
    }
}

void LiveSource::pushTick(double& sourceTime) {
    const double jump = jump_.exchange(-1.0);
    if (jump >= 0.0) sourceTime = jump;
    if (loop_ > 0.0 && sourceTime >= loop_ - 1e-6) sourceTime = 0.0;
    if (!silent_) {
        if (sound_) {
            const quol::FramePtr sound = makeSoundAt(sourceTime);
            distributeAudioFrame(sound.get());
        }
        const quol::FramePtr picture = makePictureAt(sourceTime);
        distributeVideoFrame(picture.get());
        ++pictures_;
    }
    if (!silent_ || clockRunsOn_) sourceTime += speed_ / fps;
}

quol::FramePtr LiveSource::makePictureAt(double sourceTime) const {
    quol::FramePtr frame = quol::makeFrame();
    frame->width = width;
    frame->height = height;
    frame->format = format_;
    frame->pts = std::llround(sourceTime * clockRate);
    frame->time_base = {1, clockRate};
    if (av_frame_get_buffer(frame.get(), 32) < 0) return nullptr;
    const auto* descriptor = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame->format));
    const bool rgb = (descriptor->flags & AV_PIX_FMT_FLAG_RGB) != 0;
    const bool bright = sincePeriodBegan(sourceTime) < speed_ / fps - 1e-5;
    const auto level = static_cast<std::uint8_t>(bright ? 235 : 16 + pictures_ % 16);
    for (int plane = 0; plane < 4; ++plane) {
        const bool chroma = plane > 0 && !rgb;
        fillPlane(*frame, plane, chroma ? std::uint8_t{128} : level);
    }
    return frame;
}

// As long as the picture, whatever the source's speed: the samples are counted by time.
quol::FramePtr LiveSource::makeSoundAt(double sourceTime) const {
    const std::int64_t first = std::llround(sourceTime * soundRate);
    const std::int64_t end = std::llround((sourceTime + speed_ / fps) * soundRate);
    quol::FramePtr frame = quol::makeFrame();
    frame->nb_samples = static_cast<int>(end - first);
    frame->sample_rate = soundRate;
    frame->format = AV_SAMPLE_FMT_S16;
    frame->pts = first;
    frame->time_base = {1, soundRate};
    av_channel_layout_default(&frame->ch_layout, 2);
    if (av_frame_get_buffer(frame.get(), 0) < 0) return nullptr;
    auto* samples = reinterpret_cast<std::int16_t*>(frame->data[0]);
    for (std::int64_t i = first; i < end; ++i) {
        const double since = sincePeriodBegan(static_cast<double>(i) / soundRate);
        const double wave = std::cos(2 * std::numbers::pi * 1000.0 * since);
        const auto value = static_cast<std::int16_t>(since < beepLength ? 16000 * wave : 0.0);
        *samples++ = value;
        *samples++ = value;
    }
    return frame;
}

} // namespace test
