// Start and stop of the output's devices.
#include <exception>

#include "core/Clock.h"
#include "core/Log.h"
#include "outputs/DeckLinkOutput.h"
#include "outputs/NdiOutput.h"
#include "outputs/OutputCards.h"
#include "outputs/OutputSettings.h"
#include "outputs/OutputSound.h"
#include "outputs/VtpOutput.h"
#include "quolsdk/LOutput.h"

using quol::OutputDevice;
using quol::OutputDeviceKind;

void LOutput::setEnabled(bool enable) {
    const std::lock_guard control(controlMutex);
    if (enable == enabled) return;
    if (enable) {
        startSelected();
    } else {
        stopRunning();
    }
    enabled = enable;
}

void LOutput::startSelected() {
    switch (rowOf(deviceIndex)) {
        case Row::card:
            startDeckLinkLocked();
            break;
        case Row::ndi:
            startNDILocked();
            break;
        case Row::vtp:
            startVTPLocked();
            break;
        case Row::none:
            break;
    }
}

void LOutput::stopRunning() {
    stopNDILocked();
    stopVTPLocked();
    stopDeckLinkLocked();
}

bool LOutput::startNDI() {
    const std::lock_guard control(controlMutex);
    return startNDILocked();
}

void LOutput::stopNDI() {
    const std::lock_guard control(controlMutex);
    stopNDILocked();
}

bool LOutput::startVTP() {
    const std::lock_guard control(controlMutex);
    return startVTPLocked();
}

void LOutput::stopVTP() {
    const std::lock_guard control(controlMutex);
    stopVTPLocked();
}

bool LOutput::startDeckLink() {
    const std::lock_guard control(controlMutex);
    return startDeckLinkLocked();
}

void LOutput::stopDeckLink() {
    const std::lock_guard control(controlMutex);
    stopDeckLinkLocked();
}

bool LOutput::runs(OutputDeviceKind kind) const {
    return device && device->kind() == kind;
}

bool LOutput::startNDILocked() {
    if (device) return runs(OutputDeviceKind::ndi);
    std::unique_ptr<OutputDevice> started = quol::NdiOutput::start(streamName);
    if (!started || !run(std::move(started))) return false;
    quol::logOut("[LOutput] NDI Started successfully! Name: %s", streamName.c_str());
    return true;
}

void LOutput::stopNDILocked() {
    if (!runs(OutputDeviceKind::ndi)) return;
    stopWorkers();
    dropQueue();
    device.reset();
    quol::logOut("[LOutput] NDI Stopped.");
}

bool LOutput::startVTPLocked() {
    if (device) return runs(OutputDeviceKind::vtp);
    if (streamName == quol::ndiStreamName) streamName = quol::vtpStreamName;
    std::unique_ptr<quol::VtpOutput> started =
        quol::VtpOutput::start(streamName, settingsNow(), {vtpInterface, vtpSecret, vtpPort});
    if (!started) return false;
    const unsigned port = vtpPort = started->port();
    if (!run(std::move(started))) return false;
    quol::logOut("[LOutput] VTP Started successfully! Name: %s on port %u", streamName.c_str(),
                 port);
    return true;
}

void LOutput::stopVTPLocked() {
    if (!runs(OutputDeviceKind::vtp)) return;
    stopWorkers();
    dropQueue();
    device.reset();
    quol::logOut("[LOutput] VTP Stopped.");
}

bool LOutput::startDeckLinkLocked() {
    if (device) return runs(OutputDeviceKind::deckLink);
    if (rowOf(deviceIndex) != Row::card) return false;
    auto output = quol::decklink::query<quol::decklink::IDeckLinkOutput>(
        cards->cards[static_cast<std::size_t>(deviceIndex)]);
    if (!output) {
        quol::logError("Failed to get IDeckLinkOutput!");
        return false;
    }
    connectCard();
    const quol::decklink::DisplayMode* const mode = cards->mode(formatIndex);
    if (mode == nullptr) {
        quol::logError("Invalid format index for DeckLink!");
        return false;
    }
    takeFormat(quol::formatOf(*mode)); // the modes may have been counted after the format was set
    auto card = std::make_unique<quol::DeckLinkOutput>(std::move(output));
    if (!card->enable(mode->mode->GetDisplayMode(), settingsNow().timecode)) {
        // The card stays taken, without workers, until it is stopped.
        device = std::move(card);
        setAccepting(true);
        return false;
    }
    if (!run(std::move(card))) return false;
    quol::logOut("[LOutput] DeckLink Output started.");
    return true;
}

void LOutput::stopDeckLinkLocked() {
    if (!cardRuns()) return;
    stopWorkers();
    device.reset();
    quol::logOut("[LOutput] DeckLink Output stopped.");
}

bool LOutput::cardRuns() const {
    return runs(OutputDeviceKind::deckLink);
}

// Before the card is switched on.
void LOutput::connectCard() {
    readLines(deviceIndex);
    const std::string* const line = cards->line(channelIndex);
    if (line == nullptr) return;
    if (connect(*line)) {
        quol::logOut("[LOutput] DeckLink Output Connection Set To: %s", line->c_str());
    } else {
        quol::logError("[LOutput] Warning: Failed to set output connection!");
    }
}

// While the card is on.
void LOutput::reconnectCard() {
    readLines(deviceIndex);
    const std::string* const line = cards->line(channelIndex);
    if (line == nullptr || !connect(*line)) return;
    quol::logOut("[LOutput] DeckLink Output Connection Changed To: %s", line->c_str());
}

// Makes a connector of the selected card its output.
bool LOutput::connect(const std::string& line) {
    const auto result = quol::decklink::setConnection(
        cards->cards[static_cast<std::size_t>(deviceIndex)].get(),
        quol::decklink::BMDDeckLinkVideoOutputConnections, quol::decklink::outputConnection(line));
    return result && quol::decklink::succeeded(*result);
}

bool LOutput::run(std::unique_ptr<OutputDevice> started) {
    device = std::move(started);
    if (!startWorkers()) return false;
    setAccepting(true);
    return true;
}

// False, and no device any more, when the machine has no thread to give.
bool LOutput::startWorkers() {
    sound->clear(); // what is left of an earlier run belongs to no picture of this one
    audioSleeper->reset();
    {
        const std::lock_guard lock(queueMutex);
        videoRunning = true;
    }
    audioRunning = true;
    try {
        videoThread = std::thread(&LOutput::outputLoop, this);
        audioThread = std::thread(&LOutput::audioLoop, this);
    } catch (const std::exception& error) { // no thread, or no memory for one
        quol::logError("[LOutput] No thread: %s", error.what());
        stopWorkers();
        device.reset();
        return false;
    }
    return true;
}

// Pictures are refused from the first moment on, so the ones that wait come to an end however fast
// the source pushes. Harmless without workers.
void LOutput::stopWorkers() {
    {
        const std::lock_guard lock(queueMutex);
        accepting = false;
        videoRunning = false;
    }
    audioRunning = false;
    queueFilled.notify_all();
    audioSleeper->wake();
    if (videoThread.joinable()) videoThread.join();
    if (audioThread.joinable()) audioThread.join();
}

void LOutput::setAccepting(bool accept) {
    const std::lock_guard lock(queueMutex);
    accepting = accept;
}

void LOutput::dropQueue() {
    const std::lock_guard lock(queueMutex);
    queue.clear();
}
