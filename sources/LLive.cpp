#include "quolsdk/LLive.h"

#include <chrono>
#include <cinttypes>
#include <exception>

#include "core/Log.h"
#include "core/ModeTables.h"
#include "core/Props.h"
#include "core/Timecode.h"
#include "sources/DeckLinkInputCallback.h"
#include "sources/LiveDeckLink.h"
#include "sources/LiveDevices.h"
#include "sources/LiveHub.h"
#include "sources/LiveTestRun.h"

namespace {

constexpr int fullBandwidth = quol::ndi::bandwidth_highest;
constexpr int lowBandwidth = quol::ndi::bandwidth_lowest;

} // namespace

LLive::LLive()
    : hub(std::make_unique<quol::LiveHub>(
          quol::LiveOutlets{[this](AVFrame* frame) { distributeVideoFrame(frame); },
                            [this](AVFrame* frame) { distributeAudioFrame(frame); },
                            [this](const quol::AudioPeak& peak) {
                                audioPeakLeft = peak.left;
                                audioPeakRight = peak.right;
                            }})),
      devices(std::make_unique<quol::LiveDevices>()),
      callback(quol::DeckLinkInputCallback::make().release()) {}

LLive::~LLive() {
    Stop();
    callback->close();
    callback->Release();
}

void LLive::DeviceGetCount(int& count) {
    count = devices->DeviceGetCount();
}

void LLive::DeviceGetByIndex(int index, std::string& name, std::string& description) {
    devices->DeviceGetByIndex(index, name, description);
}

void LLive::DeviceSet(int index) {
    devices->DeviceSet(index);
}

void LLive::DeviceChannelGetCount(int device, int& count) {
    count = devices->DeviceChannelGetCount(device);
}

void LLive::DeviceChannelGetByIndex(int device, int channel, std::string& name,
                                    std::string& description) {
    description.clear();
    devices->DeviceChannelGetByIndex(device, channel, name);
}

void LLive::DeviceChannelSet(int channel) {
    devices->DeviceChannelSet(channel);
}

void LLive::DeviceFormatVideoGetCount(int device, int channel, int& count) {
    count = devices->DeviceFormatVideoGetCount(device, channel);
}

void LLive::DeviceFormatVideoGetByIndex(int device, int channel, int index, std::string& name,
                                        videoFormatProps& format) {
    devices->DeviceFormatVideoGetByIndex(device, channel, index, name, format);
}

void LLive::DeviceFormatVideoSet(int index) {
    devices->DeviceFormatVideoSet(index);
}

void LLive::setVideoFormat(const videoFormatProps& format) {
    videoFormatProps expanded = format;
    quol::expandVideoFormat(expanded);
    const std::lock_guard lock(hub->settings.mutex);
    hub->settings.video = expanded;
}

void LLive::getVideoFormat(videoFormatProps& format) {
    format = hub->settings.videoFormat();
}

void LLive::setAudioFormat(const audioFormatProps& format) {
    audioFormatProps expanded = format;
    quol::expandAudioFormat(expanded);
    const std::lock_guard lock(hub->settings.mutex);
    hub->settings.audio = expanded;
}

void LLive::getAudioFormat(audioFormatProps& format) {
    format = hub->settings.audioFormat();
}

void LLive::setVideoFilter(LFilter* filter) {
    const std::lock_guard lock(hub->settings.mutex);
    hub->settings.videoFilter = filter;
}

void LLive::setAudioFilter(LFilter* filter) {
    const std::lock_guard lock(hub->settings.mutex);
    hub->settings.audioFilter = filter;
}

void LLive::setProps(const std::string& key, const std::string& value) {
    quol::LiveSettings& settings = hub->settings;
    if (key == "timecode") {
        settings.timecode = quol::parseBool(value);
    } else if (key == "timecodeSource") {
        settings.timecodeSource = quol::parseInt(value);
    } else if (key == "timecodeStart") {
        settings.timecodeStart = value;
    } else if (key == "ndi_bandwidth") {
        const bool low = value == "lowest" || value == "low";
        settings.ndiBandwidth = low ? lowBandwidth : fullBandwidth;
    } else if (key == "gpu") {
        settings.gpu = quol::parseBool(value);
    } else if (key == "audio_gain") {
        settings.audioGain = quol::parseInt(value);
    } else if (key == "vtp_interface") {
        devices->vtpListener()->setInterface(value);
    } else if (key == "vtp_secret") {
        devices->vtpListener()->setSecret(value);
    }
}

// The origin of the time stamps is set first, so that a restart's old frames are known by it.
bool LLive::Start() {
    const std::lock_guard lock(controlMutex);
    quol::LiveState& state = hub->state;
    state.startTime = quol::steadyNow();
    stopLocked();

    using Kind = quol::LiveKind;
    const quol::LiveChoice choice = devices->choice();
    switch (choice.kind) {
        case Kind::ndi:
            state.detectedFps = quol::defaultFps; // not that of a card that ran before
            return launch(std::make_shared<quol::LiveNdi>(*hub, devices->ndiLibrary(),
                                                          choice.channel, choice.source));
        case Kind::vtp:
            state.detectedFps = quol::defaultFps;
            return launch(std::make_shared<quol::LiveVtp>(
                *hub, devices->vtpListener(), choice.channel, choice.hasSource, choice.source));
        case Kind::test:
            quol::logOut("LLive: Starting Test Signal...");
            return launch(std::make_shared<quol::LiveTestRun>(*hub));
        default:
            return startCard(choice);
    }
}

bool LLive::startCard(const quol::LiveChoice& choice) {
    if (!choice.input) return false;
    quol::logOut("LLive: Starting DeckLink...");
    using namespace quol::decklink;
    const std::uint32_t connection =
        choice.line.empty() ? bmdVideoConnectionSDI : inputConnection(choice.line);
    if (setConnection(choice.card.get(), BMDDeckLinkVideoInputConnections, connection))
        quol::logOut("LLive: Start - Connection Set To: %" PRIu32, connection);
    if (!choice.hasFormat) return false;
    const auto input =
        std::make_shared<quol::LiveDeckLink>(*hub, choice.card, choice.input, choice.format);
    callback->attach(input);
    const std::uint32_t mode = quol::LiveDeckLink::modeCode(choice.mode.get());
    if (!input->start(choice.mode.get(), callback)) {
        callback->detach(std::chrono::milliseconds(0));
        return false;
    }
    if (!launch(input)) return false;
    devices->DeviceFormatVideoSet(choice.format);
    quol::logOut("LLive: DeckLink Started (Mode: %" PRIu32 ").", mode);
    return true;
}

// Under `controlMutex`, with no run in progress.
bool LLive::launch(std::shared_ptr<quol::LiveRun> newRun) {
    hub->state.sleeper.reset();
    hub->state.running = true;
    run = std::move(newRun);
    try {
        thread = std::thread([this] { run->run(); });
    } catch (const std::exception&) { // no thread, or no memory for one
        hub->state.running = false;
        endRun();
        return false;
    }
    return true;
}

// Under `controlMutex`, when `running` is cleared.
void LLive::endRun() {
    constexpr std::chrono::milliseconds longestCall(1000);
    run->end();
    callback->detach(longestCall);
    run->settle();
    if (thread.joinable()) thread.join();
    run.reset();
}

void LLive::Stop() {
    const std::lock_guard lock(controlMutex);
    stopLocked();
}

// A run that has ended by itself is only cleared away.
void LLive::stopLocked() {
    const bool wasRunning = hub->state.running.exchange(false);
    hub->state.sleeper.wake();
    if (!run) return;
    endRun();
    hub->pictures.reset();
    hub->sound.reset();
    if (wasRunning) quol::logOut("LLive: Stopped Safely.");
}

void LLive::statusGet(int& status) {
    status = hub->state.running ? 1 : 0;
}

double LLive::getFPS() {
    return quol::liveFps(hub->settings, hub->state);
}

int LLive::getWidth() {
    return hub->state.detectedWidth;
}

int LLive::getHeight() {
    return hub->state.detectedHeight;
}

std::string LLive::getTimeCode() {
    return hub->settings.timecode ? hub->state.timecode.load() : std::string();
}

std::string LLive::getModeName() {
    return "No Signal";
}
