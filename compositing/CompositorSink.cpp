#include "compositing/CompositorSink.h"

#include "core/Clock.h"
#include "quolsdk/LObject.h"

namespace quol {

CompositorSink::~CompositorSink() {
    if (pullSource_ != nullptr) pullSource_->removePullConsumer();
}

void CompositorSink::pullFrom(LObject* source) {
    if (source == nullptr || !source->canPullRender()) return;
    pullSource_ = source;
    source->addPullConsumer();
}

void CompositorSink::pushVideoFrame(AVFrame* frame) {
    if (pullSource_ != nullptr && pullSource_->canPullRender()) return;
    FramePtr newest = cloneFrame(frame);
    if (!newest) return;
    const std::lock_guard lock(mutex_);
    frame_.swap(newest);
    frameTime_ = steadyNow();
}

void CompositorSink::pushAudioFrame(AVFrame* frame) {
    sound_.push(frame);
}

void CompositorSink::flush() {
    sound_.clear();
    const std::lock_guard lock(mutex_);
    frame_.reset();
}

FramePtr CompositorSink::newestFrame() {
    if (pullSource_ != nullptr && pullSource_->canPullRender()) {
        FramePtr rendered(pullSource_->renderVideoFrame());
        if (rendered) return rendered;
    }
    const std::lock_guard lock(mutex_);
    if (!frame_ || steadyNow() - frameTime_ > freshNanos) return nullptr;
    return cloneFrame(frame_.get());
}

} // namespace quol
