#include "graphics/OutputFrames.h"

#include <cstring>

namespace quol {

namespace {

// Pictures kept for use again: the current one, the next, and what consumers hold for a while.
constexpr std::size_t mostSlots = 4;

std::uint8_t* sampleAt(const AVFrame& frame, int plane, int row, int column) {
    return frame.data[plane] + static_cast<std::ptrdiff_t>(row) * frame.linesize[plane] + column;
}

// A part of a planar 4:2:0 picture with alpha, all edges even.
void copyPart(const AVFrame& from, AVFrame& to, const PixelRect& part) {
    for (int plane = 0; plane < 4; ++plane) {
        const int shift = plane == 1 || plane == 2 ? 1 : 0;
        const int left = part.left >> shift;
        const auto length = static_cast<std::size_t>(part.width() >> shift);
        for (int row = part.top >> shift; row < part.bottom >> shift; ++row)
            std::memcpy(sampleAt(to, plane, row, left), sampleAt(from, plane, row, left), length);
    }
}

} // namespace

const AVFrame* OutputFrames::current() const {
    return current_ != none ? slots_[current_].frame.get() : nullptr;
}

// A slot that nobody else holds the picture of, or a new one.
OutputFrames::Slot* OutputFrames::freeSlot() {
    for (std::size_t i = 0; i < slots_.size(); ++i) {
        if (i != current_ && av_frame_is_writable(slots_[i].frame.get()) > 0) return &slots_[i];
    }
    Slot made{pool_.get(canvas_.width(), canvas_.height(), AV_PIX_FMT_YUVA420P),
              DirtyRegion(canvas_)};
    if (!made.frame) return nullptr;
    made.stale.add(canvas_);
    if (slots_.size() < mostSlots) {
        slots_.push_back(std::move(made));
        return &slots_.back();
    }
    // All are held elsewhere; the place of any but the current one will do.
    Slot& given = slots_[current_ == 0 ? 1 : 0];
    given = std::move(made);
    return &given;
}

AVFrame* OutputFrames::next(const std::vector<PixelRect>& changes) {
    Slot* const slot = freeSlot();
    if (slot == nullptr) return nullptr;
    next_ = static_cast<std::size_t>(slot - slots_.data());
    if (current() != nullptr) {
        for (const PixelRect& rect : slot->stale.rects())
            copyPart(*current(), *slot->frame, rect);
        slot->stale.clear();
    }
    for (Slot& other : slots_) {
        if (&other == slot) continue;
        for (const PixelRect& rect : changes)
            other.stale.add(rect);
    }
    return slot->frame.get();
}

void OutputFrames::makeCurrent() {
    current_ = next_;
}

} // namespace quol
