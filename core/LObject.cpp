#include "quolsdk/LObject.h"

#include <algorithm>

#include "core/Handles.h"
#include "core/Log.h"
#include "quolsdk/LSink.h"

LObject::~LObject() {
    clearFrameQueue();
}

void LObject::addSink(LSink* sink) {
    const std::lock_guard lock(sinksMutex);
    quol::logOut("[LObject] addSink this=%p sink=%p", static_cast<void*>(this),
                 static_cast<void*>(sink));
    sinks.push_back(sink);
}

void LObject::removeSink(LSink* sink) {
    const std::lock_guard lock(sinksMutex);
    quol::logOut("[LObject] removeSink this=%p sink=%p", static_cast<void*>(this),
                 static_cast<void*>(sink));
    const auto entry = std::find(sinks.begin(), sinks.end(), sink);
    if (entry == sinks.end()) {
        quol::logOut("[LObject] removeSink FAILED: sink not found!");
        return;
    }
    sinks.erase(entry);
    quol::logOut("[LObject] removeSink success!");
}

std::string LObject::getTimeCode() {
    return "00:00:00:00";
}

bool LObject::canPullRender() const {
    return false;
}

AVFrame* LObject::renderVideoFrame() {
    return nullptr;
}

void LObject::addPullConsumer() {}

void LObject::removePullConsumer() {}

void LObject::statusGet(int& status) {
    status = 0;
}

double LObject::getFPS() {
    return 25.0;
}

int LObject::getWidth() {
    return 0;
}

int LObject::getHeight() {
    return 0;
}

std::string LObject::getModeName() {
    return "Default";
}

void LObject::distributeVideoFrame(AVFrame* frame) {
    if (frame == nullptr) return;
    const std::lock_guard lock(sinksMutex);
    if (!sinks.empty()) {
        for (LSink* sink : sinks) {
            if (sink != nullptr) sink->pushVideoFrame(frame);
        }
        return;
    }
    quol::FramePtr clone = quol::cloneFrame(frame);
    if (!clone) return;
    const std::lock_guard queueLock(frameQueueMutex);
    frameQueue.push_back(clone.get());
    clone.release();
    if (frameQueue.size() > maxQueuedFrames) {
        const quol::FramePtr oldest(frameQueue.front());
        frameQueue.pop_front();
    }
}

void LObject::distributeAudioFrame(AVFrame* frame) {
    if (frame == nullptr) return;
    const std::lock_guard lock(sinksMutex);
    for (LSink* sink : sinks) {
        if (sink != nullptr) sink->pushAudioFrame(frame);
    }
}

void LObject::flushSinks() {
    const std::lock_guard lock(sinksMutex);
    for (LSink* sink : sinks) {
        if (sink != nullptr) sink->flush();
    }
}

void LObject::setSinksPaused(bool paused) {
    const std::lock_guard lock(sinksMutex);
    for (LSink* sink : sinks) {
        if (sink != nullptr) sink->setPaused(paused);
    }
}

void LObject::clearFrameQueue() {
    std::deque<AVFrame*> frames;
    {
        const std::lock_guard lock(frameQueueMutex);
        frames.swap(frameQueue);
    }
    for (AVFrame* frame : frames) {
        const quol::FramePtr owned(frame);
    }
}

std::size_t LObject::queuedFrames() {
    const std::lock_guard lock(frameQueueMutex);
    return frameQueue.size();
}
