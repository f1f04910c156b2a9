// The converter's thread.
#include <algorithm>
#include <cerrno>
#include <numeric>

#include "core/HadMemory.h"
#include "core/Log.h"
#include "core/ThreadPriority.h"
#include "outputs/ConvertInput.h"
#include "outputs/ConvertOutput.h"
#include "outputs/ConvertSettings.h"
#include "quolsdk/LConvert.h"

using quol::hadMemory;

// Where memory runs short the conversion ends as it does when the disk is full.
void LConvert::convertLoop() {
    quol::lowerThreadPriority(quol::ThreadPriority::behindAir);
    bool opened = false;
    if (!hadMemory([&] { opened = initFFmpeg(); })) {
        opened = false;
        hadMemory([] { quol::logError("LConvert: Could not create output context"); });
    }
    if (!opened) {
        end(-1);
        return;
    }
    const auto convertFiles = [this] {
        const std::vector<double> durations = measureInputs();
        totalSeconds = std::accumulate(durations.begin(), durations.end(), 0.0);
        const bool isKnown = totalSeconds > 0.0;
        if (!isKnown) totalSeconds = 1.0;
        secondsBefore = 0.0;
        for (std::size_t i = 0; i < durations.size() && goOn(); ++i) {
            if (!isKnown) progress = 0.0; // it is that of the file
            convertFile(job->inputFiles[i]);
            secondsBefore += durations[i];
        }
    };
    const auto tellShortage = [this] { output->end(AVERROR(ENOMEM)); };
    if (!hadMemory(convertFiles)) hadMemory(tellShortage);
    input->close();
    if (!hadMemory([this] { output->finish(); })) hadMemory(tellShortage);
    progress = 1.0;
    end(0);
}

bool LConvert::initFFmpeg() {
    output = std::make_unique<quol::ConvertOutput>(*job, stopping);
    return output->open();
}

// A host that sees the new status may start again at once: nothing of this conversion is open then.
void LConvert::end(int result) {
    output.reset();
    running = false;
    status = result;
}

bool LConvert::goOn() {
    return !stopping && output->takesMore();
}

// Seconds of each input, for one progress over all of them.
std::vector<double> LConvert::measureInputs() {
    std::vector<double> seconds;
    for (const std::string& path : job->inputFiles)
        seconds.push_back(stopping ? 0.0 : input->measure(path));
    return seconds;
}

void LConvert::convertFile(const std::string& path) {
    if (!input->open(path)) {
        if (!stopping) quol::logError("LConvert: Could not open input file: %s", path.c_str());
        return;
    }
    if (input->openStreams(output->hasPicture(), output->hasSound())) convertPackets();
    output->endFile();
    input->close();
}

void LConvert::convertPackets() {
    const auto picture = [this](const AVFrame& frame) { output->addPicture(frame); };
    const auto sound = [this](const AVFrame& frame) { output->addSound(frame); };
    const auto wanted = [this] { return goOn(); };
    while (goOn() && input->read()) {
        input->decode(picture, sound, wanted);
        tellProgress();
    }
    if (goOn()) input->drain(picture, sound, wanted);
}

// Packets do not come in the order of their times; progress does not go back for that.
void LConvert::tellProgress() {
    const std::optional<double> time = input->packetTime();
    if (!time) return;
    const double now = std::clamp((*time + secondsBefore) / totalSeconds, 0.0, 1.0);
    progress = std::max(progress.load(), now);
}
