// The road of pictures and sound through the output: the source's thread and the two workers.
#include <vector>

#include "core/FrameTime.h"
#include "core/HadMemory.h"
#include "core/Log.h"
#include "outputs/OutputDevice.h"
#include "outputs/OutputSound.h"
#include "quolsdk/LOutput.h"

namespace {

constexpr std::size_t maxQueue = 5; // pictures

} // namespace

bool LOutput::takesFrames() const {
    return enabled && accepting;
}

void LOutput::pushVideoFrame(AVFrame* frame) {
    if (frame == nullptr || !takesFrames()) return;
    quol::FramePtr kept = quol::cloneFrame(frame);
    if (!kept) return;
    quol::FramePtr dropped; // given back outside the lock
    {
        const std::lock_guard lock(queueMutex);
        if (!accepting) return;
        if (!quol::hadMemory([&] { queue.push_back(std::move(kept)); })) {
            ++framesDropped;
            return;
        }
        if (queue.size() > maxQueue) {
            dropped = std::move(queue.front());
            queue.pop_front();
            ++framesDropped;
        }
    }
    queueFilled.notify_one();
}

void LOutput::pushAudioFrame(AVFrame* frame) {
    if (frame == nullptr || !takesFrames()) return;
    sound->push(*frame);
}

int LOutput::popAudioSamplesForPts(double pts, short* samples, int count) {
    return sound->pop(pts, samples, count);
}

void LOutput::outputLoop() {
    quol::logOut("[LOutput] Output thread started.");
    quol::OutputPicture picture;
    std::uint64_t scalerAge = 0;
    while (const quol::FramePtr frame = takeFrame()) {
        quol::hadMemory([&] {
            const quol::OutputSettings now = settingsNow();
            if (now.scalerAge != scalerAge) picture.forgetScaler();
            scalerAge = now.scalerAge;
            const quol::PictureForm form = device->form(now);
            if (picture.draw(*frame, form, now.scalingFlags))
                device->show(picture, form, now, *frame);
        });
        if (const auto time = quol::frameTime(*frame)) latestVideoTime = *time;
        ++framesSent;
    }
    quol::logOut("[LOutput] Output thread exiting.");
}

// Waits for the oldest picture. Null when the output stops and none is left.
quol::FramePtr LOutput::takeFrame() {
    std::unique_lock lock(queueMutex);
    queueFilled.wait(lock, [this] { return !queue.empty() || !videoRunning; });
    if (queue.empty()) return nullptr;
    quol::FramePtr frame = std::move(queue.front());
    queue.pop_front();
    return frame;
}

void LOutput::audioLoop() {
    quol::logOut("[LOutput] Audio thread started.");
    std::vector<std::int16_t> samples;
    while (audioRunning) {
        int pairs = 0;
        quol::hadMemory([&] {
            const int count = quol::pairsPerPicture(settingsNow().rate);
            samples.resize(static_cast<std::size_t>(count) * 2);
            pairs = sound->pop(latestVideoTime, samples.data(), count);
        });
        if (pairs == 0) {
            audioSleeper->sleepFor(quol::noSoundPause);
            continue;
        }
        quol::hadMemory([&] { device->play(samples.data(), pairs); });
        const std::int64_t pause = quol::soundPause(pairs, device->holdsSoundBack());
        if (pause > 0) audioSleeper->sleepFor(pause);
    }
    quol::logOut("[LOutput] Audio thread exiting.");
}
