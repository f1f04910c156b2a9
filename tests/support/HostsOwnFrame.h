// Frames that lie in a host's own memory.
#pragma once

#include <algorithm>

#include "core/Handles.h"

namespace test {

// A record that shows another frame's data, to which no references are counted. It must not outlive
// that frame.
inline quol::FramePtr hostsOwn(const AVFrame& frame) {
    quol::FramePtr own = quol::makeFrame();
    own->format = frame.format;
    own->width = frame.width;
    own->height = frame.height;
    own->nb_samples = frame.nb_samples;
    own->sample_rate = frame.sample_rate;
    own->pts = frame.pts;
    own->time_base = frame.time_base;
    av_channel_layout_copy(&own->ch_layout, &frame.ch_layout);
    std::copy_n(frame.data, AV_NUM_DATA_POINTERS, own->data);
    std::copy_n(frame.linesize, AV_NUM_DATA_POINTERS, own->linesize);
    return own;
}

} // namespace test
