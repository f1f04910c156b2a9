#include "core/SoundBlock.h"

#include <cstring>

namespace quol {

FramePtr makeSilentBlock(int samples, int sampleRate) {
    FramePtr frame = makeFrame();
    if (!frame || samples < 1) return nullptr;
    frame->format = AV_SAMPLE_FMT_S16;
    frame->nb_samples = samples;
    frame->sample_rate = sampleRate;
    av_channel_layout_default(&frame->ch_layout, 2);
    if (av_frame_get_buffer(frame.get(), 0) < 0) return nullptr;
    std::memset(frame->data[0], 0, static_cast<std::size_t>(samples) * 2 * sizeof(std::int16_t));
    return frame;
}

} // namespace quol
