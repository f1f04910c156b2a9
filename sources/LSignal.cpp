#include "quolsdk/LSignal.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <exception>
#include <new>
#include <stdexcept>

#include "core/Clock.h"
#include "core/Color.h"
#include "core/Handles.h"
#include "core/MediaInput.h"
#include "core/ModeTables.h"
#include "core/PicturePool.h"
#include "core/Scaler.h"

namespace {

constexpr double idleTick = 0.04;
// A tick no rate asks for; keeps the sleep within what a clock can count.
constexpr double longestTick = 3600.0;

void fillPlane(const AVFrame& frame, int plane, int width, int height, std::uint8_t level) {
    for (int row = 0; row < height; ++row) {
        std::memset(frame.data[plane] + static_cast<std::ptrdiff_t>(row) * frame.linesize[plane],
                    level, static_cast<std::size_t>(width));
    }
}

// Chroma rounds up, so that the last column and row of an odd size are coloured too.
void fillColor(const AVFrame& frame, const quol::YuvLevels& levels) {
    const int chromaWidth = (frame.width + 1) / 2;
    const int chromaHeight = (frame.height + 1) / 2;
    fillPlane(frame, 0, frame.width, frame.height, levels.y);
    fillPlane(frame, 1, chromaWidth, chromaHeight, levels.u);
    fillPlane(frame, 2, chromaWidth, chromaHeight, levels.v);
}

bool drawImage(AVFrame& frame, quol::MediaInput& input, const std::string& path) {
    // Only the first packet is tried: a still has no more.
    const quol::FramePtr image = quol::decodeFirstPicture(input, path, 1);
    return image && quol::Scaler().scale(*image, frame, SWS_BILINEAR);
}

} // namespace

LSignal::LSignal()
    : color("#000000"),
      pool(std::make_unique<quol::PicturePool>()),
      imageInput(std::make_unique<quol::MediaInput>()),
      sleeper(std::make_unique<quol::Sleeper>()) {
    videoFormatProps initial;
    initial.mode = 4;
    setVideoFormat(initial);
}

LSignal::~LSignal() {
    Stop();
}

void LSignal::setColor(const std::string& newColor) {
    const std::lock_guard lock(mutex);
    color = newColor;
    imagePath.clear();
    cachedFrame.reset();
}

void LSignal::setImage(const std::string& path) {
    const std::lock_guard lock(mutex);
    imagePath = path;
    cachedFrame.reset();
}

void LSignal::setVideoFormat(const videoFormatProps& newFormat) {
    const std::lock_guard lock(mutex);
    format = newFormat;
    quol::expandVideoFormat(format);
    cachedFrame.reset();
}

void LSignal::getVideoFormat(videoFormatProps& out) {
    const std::lock_guard lock(mutex);
    out = format;
}

bool LSignal::Start() {
    const std::lock_guard lock(threadMutex);
    if (running) return true;
    sleeper->reset();
    running = true;
    try {
        thread = std::thread(&LSignal::signalLoop, this);
    } catch (const std::exception&) { // no thread, or no memory for one
        running = false;
        return false;
    }
    return true;
}

void LSignal::Stop() {
    {
        const std::lock_guard lock(threadMutex);
        running = false;
        sleeper->wake();
        imageInput->interrupt(true);
        if (thread.joinable()) thread.join();
        imageInput->interrupt(false);
    }
    const std::lock_guard lock(mutex);
    cachedFrame.reset();
    pool->clear();
}

AVFrame* LSignal::createFrame() {
    const std::lock_guard lock(mutex);
    if (!cachedFrame) cachedFrame = drawFrame();
    return quol::cloneFrame(cachedFrame.get()).release();
}

// Under `mutex`.
quol::FramePtr LSignal::drawFrame() {
    if (format.width < 1 || format.height < 1) return nullptr;
    quol::YuvLevels levels; // black
    if (imagePath.empty()) {
        const auto rgb = quol::parseColor(color);
        if (rgb) levels = quol::toYuvTruncated(*rgb);
    }
    quol::FramePtr frame = pool->get(format.width, format.height, AV_PIX_FMT_YUV420P);
    if (!frame) return nullptr;
    const bool drawn = !imagePath.empty() && drawImage(*frame, *imageInput, imagePath);
    if (!drawn) fillColor(*frame, levels);
    return frame;
}

double LSignal::tickSeconds() {
    const std::lock_guard lock(mutex);
    return format.fps > 0.0 ? std::min(1.0 / format.fps, longestTick) : idleTick;
}

// Null also for a colour that cannot be read and where memory is short: the signal then waits for
// better ones.
quol::FramePtr LSignal::tryCreateFrame() {
    try {
        return quol::FramePtr(createFrame());
    } catch (const std::logic_error&) {
        return nullptr;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

// Each tick is paced from the end of the one before: the work of a tick is absorbed, what a sleep
// oversleeps is not.
void LSignal::signalLoop() {
    std::int64_t lastTick = quol::steadyNow();
    while (running) {
        const auto interval =
            static_cast<std::int64_t>(tickSeconds() * static_cast<double>(quol::nanosPerSecond));
        const quol::FramePtr frame = tryCreateFrame();
        if (frame) distributeVideoFrame(frame.get());
        const std::int64_t elapsed = quol::steadyNow() - lastTick;
        if (interval > elapsed) sleeper->sleepFor(interval - elapsed);
        lastTick = quol::steadyNow();
    }
}
