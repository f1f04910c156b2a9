#include "quolsdk/LObject.h"

#include <algorithm>

#include "core/HadMemory.h"
#include "core/Handles.h"
#include "core/Log.h"
#include "core/Timecode.h"
#include "quolsdk/LSink.h"

namespace {

// Every sink has its turn: where memory runs short within one of them, what was pushed is lost for
// that sink alone.
template <typename Call>
void forEachSink(const std::vector<LSink*>& sinks, const Call& call) {
    for (LSink* sink : sinks) {
        if (sink != nullptr) quol::hadMemory([&] { call(*sink); });
    }
}

} // namespace

LObject::~LObject() {
    clearFrameQueue();
}

void LObject::addSink(LSink* sink) {
    const std::lock_guard lock(sinksMutex);
    quol::logOut("[LObject] addSink this=%p sink=%p", quol::address(this), quol::address(sink));
    sinks.push_back(sink);
}

void LObject::removeSink(LSink* sink) {
    const std::lock_guard lock(sinksMutex);
    quol::logOut("[LObject] removeSink this=%p sink=%p", quol::address(this), quol::address(sink));
    const auto entry = std::find(sinks.begin(), sinks.end(), sink);
    if (entry == sinks.end()) {
        quol::logOut("[LObject] removeSink FAILED: sink not found!");
        return;
    }
    sinks.erase(entry);
    quol::logOut("[LObject] removeSink success!");
}

std::string LObject::getTimeCode() {
    return quol::noTimecode;
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
        forEachSink(sinks, [frame](LSink& sink) { sink.pushVideoFrame(frame); });
        return;
    }
    quol::FramePtr clone = quol::cloneFrame(frame);
    if (!clone) return;
    const std::lock_guard queueLock(frameQueueMutex);
    if (!quol::hadMemory([&] { frameQueue.push_back(clone.get()); })) return;
    clone.release();
    if (frameQueue.size() > maxQueuedFrames) {
        const quol::FramePtr oldest(frameQueue.front());
        frameQueue.pop_front();
    }
}

void LObject::distributeAudioFrame(AVFrame* frame) {
    if (frame == nullptr) return;
    const std::lock_guard lock(sinksMutex);
    forEachSink(sinks, [frame](LSink& sink) { sink.pushAudioFrame(frame); });
}

void LObject::flushSinks() {
    const std::lock_guard lock(sinksMutex);
    forEachSink(sinks, [](LSink& sink) { sink.flush(); });
}

void LObject::setSinksPaused(bool paused) {
    const std::lock_guard lock(sinksMutex);
    forEachSink(sinks, [paused](LSink& sink) { sink.setPaused(paused); });
}

// One by one: a second queue would take memory, and the destructor has to do without.
void LObject::clearFrameQueue() {
    for (std::size_t left = queuedFrames(); left > 0; --left) {
        quol::FramePtr oldest; // freed behind the lock
        const std::lock_guard lock(frameQueueMutex);
        if (frameQueue.empty()) return;
        oldest.reset(frameQueue.front());
        frameQueue.pop_front();
    }
}

std::size_t LObject::queuedFrames() {
    const std::lock_guard lock(frameQueueMutex);
    return frameQueue.size();
}
