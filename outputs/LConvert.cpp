// The converter's operations on host threads.
#include "quolsdk/LConvert.h"

#include <exception>

#include "core/Log.h"
#include "core/ModeTables.h"
#include "outputs/ConvertInput.h"
#include "outputs/ConvertOutput.h"
#include "outputs/ConvertSettings.h"

LConvert::LConvert()
    : settings(std::make_unique<quol::ConvertSettings>()),
      job(std::make_unique<quol::ConvertSettings>()),
      input(std::make_unique<quol::ConvertInput>()) {}

LConvert::~LConvert() {
    Stop();
}

void LConvert::setContainer(const std::string& name) {
    const std::lock_guard lock(settingsMutex);
    settings->container = name;
}

void LConvert::setVideoCodec(const std::string& name) {
    const std::lock_guard lock(settingsMutex);
    settings->videoCodec = name;
}

void LConvert::setAudioCodec(const std::string& name) {
    const std::lock_guard lock(settingsMutex);
    settings->audioCodec = name;
}

void LConvert::setVideoBitrate(int kbps) {
    const std::lock_guard lock(settingsMutex);
    settings->videoBitrate = kbps;
}

void LConvert::setAudioBitrate(int kbps) {
    const std::lock_guard lock(settingsMutex);
    settings->audioBitrate = kbps;
}

void LConvert::setVideoFormat(const videoFormatProps& format) {
    const std::lock_guard lock(settingsMutex);
    settings->videoFormat = format;
    quol::expandVideoFormat(settings->videoFormat);
}

void LConvert::getVideoFormat(videoFormatProps& format) {
    const std::lock_guard lock(settingsMutex);
    format = settings->videoFormat;
}

void LConvert::setAudioFormat(const audioFormatProps& format) {
    const std::lock_guard lock(settingsMutex);
    settings->audioFormat = format;
    quol::expandAudioFormat(settings->audioFormat);
}

void LConvert::getAudioFormat(audioFormatProps& format) {
    const std::lock_guard lock(settingsMutex);
    format = settings->audioFormat;
}

void LConvert::setFilePath(const std::string& path) {
    const std::lock_guard lock(settingsMutex);
    settings->filePath = path;
}

void LConvert::addInputFile(const std::string& path) {
    const std::lock_guard lock(settingsMutex);
    settings->inputFiles.push_back(path);
}

void LConvert::removeInputFile(const std::string& path) {
    const std::lock_guard lock(settingsMutex);
    std::erase(settings->inputFiles, path);
}

void LConvert::clearInputFiles() {
    const std::lock_guard lock(settingsMutex);
    settings->inputFiles.clear();
}

void LConvert::setProps(const std::string& key, const std::string& value) {
    if (key != "preset" && key != "tune" && key != "g" && key != "bf") return;
    const std::lock_guard lock(settingsMutex);
    settings->options[key] = value;
}

bool LConvert::Start() {
    const std::lock_guard control(controlMutex);
    if (running) return false;
    {
        const std::lock_guard lock(settingsMutex);
        if (settings->filePath.empty() || settings->inputFiles.empty()) return false;
        if (thread.joinable()) thread.join(); // it has come to its end
        *job = *settings;
    }
    input->interrupt(false);
    stopping = false;
    progress = 0.0;
    running = true;
    status = 1;
    try {
        thread = std::thread(&LConvert::convertLoop, this);
    } catch (const std::exception& error) { // no thread to be had, or no memory for one
        quol::logError("LConvert: Could not start: %s", error.what());
        status = 0;
        running = false;
        return false;
    }
    return true;
}

void LConvert::Stop() {
    const std::lock_guard control(controlMutex);
    stopping = true;
    input->interrupt(true);
    if (thread.joinable()) thread.join();
}

void LConvert::statusGet(int& result) {
    result = status;
}

std::vector<std::string> LConvert::getAvailableContainers() {
    return quol::availableContainers();
}

std::vector<std::string> LConvert::getAvailableVideoCodecs(const std::string& container) {
    return quol::availableEncoders(container, AVMEDIA_TYPE_VIDEO);
}

std::vector<std::string> LConvert::getAvailableAudioCodecs(const std::string& container) {
    return quol::availableEncoders(container, AVMEDIA_TYPE_AUDIO);
}
