#include "core/SoundBlock.h"

#include <cstring>

namespace quol {

FramePtr makeSoundFrame(AVSampleFormat format, const AVChannelLayout& layout, int samples,
                        int sampleRate) {
    FramePtr frame = makeFrame();
    if (!frame || samples < 1) return nullptr;
    frame->format = format;
    frame->nb_samples = samples;
    frame->sample_rate = sampleRate;
    if (av_channel_layout_copy(&frame->ch_layout, &layout) < 0) return nullptr;
    if (av_frame_get_buffer(frame.get(), 0) < 0) return nullptr;
    return frame;
}

FramePtr makeSilentBlock(int samples, int sampleRate) {
    FramePtr frame =
        makeSoundFrame(AV_SAMPLE_FMT_S16, *ChannelLayout(2).get(), samples, sampleRate);
    if (!frame) return nullptr;
    std::memset(frame->data[0], 0, static_cast<std::size_t>(samples) * 2 * sizeof(std::int16_t));
    return frame;
}

} // namespace quol
