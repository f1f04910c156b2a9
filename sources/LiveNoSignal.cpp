#include "sources/LiveNoSignal.h"

#include <array>

#include "core/Color.h"
#include "core/PicturePool.h"
#include "sources/LivePacked.h"
#include "sources/LiveText.h"

namespace quol {

namespace {

constexpr std::array<YuvLevels, 8> bars{{{235, 128, 128},
                                         {210, 16, 146},
                                         {170, 166, 16},
                                         {145, 54, 34},
                                         {106, 202, 222},
                                         {81, 90, 240},
                                         {41, 240, 110},
                                         {16, 128, 128}}};

YuvLevels dimmed(const YuvLevels& bar) {
    constexpr double share = 0.4;
    const auto chroma = [](int level) {
        return static_cast<std::uint8_t>((level - 128) * share + 128);
    };
    return {static_cast<std::uint8_t>(bar.y * share), chroma(bar.u), chroma(bar.v)};
}

void fillRow(std::uint8_t* row, int width, std::uint8_t luma) {
    for (int x = 0; x < width; ++x)
        setPackedPixel(row, x, luma, 128, 128);
}

void drawBars(const AVFrame& frame) {
    std::uint8_t* row = packedRow(frame, 0);
    for (int x = 0; x < frame.width; ++x) {
        const auto bar = static_cast<std::size_t>(static_cast<std::int64_t>(x) * 8 / frame.width);
        const YuvLevels color = dimmed(bars[bar]);
        setPackedPixel(row, x, color.y, color.u, color.v);
    }
    repeatPackedRow(frame, 0, frame.height);
}

void drawBand(const AVFrame& frame) {
    constexpr std::uint8_t ground = 6;
    constexpr std::uint8_t ink = 94;
    constexpr std::uint32_t visible = 50;
    const int height = frame.height / 6;
    const int top = (frame.height - height) / 2;
    if (height < 1) return;
    fillRow(packedRow(frame, top), frame.width, ground);
    repeatPackedRow(frame, top, top + height);
    const SurfacePtr text =
        drawLiveText(frame.width, height, {"NO SIGNAL", frame.height / 12.0, true, true});
    if (!text) return;
    forEachPixel(text.get(), [&frame, top](int x, int y, std::uint32_t pixel) {
        if ((pixel >> 16 & 0xFF) > visible)
            setPackedPixel(packedRow(frame, top + y), x, ink, 128, 128);
    });
}

} // namespace

FramePtr drawNoSignalCard(int width, int height) {
    FramePtr frame = PicturePool().get(width, height, AV_PIX_FMT_UYVY422);
    if (!frame) return nullptr;
    drawBars(*frame);
    drawBand(*frame);
    return frame;
}

} // namespace quol
