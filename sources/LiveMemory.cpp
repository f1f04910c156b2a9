#include "sources/LiveMemory.h"

#include <cstring>

extern "C" {
#include <libavutil/imgutils.h>
}

namespace quol {

namespace {

bool isPlanar420(AVPixelFormat format) {
    return format == AV_PIX_FMT_YUV420P || format == AV_PIX_FMT_NV12;
}

} // namespace

FramePtr viewPicture(const DevicePicture& picture, std::size_t& bytes) {
    const int tight = av_image_get_linesize(picture.format, picture.width, 0);
    const int stride = picture.stride != 0 ? picture.stride : tight;
    if (picture.data == nullptr || tight < 1 || stride < tight) return nullptr;
    if (av_image_check_size(static_cast<unsigned>(picture.width),
                            static_cast<unsigned>(picture.height), 0, nullptr) < 0)
        return nullptr;
    FramePtr frame = makeFrame();
    if (!frame) return nullptr;
    frame->width = picture.width;
    frame->height = picture.height;
    frame->format = picture.format;

    // Read only by contract; frames know no const.
    auto* plane = const_cast<std::uint8_t*>(picture.data);
    const auto add = [&](int index, int lineSize, int rows) {
        frame->data[index] = plane;
        frame->linesize[index] = lineSize;
        plane += static_cast<std::ptrdiff_t>(lineSize) * rows;
    };
    add(0, stride, picture.height);
    const int chromaRows = (picture.height + 1) / 2;
    if (picture.format == AV_PIX_FMT_NV12) add(1, stride + stride % 2, chromaRows);
    if (picture.format == AV_PIX_FMT_YUV420P) {
        add(1, (stride + 1) / 2, chromaRows);
        add(2, (stride + 1) / 2, chromaRows);
    }
    if (!isPlanar420(picture.format) && av_pix_fmt_count_planes(picture.format) != 1)
        return nullptr;
    bytes = static_cast<std::size_t>(plane - picture.data);
    return frame;
}

bool unpackV210(const std::uint8_t* data, int rowBytes, AVFrame& target) {
    constexpr int samplesInWord = 3;
    const int pairs = (target.width + 1) / 2;
    const std::int64_t words = (static_cast<std::int64_t>(pairs) * 4 + 2) / samplesInWord;
    if (words * 4 > rowBytes) return false;
    const auto rowOf = [&target](int plane, int y) {
        return reinterpret_cast<std::uint16_t*>(
            target.data[plane] + static_cast<std::ptrdiff_t>(y) * target.linesize[plane]);
    };
    for (int y = 0; y < target.height; ++y, data += rowBytes) {
        std::uint16_t* const luma = rowOf(0, y);
        std::uint16_t* const u = rowOf(1, y);
        std::uint16_t* const v = rowOf(2, y);
        // The samples come as U Y V Y, without regard for the words.
        const auto sample = [data](std::ptrdiff_t index) {
            std::uint32_t word = 0;
            std::memcpy(&word, data + index / samplesInWord * 4, sizeof word);
            return static_cast<std::uint16_t>(word >> index % samplesInWord * 10 & 0x3FF);
        };
        for (std::ptrdiff_t pair = 0; pair < pairs; ++pair) {
            u[pair] = sample(pair * 4);
            luma[pair * 2] = sample(pair * 4 + 1);
            v[pair] = sample(pair * 4 + 2);
            if (pair * 2 + 1 < target.width) luma[pair * 2 + 1] = sample(pair * 4 + 3);
        }
    }
    return true;
}

} // namespace quol
