// The output's tables and settings, on host threads.
#include "quolsdk/LOutput.h"

#include "core/Clock.h"
#include "core/Log.h"
#include "core/ModeTables.h"
#include "core/Props.h"
#include "outputs/OutputCards.h"
#include "outputs/OutputDevice.h"
#include "outputs/OutputFormats.h"
#include "outputs/OutputSettings.h"
#include "outputs/OutputSound.h"
#include "quolsdk/LObject.h"

namespace {

// What the property says; any other text leaves the colour as it is.
void readColor(const std::string& value, quol::OutputColor& color) {
    if (value == "BGRA") color = quol::OutputColor::bgra;
    if (value == "UYVY") color = quol::OutputColor::uyvy;
}

void readQuality(const std::string& value, int& flags) {
    if (value == "bilinear") flags = SWS_BILINEAR;
    if (value == "bicubic") flags = SWS_BICUBIC;
    if (value == "lanczos") flags = SWS_LANCZOS;
}

// A format of a table says nothing about pixels: the caller's stay.
void writeFormat(const videoFormatProps& row, videoFormatProps& format) {
    const std::int32_t pixelFormat = format.pixelFormat;
    format = row;
    format.pixelFormat = pixelFormat;
}

} // namespace

LOutput::LOutput()
    : cards(std::make_unique<quol::OutputCards>()),
      settings(std::make_unique<quol::OutputSettings>()),
      sound(std::make_unique<quol::OutputSound>()),
      audioSleeper(std::make_unique<quol::Sleeper>()) {
    shown.width = settings->width;
    shown.height = settings->height;
    shown.frameRate = settings->rate;
    shown.audioRate = quol::outputSampleRate;
    shown.audioChannels = 2;
}

LOutput::~LOutput() {
    {
        const std::lock_guard control(controlMutex);
        stopRunning();
    }
    const std::lock_guard attaching(sourceMutex);
    if (source != nullptr) source->removeSink(this);
}

void LOutput::setSource(LObject* newSource) {
    const std::lock_guard attaching(sourceMutex);
    if (source != nullptr) source->removeSink(this);
    source = nullptr;
    if (newSource != nullptr) newSource->addSink(this); // without memory it raises
    source = newSource;
}

LOutput::Row LOutput::rowOf(int index) const {
    if (cards->has(index)) return Row::card;
    if (index == cards->count()) return Row::ndi;
    if (index == cards->count() + 1) return Row::vtp;
    return Row::none;
}

void LOutput::setDevice(int index) {
    const std::lock_guard control(controlMutex);
    if (index == deviceIndex) return;
    const bool wasEnabled = enabled;
    stopRunning();
    enabled = false;
    deviceIndex = index;
    refreshStats();
    quol::logOut("[LOutput] Device set to index: %d", index);
    const Row row = rowOf(index);
    if (row == Row::vtp && streamName == quol::ndiStreamName) streamName = quol::vtpStreamName;
    if (row == Row::ndi && streamName == quol::vtpStreamName) streamName = quol::ndiStreamName;
    if (!wasEnabled) return;
    startSelected();
    enabled = true;
}

void LOutput::DeviceGetCount(int& count) {
    const std::lock_guard control(controlMutex);
    cards->cards.clear();
    cards->cards = quol::decklink::cardsWith<quol::decklink::IDeckLinkOutput>();
    refreshStats();
    count = cards->count() + 2;
}

void LOutput::DeviceGetByIndex(int index, std::string& name, std::string& description) {
    const std::lock_guard control(controlMutex);
    name.clear();
    description.clear();
    switch (rowOf(index)) {
        case Row::card:
            name = quol::decklink::modelName(cards->cards[static_cast<std::size_t>(index)].get());
            break;
        case Row::ndi:
            name = "NDI Output";
            description = "Network Device Interface";
            break;
        case Row::vtp:
            name = "VTP Output";
            description = "Video Transmission Protocol";
            break;
        case Row::none:
            break;
    }
}

void LOutput::DeviceChannelGetCount(int device, int& count) {
    const std::lock_guard control(controlMutex);
    const Row row = rowOf(device);
    count = row == Row::none ? 0 : 1;
    if (row != Row::card) return;
    readLines(device);
    count = static_cast<int>(cards->lines.size());
}

void LOutput::DeviceChannelGetByIndex(int device, int channel, std::string& name,
                                      std::string& description) {
    const std::lock_guard control(controlMutex);
    name.clear();
    description.clear();
    const Row row = rowOf(device);
    if (row == Row::card) {
        readLines(device);
        const std::string* const line = cards->line(channel);
        if (line == nullptr) return;
        name = *line;
        description = *line + " Output Port";
    } else if (row != Row::none && channel == 0) {
        name = "Auto";
        description = "Auto Channel";
    }
}

void LOutput::DeviceChannelSet(int channel) {
    const std::lock_guard control(controlMutex);
    channelIndex = channel;
    quol::logOut("[LOutput] Channel set to index: %d", channel);
    if (cardRuns() && rowOf(deviceIndex) == Row::card) reconnectCard();
}

void LOutput::updateDeckLinkLines(int device) {
    const std::lock_guard control(controlMutex);
    readLines(device);
}

// Nothing for what is no card.
void LOutput::readLines(int card) {
    cards->lines.clear();
    if (!cards->has(card)) return;
    cards->lines = quol::decklink::connectorLines(
        cards->cards[static_cast<std::size_t>(card)].get(),
        quol::decklink::BMDDeckLinkVideoOutputConnections, "Default");
}

void LOutput::DeviceFormatVideoGetCount(int device, int /*channel*/, int& count) {
    const std::lock_guard control(controlMutex);
    const Row row = rowOf(device);
    count = row == Row::none ? 0 : quol::offeredOutputFormats;
    if (row != Row::card) return;
    const auto output = quol::decklink::query<quol::decklink::IDeckLinkOutput>(
        cards->cards[static_cast<std::size_t>(device)]);
    cards->modes.clear();
    cards->modes = quol::decklink::displayModes(output.get());
    count = 0;
    for (const quol::decklink::DisplayMode& mode : cards->modes) {
        quol::logOut("[LOutput DEBUG] Mode %d: %s (%dx%d)", count++, mode.name.c_str(),
                     mode.size.width, mode.size.height);
    }
    refreshStats();
}

void LOutput::DeviceFormatVideoGetByIndex(int device, int /*channel*/, int index, std::string& name,
                                          videoFormatProps& format) {
    const std::lock_guard control(controlMutex);
    const Row row = rowOf(device);
    if (row == Row::none) return;
    if (row != Row::card) {
        const quol::OutputFormat found = quol::outputFormat(index);
        name = found.name;
        writeFormat(found.props, format);
        return;
    }
    const quol::decklink::DisplayMode* const mode = cards->mode(index);
    if (mode == nullptr) return;
    name = mode->name;
    writeFormat(quol::formatOf(*mode), format);
}

void LOutput::DeviceFormatVideoSet(int index) {
    const std::lock_guard control(controlMutex);
    formatIndex = index;
    if (rowOf(deviceIndex) == Row::card) {
        setCardFormat(index);
    } else {
        setNetworkFormat(index);
    }
}

// A device that has to be started anew is stopped before the size changes: what still waits goes
// out in the size the device was started with.
void LOutput::setCardFormat(int index) {
    const quol::OutputSettings before = settingsNow();
    videoFormatProps format{quol::modeCustom, before.width, before.height, before.rate, 0};
    if (const quol::decklink::DisplayMode* const mode = cards->mode(index))
        format = quol::formatOf(*mode);
    quol::logOut("[LOutput] Video Format set to: %dx%d @ %g FPS", format.width, format.height,
                 format.fps);
    const bool restart = cardRuns();
    if (restart) {
        quol::logOut("[LOutput] Format changed while running. Restarting DeckLink...");
        stopDeckLinkLocked();
    }
    takeFormat(format);
    if (restart) startDeckLinkLocked();
}

void LOutput::setNetworkFormat(int index) {
    const videoFormatProps format = quol::outputFormat(index).props;
    quol::logOut("[LOutput] Video Format set to: %dx%d @ %g FPS", format.width, format.height,
                 format.fps);
    const bool restart = rowOf(deviceIndex) == Row::vtp && runs(quol::OutputDeviceKind::vtp);
    if (restart) {
        quol::logOut("[LOutput] VTP Format changed while running. Restarting VTP...");
        stopVTPLocked();
    }
    takeFormat(format);
    if (restart) startVTPLocked();
}

void LOutput::takeFormat(const videoFormatProps& format) {
    changeSettings([&](quol::OutputSettings& changed) {
        changed.width = format.width;
        changed.height = format.height;
        changed.rate = format.fps;
        ++changed.scalerAge;
    });
    refreshStats();
}

void LOutput::DeviceFormatAudioSet(const audioFormatProps& format) {
    audioFormatProps expanded = format;
    quol::expandAudioFormat(expanded);
    {
        const std::lock_guard lock(settingsMutex);
        shown.audioRate = expanded.sampleRate;
        shown.audioChannels = expanded.channels;
    }
    sound->setRate(expanded.sampleRate);
    quol::logOut("[LOutput] Audio Format set to: %dHz, %dCH", expanded.sampleRate,
                 expanded.channels);
}

void LOutput::setProps(const std::string& key, const std::string& value) {
    if (key == "enabled") {
        setEnabled(quol::parseBool(value));
    } else if (key == "audio_gain") {
        sound->setGain(quol::parseFloat(value) / 100);
    } else if (key == "NDI.color_format") {
        changeSettings([&](quol::OutputSettings& changed) {
            readColor(value, changed.ndiColor);
            ++changed.scalerAge;
        });
    } else if (key == "DeckLink.color_format") {
        changeSettings(
            [&](quol::OutputSettings& changed) { readColor(value, changed.deckLinkColor); });
    } else if (key == "scaling_quality") {
        changeSettings(
            [&](quol::OutputSettings& changed) { readQuality(value, changed.scalingFlags); });
    } else if (key == "timecode") {
        changeSettings(
            [&](quol::OutputSettings& changed) { changed.timecode = quol::parseBool(value); });
    } else {
        setText(key, value);
    }
}

void LOutput::setText(const std::string& key, const std::string& value) {
    const std::lock_guard control(controlMutex);
    if (key == "stream_name") streamName = value;
    if (key == "timecode_format") timecodeFormat = value;
    if (key == "vtp_interface") vtpInterface = value;
    if (key == "vtp_secret") vtpSecret = value;
}

void LOutput::changeSettings(const std::function<void(quol::OutputSettings&)>& change) {
    const std::lock_guard lock(settingsMutex);
    change(*settings);
}

quol::OutputSettings LOutput::settingsNow() {
    const std::lock_guard lock(settingsMutex);
    return *settings;
}

// What a selected card will show counts more than what was set.
void LOutput::refreshStats() {
    const quol::decklink::DisplayMode* const mode =
        rowOf(deviceIndex) == Row::card ? cards->mode(formatIndex) : nullptr;
    const std::lock_guard lock(settingsMutex);
    shown.width = mode != nullptr ? mode->size.width : settings->width;
    shown.height = mode != nullptr ? mode->size.height : settings->height;
    shown.frameRate = mode != nullptr ? mode->size.frameRate : settings->rate;
}

void LOutput::getStats(OutputStats& stats) {
    {
        const std::lock_guard lock(settingsMutex);
        stats = shown;
    }
    {
        const std::lock_guard lock(queueMutex);
        stats.framesQueued = static_cast<std::int32_t>(queue.size());
    }
    stats.framesDropped = static_cast<std::int32_t>(framesDropped.load());
    stats.framesSent = static_cast<std::int32_t>(framesSent.load());
}
