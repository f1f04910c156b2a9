#include "support/RunningOutput.h"

#include <cstring>

#include "support/CollectingSink.h"

extern "C" {
#include <libavutil/imgutils.h>
}

namespace test {

OutputStats statsOf(LOutput& output) {
    OutputStats stats;
    output.getStats(stats);
    return stats;
}

bool waitForSent(LOutput& output, int count) {
    return waitUntil([&] { return statsOf(output).framesSent >= count; });
}

quol::FramePtr levelPicture(int level, int width, int height) {
    quol::FramePtr frame = quol::makeFrame();
    frame->width = width;
    frame->height = height;
    frame->format = AV_PIX_FMT_UYVY422;
    if (av_frame_get_buffer(frame.get(), 32) < 0) return nullptr;
    std::memset(frame->data[0], level, static_cast<std::size_t>(frame->linesize[0]) * height);
    return frame;
}

std::vector<std::uint8_t> convertedAlone(const AVFrame& frame, int width, int height,
                                         AVPixelFormat format, int flags) {
    const int rowBytes = av_image_get_linesize(format, width, 0);
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(rowBytes) * height);
    const quol::SwsPtr scaler(sws_getContext(frame.width, frame.height,
                                             static_cast<AVPixelFormat>(frame.format), width,
                                             height, format, flags, nullptr, nullptr, nullptr));
    std::uint8_t* const planes[4] = {bytes.data(), nullptr, nullptr, nullptr};
    const int strides[4] = {rowBytes, 0, 0, 0};
    sws_scale(scaler.get(), frame.data, frame.linesize, 0, frame.height, planes, strides);
    return bytes;
}

} // namespace test
