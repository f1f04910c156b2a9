#include "compositing/TileScaler.h"

#include <algorithm>
#include <cmath>

#include "compositing/TileRows.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace quol {

namespace {

constexpr double levelOne = 1 << 20;  // of a level, as `LevelRule::offset` counts
constexpr double factorOne = 1 << 14; // of a factor
constexpr int neutralChroma = 128;

int factorOf(double factor) {
    return static_cast<int>(std::lround(factor * factorOne));
}

// Adds to levels, and rounds.
int offsetOf(double levels) {
    return static_cast<int>(std::lround((levels + 0.5) * levelOne));
}

// BT.601 in limited range to full range, as the programs of OpenGL count: 0 to 1 is 0 to 255.
const LevelRule& lumaRule() {
    static const LevelRule rule{{factorOf(1.16438), 0, 0}, offsetOf(-0.06275 * 1.16438 * 255.0)};
    return rule;
}

const LevelRule& chromaRule() {
    static const LevelRule rule{{factorOf(1.13843), 0, 0}, offsetOf(127.5 - 127.5 * 1.13843)};
    return rule;
}

const LevelRule& greyRule() {
    static const LevelRule rule{{factorOf(1.0), 0, 0}, offsetOf(0.0)};
    return rule;
}

const LevelRule& rgbToLuma() {
    static const LevelRule rule{{factorOf(0.299), factorOf(0.587), factorOf(0.114)}, offsetOf(0.0)};
    return rule;
}

const LevelRule& rgbToU() {
    static const LevelRule rule{{factorOf(-0.169), factorOf(-0.331), factorOf(0.5)},
                                offsetOf(127.5)};
    return rule;
}

const LevelRule& rgbToV() {
    static const LevelRule rule{{factorOf(0.5), factorOf(-0.419), factorOf(-0.081)},
                                offsetOf(127.5)};
    return rule;
}

void fetchAhead(const std::uint8_t* row, int count) {
#if defined(__GNUC__)
    constexpr int line = 64;
    for (int i = 0; i < count; i += line)
        __builtin_prefetch(row + i);
#else
    (void)row;
    (void)count;
#endif
}

int sharedUp(int size, int shift) {
    return -((-size) >> shift);
}

} // namespace

void TileScaler::describe(AVPixelFormat format) {
    const AVPixFmtDescriptor& description = *av_pix_fmt_desc_get(format);
    isRgb_ = (description.flags & AV_PIX_FMT_FLAG_RGB) != 0;
    hasAlpha_ = (description.flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
    isGrey_ = description.nb_components < 3;
    const auto componentOf = [&](int index, bool isChroma) {
        const AVComponentDescriptor& from = description.comp[index];
        Component component;
        component.plane = from.plane;
        component.offset = from.offset;
        component.step = from.step;
        component.width = isChroma ? sharedUp(form_.width, description.log2_chroma_w) : form_.width;
        component.height =
            isChroma ? sharedUp(form_.height, description.log2_chroma_h) : form_.height;
        component.rowBytes = (component.width - 1) * component.step + component.offset + 1;
        return component;
    };
    for (int i = 0; i < (isGrey_ ? 1 : 3); ++i)
        components_[static_cast<std::size_t>(i)] = componentOf(i, !isRgb_ && i > 0);
    if (hasAlpha_) alpha_ = componentOf(description.nb_components - 1, false);
    if (isGrey_) return;
    if (isRgb_) shareRows(components_[0], components_[2]);
    if (isRgb_) shareRows(components_[0], components_[1]);
    shareRows(components_[1], components_[2]);
}

// Samples that lie in one row are weighed at once, with the first of them: the row has to reach for
// all.
void TileScaler::shareRows(Component& first, Component& second) {
    if (first.plane != second.plane) return;
    second.sharesRow = true;
    first.rowBytes = std::max(first.rowBytes, second.rowBytes);
}

AxisFilter TileScaler::filter(int source, int target, int samples, bool isAcross, int pixels,
                              int from, int length) const {
    const AxisFilter::Shape shape{source,        target,
                                  samples,       pixels,
                                  from / pixels, from / pixels + (length + pixels - 1) / pixels};
    return isAcross ? AxisFilter(shape, acrossTotal, acrossStep) : AxisFilter(shape, downTotal, 1);
}

TileScaler::Filters TileScaler::filtersFor(const Component& component, int pixels) const {
    const TileRect& tile = form_.tile;
    const int across = samplesPerPixel(form_.width, tile.width);
    const int down = samplesPerPixel(form_.height, tile.height);
    return {filter(component.width, tile.width, across, true, pixels, visible_.x - tile.x,
                   visible_.width),
            filter(component.height, tile.height, down, false, pixels, visible_.y - tile.y,
                   visible_.height)};
}

void TileScaler::prepare(const AVFrame& source, const TileRect& tile, const TileRect& visible) {
    const Form form{source.width, source.height, source.format, tile, visible};
    if (form == form_) return;
    form_ = form;
    visible_ = visible;
    describe(static_cast<AVPixelFormat>(source.format));
    lumaFilters_ = filtersFor(components_[0], 1);
    if (!isRgb_ && !isGrey_) chromaFilters_ = filtersFor(components_[1], 2);
    if (isRgb_ || (hasAlpha_ && !isGrey_)) alphaChromaFilters_ = filtersFor(components_[0], 2);
}

// The sums of one output row, whole rows of bytes at a time.
void TileScaler::takeDown(const AVFrame& source, const Component& component, const AxisFilter& down,
                          int output, Scratch& scratch) {
    if (component.sharesRow) return;
    const std::uint8_t* const plane = source.data[component.plane];
    const std::ptrdiff_t stride = source.linesize[component.plane];
    const auto row = [&](int i) { return plane + (down.first(output) + i) * stride; };
    const std::int16_t* const weights = down.weights(output);
    const int used = down.used(output);
    if (scratch.sums.size() < static_cast<std::size_t>(component.rowBytes))
        scratch.sums.resize(static_cast<std::size_t>(component.rowBytes));
    // In pieces, while the rows to come are on their way from memory: that is what bounds this.
    constexpr int piece = 256;
    const int lastRow = component.height - 1 - down.first(output);
    for (int from = 0; from < component.rowBytes; from += piece) {
        const int count = std::min(piece, component.rowBytes - from);
        std::uint16_t* const sums = scratch.sums.data() + from;
        int tap = 0;
        for (; tap + 3 <= used; tap += 3) {
            const std::uint8_t* const rows[3] = {row(tap) + from, row(tap + 1) + from,
                                                 row(tap + 2) + from};
            weighRows(sums, rows, weights + tap, tap == 0, count);
        }
        for (; tap < used; ++tap)
            weighRow(sums, row(tap) + from, weights[tap], tap == 0, count);
        for (int next = used; next < used + used && next <= lastRow; ++next)
            fetchAhead(row(next) + from, count);
    }
}

void TileScaler::takeAcross(const Component& component, const AxisFilter& across, Scratch& scratch,
                            std::vector<std::int16_t>& values) {
    const std::size_t needed = static_cast<std::size_t>(component.width + across.taps());
    if (scratch.picked.size() < needed) scratch.picked.resize(needed);
    pickRow(scratch.picked.data(), scratch.sums.data(), component.step, component.offset,
            component.width);
    if (values.size() < static_cast<std::size_t>(across.outputs()))
        values.resize(static_cast<std::size_t>(across.outputs()));
    acrossRow(values.data(), scratch.picked.data(), across);
}

void TileScaler::greyRows(const AVFrame& source, const Target& target, int output,
                          Scratch& scratch) const {
    for (int line = 0; line < 2 && target.luma[line] != nullptr; ++line) {
        takeDown(source, components_[0], lumaFilters_.down, 2 * output + line, scratch);
        takeAcross(components_[0], lumaFilters_.across, scratch, scratch.values[0]);
        levelRow(target.luma[line], scratch.values[0].data(), greyRule(), visible_.width);
    }
    const int count = (visible_.width + 1) / 2;
    std::fill_n(target.u, count, static_cast<std::uint8_t>(neutralChroma));
    std::fill_n(target.v, count, static_cast<std::uint8_t>(neutralChroma));
}

void TileScaler::rgbRows(const AVFrame& source, const Target& target, int output,
                         Scratch& scratch) const {
    const auto take = [&](const Filters& filters, int row) {
        for (std::size_t i = 0; i < 3; ++i) {
            takeDown(source, components_[i], filters.down, row, scratch);
            takeAcross(components_[i], filters.across, scratch, scratch.values[i]);
        }
        return std::array<const std::int16_t*, 3>{
            scratch.values[0].data(), scratch.values[1].data(), scratch.values[2].data()};
    };
    for (int line = 0; line < 2 && target.luma[line] != nullptr; ++line) {
        const auto values = take(lumaFilters_, 2 * output + line);
        levelRow(target.luma[line], values.data(), rgbToLuma(), visible_.width);
    }
    const auto values = take(alphaChromaFilters_, output);
    const int count = (visible_.width + 1) / 2;
    levelRow(target.u, values.data(), rgbToU(), count);
    levelRow(target.v, values.data(), rgbToV(), count);
}

void TileScaler::yuvRows(const AVFrame& source, const Target& target, int output,
                         Scratch& scratch) const {
    const auto take = [&](std::size_t component, const Filters& filters, int row,
                          std::vector<std::int16_t>& values) {
        takeDown(source, components_[component], filters.down, row, scratch);
        takeAcross(components_[component], filters.across, scratch, values);
    };
    TileGamut::Rows rows{};
    for (std::size_t line = 0; line < 2 && target.luma[line] != nullptr; ++line) {
        take(0, lumaFilters_, 2 * output + static_cast<int>(line), scratch.values[line]);
        rows.luma[line] = scratch.values[line].data();
    }
    take(1, chromaFilters_, output, scratch.chroma[0]);
    take(2, chromaFilters_, output, scratch.chroma[1]);
    rows.u = scratch.chroma[0].data();
    rows.v = scratch.chroma[1].data();
    rows.width = visible_.width;
    for (int line = 0; line < 2 && target.luma[line] != nullptr; ++line)
        levelRow(target.luma[line], rows.luma[line], lumaRule(), visible_.width);
    const int count = (visible_.width + 1) / 2;
    levelRow(target.u, rows.u, chromaRule(), count);
    levelRow(target.v, rows.v, chromaRule(), count);
    if (scratch.gamut.isLeft(rows)) scratch.gamut.hold(rows, target.luma, target.u, target.v);
}

// Alpha lies over black.
void TileScaler::fade(const AVFrame& source, const Target& target, int output,
                      Scratch& scratch) const {
    const auto take = [&](const Filters& filters, int row) {
        takeDown(source, alpha_, filters.down, row, scratch);
        takeAcross(alpha_, filters.across, scratch, scratch.alpha);
        return scratch.alpha.data();
    };
    for (int line = 0; line < 2 && target.luma[line] != nullptr; ++line)
        fadeRow(target.luma[line], take(lumaFilters_, 2 * output + line), 0, visible_.width);
    if (isGrey_) return; // its chroma stays where it is
    const std::int16_t* const alpha = take(alphaChromaFilters_, output);
    const int count = (visible_.width + 1) / 2;
    fadeRow(target.u, alpha, neutralChroma, count);
    fadeRow(target.v, alpha, neutralChroma, count);
}

void TileScaler::run(const AVFrame& source, AVFrame& canvas, int x, int y, int from, int to,
                     Scratch& scratch) const {
    const auto rowOf = [&canvas](int plane, int left, int top) {
        return canvas.data[plane] + std::ptrdiff_t{top} * canvas.linesize[plane] + left;
    };
    for (int i = from; i < to; ++i) {
        const bool isPair = 2 * i + 1 < visible_.height;
        const Target target{{rowOf(0, x, y + 2 * i), isPair ? rowOf(0, x, y + 2 * i + 1) : nullptr},
                            rowOf(1, x / 2, y / 2 + i),
                            rowOf(2, x / 2, y / 2 + i)};
        if (isGrey_) {
            greyRows(source, target, i, scratch);
        } else if (isRgb_) {
            rgbRows(source, target, i, scratch);
        } else {
            yuvRows(source, target, i, scratch);
        }
        if (hasAlpha_) fade(source, target, i, scratch);
    }
}

} // namespace quol
