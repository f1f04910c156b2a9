#include "sources/LiveTestSignal.h"

#include <array>
#include <cmath>
#include <numbers>
#include <span>

#include "core/Color.h"
#include "core/PicturePool.h"
#include "core/SoundBlock.h"
#include "sources/LivePacked.h"
#include "sources/LiveText.h"

namespace quol {

namespace {

constexpr int barsEnd = 720;
constexpr int blocksEnd = 810;
constexpr int textTop = 472;
constexpr int textHeight = 135;

constexpr std::array<YuvLevels, 8> bars{{{180, 128, 128},
                                         {162, 44, 142},
                                         {131, 156, 44},
                                         {112, 72, 58},
                                         {84, 184, 198},
                                         {65, 100, 212},
                                         {35, 212, 114},
                                         {16, 128, 128}}};
constexpr std::array<YuvLevels, 8> blocks{{{35, 212, 114},
                                           {16, 128, 128},
                                           {84, 184, 198},
                                           {16, 128, 128},
                                           {131, 156, 44},
                                           {16, 128, 128},
                                           {180, 128, 128},
                                           {16, 128, 128}}};
constexpr std::array<YuvLevels, 4> fields{
    {{30, 160, 140}, {235, 128, 128}, {40, 180, 180}, {16, 128, 128}}};

// Draws one row of equal parts and repeats it from `top` to before `end`.
void drawRows(const AVFrame& frame, int top, int end, std::span<const YuvLevels> parts) {
    std::uint8_t* first = packedRow(frame, top);
    const int partWidth = testSignalWidth / static_cast<int>(parts.size());
    int x = 0;
    for (const YuvLevels& part : parts) {
        for (const int partEnd = x + partWidth; x < partEnd; ++x)
            setPackedPixel(first, x, part.y, part.u, part.v);
    }
    repeatPackedRow(frame, top, end);
}

void drawName(const AVFrame& frame) {
    constexpr std::uint32_t halfCovered = 128;
    constexpr std::uint8_t white = 235;
    const SurfacePtr text =
        drawLiveText(testSignalWidth, textHeight, {"LLIVE TEST DEVICE", 67.0, false, false});
    if (!text) return;
    forEachPixel(text.get(), [&frame](int x, int y, std::uint32_t pixel) {
        if (pixel >> 24 > halfCovered)
            setPackedPixel(packedRow(frame, textTop + y), x, white, 128, 128);
    });
}

} // namespace

FramePtr drawTestPicture() {
    FramePtr frame = PicturePool().get(testSignalWidth, testSignalHeight, AV_PIX_FMT_UYVY422);
    if (!frame) return nullptr;
    drawRows(*frame, 0, barsEnd, bars);
    drawRows(*frame, barsEnd, blocksEnd, blocks);
    drawRows(*frame, blocksEnd, testSignalHeight, fields);
    drawName(*frame);
    return frame;
}

FramePtr TestTone::next() {
    constexpr double step = 0.1308996938995747; // 2 pi / 48
    constexpr double level = 12000.0;
    constexpr double circle = 2.0 * std::numbers::pi;
    FramePtr block = makeSilentBlock(testSignalSamples, testSignalSampleRate);
    if (!block) return nullptr;
    std::int16_t* samples = samplesOf(*block);
    for (int i = 0; i < testSignalSamples; ++i) {
        const auto sample = static_cast<std::int16_t>(static_cast<int>(std::sin(phase_) * level));
        *samples++ = sample;
        *samples++ = sample;
        phase_ += step;
        if (phase_ > circle) phase_ -= circle;
    }
    return block;
}

} // namespace quol
