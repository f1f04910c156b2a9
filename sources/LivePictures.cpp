#include "sources/LivePictures.h"

#include <utility>

#include "core/ModeTables.h"
#include "quolsdk/LFilter.h"
#include "sources/LiveFormats.h"
#include "sources/LiveTimecode.h"

namespace quol {

void LivePictures::processVideoFrame(AVFrame* frame, Contents contents) {
    if (frame == nullptr) return;
    if (frame->pts == AV_NOPTS_VALUE) {
        const double seconds = static_cast<double>(state_.sinceStart()) / 1e9;
        frame->pts = static_cast<std::int64_t>(seconds * 1e6);
        frame->time_base = {1, 1000000};
    }
    std::string text;
    if (!filterText(text)) {
        graph_.reset();
        graphText_.clear();
        processVideoFrameInternal(*frame, contents);
        return;
    }
    build_filters(*frame, text);
    if (!graph_) {
        processVideoFrameInternal(*frame, contents);
        return;
    }
    if (!filtered_) filtered_ = makeFrame();
    if (!filtered_ || !graph_.send(frame)) return;
    while (graph_.receive(*filtered_)) {
        filtered_->time_base = graph_.timeBase();
        processVideoFrameInternal(*filtered_, Contents::moving);
        av_frame_unref(filtered_.get());
    }
}

// False without a filter, and where filtering lies with the consumer.
bool LivePictures::filterText(std::string& text) const {
    if (settings_.gpu) return false;
    const std::lock_guard lock(settings_.mutex);
    if (settings_.videoFilter == nullptr) return false;
    text = settings_.videoFilter->getFilterString();
    return true;
}

// Makes sure of a graph for the text and the form of the picture. A text that no graph can be built
// from is tried once for each form, not for every picture.
void LivePictures::build_filters(const AVFrame& frame, const std::string& text) {
    const Form form{frame.width, frame.height, frame.format};
    const bool stands = graph_ ? graph_.takes(frame) : !text.empty() && form == graphForm_;
    if (text == graphText_ && stands) return;
    graphText_ = text;
    graphForm_ = form;
    const AVRational timeBase = frame.time_base.num >= 1 ? frame.time_base : AVRational{1, 25};
    const AVRational aspect =
        frame.sample_aspect_ratio.num > 0 ? frame.sample_aspect_ratio : AVRational{1, 1};
    graph_.buildVideo({frame.width, frame.height, frame.format, timeBase, aspect}, text, 0);
}

void LivePictures::processVideoFrameInternal(AVFrame& frame, Contents contents) {
    const videoFormatProps wanted = settings_.videoFormat();
    const AVPixelFormat format = liveTargetFormat(wanted.pixelFormat, frame.format);
    if (settings_.timecode) stampTimecode(frame);
    if (settings_.gpu) {
        distributeScaled(frame, frame.width, frame.height, format, contents);
    } else if (wanted.mode != modeNative && wanted.width > 0 && wanted.height > 0) {
        distributeScaled(frame, wanted.width, wanted.height, format, contents);
    } else {
        outlets_.picture(&frame);
    }
}

void LivePictures::stampTimecode(AVFrame& frame) {
    constexpr int wallClock = 0;
    constexpr int fromStart = 2;
    const double fps = liveFps(settings_, state_);
    const int source = settings_.timecodeSource;
    if (source == wallClock) state_.timecode = formatTimecode(wallClockTimecode(fps));
    if (source == fromStart) {
        state_.timecode = runningTimecode(settings_.timecodeStart, state_.sinceStart() / 1000, fps);
    }
    av_dict_set(&frame.metadata, "timecode", state_.timecode.load().c_str(), 0);
}

// The picture itself where it fits, or where it cannot be converted.
void LivePictures::distributeScaled(AVFrame& frame, int width, int height, AVPixelFormat format,
                                    Contents contents) {
    const bool fits = frame.width == width && frame.height == height && frame.format == format;
    const FramePtr picture = fits ? nullptr : scaled(frame, width, height, format, contents);
    if (!picture) {
        outlets_.picture(&frame);
        return;
    }
    picture->pts = frame.pts;
    picture->time_base = frame.time_base;
    av_dict_copy(&picture->metadata, frame.metadata, 0);
    outlets_.picture(picture.get());
}

// Null where it cannot be converted.
FramePtr LivePictures::scaled(AVFrame& frame, int width, int height, AVPixelFormat format,
                              Contents contents) {
    if (contents == Contents::sameAsEver) {
        // Its time is what tells one picture from the next there.
        const std::int64_t time = std::exchange(frame.pts, 0);
        const AVFrame* const kept = still_.get(frame, width, height, format);
        frame.pts = time;
        return kept != nullptr ? cloneFrame(kept) : nullptr;
    }
    FramePtr picture = pool_.get(width, height, format);
    if (picture && !scaler_.scale(frame, *picture, SWS_BILINEAR)) picture.reset();
    return picture;
}

void LivePictures::reset() {
    graph_.reset();
    filtered_.reset();
    graphText_.clear();
    scaler_ = Scaler();
    pool_.clear();
    still_.clear();
}

} // namespace quol
