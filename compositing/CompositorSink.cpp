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
    picture_.put(frame);
}

void CompositorSink::pushAudioFrame(AVFrame* frame) {
    sound_.push(frame);
}

void CompositorSink::flush() {
    sound_.clear();
    picture_.clear();
}

FramePtr CompositorSink::newestFrame() {
    if (pullSource_ != nullptr && pullSource_->canPullRender()) {
        FramePtr rendered(pullSource_->renderVideoFrame());
        if (rendered) return rendered;
    }
    return picture_.newest(steadyNow() - freshNanos);
}

} // namespace quol
