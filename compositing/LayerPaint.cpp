#include "compositing/LayerPaint.h"

#include <algorithm>
#include <cstring>

#include "compositing/PlaneBlend.h"
#include "core/FrameRows.h"

namespace quol {

namespace {

constexpr int alphaPlane = 3;

bool hasAlphaPlane(const AVFrame& frame) {
    return frame.format == AV_PIX_FMT_YUVA420P;
}

std::size_t lengthOf(const RowSpan& span) {
    return static_cast<std::size_t>(span.end - span.begin);
}

// The rows of a plane that belong to a band; at the end of an odd height a half chroma row does.
SampleRange planeRows(const CanvasBand& band, int plane) {
    const bool isChroma = plane == 1 || plane == 2;
    return isChroma ? SampleRange{band.begin / 2, (band.end + 1) / 2} : band;
}

// The rows of a layer that come to lie on these rows of the canvas.
SampleRange rowsWithin(const PlaneShape& shape, const SampleRange& canvasRows) {
    const SampleRange visible = visibleRows(shape);
    const int offset = shape.canvasRow(0);
    return {std::max(visible.begin, canvasRows.begin - offset),
            std::min(visible.end, canvasRows.end - offset)};
}

// One row of a plane on the canvas, addressed by the column of the layer.
struct TargetRow {
    std::uint8_t* samples; // where column `first` goes
    int first;

    std::uint8_t* at(int column) const { return samples + (column - first); }
};

class Painter {
public:
    Painter(AVFrame& canvas, const PaintedLayer& layer, const CanvasBand& band,
            std::vector<std::uint8_t>& scratch)
        : canvas_(canvas), layer_(layer), band_(band), alphas_(scratch) {
        isUniform_ = !hasAlphaPlane(*layer.picture) && layer.keyKind == KeyKind::none;
        alphas_.resize(static_cast<std::size_t>(layer.picture->width));
    }

    void paint() {
        if (isUniform_ && layer_.alpha == 0) return;
        paintPlanes(layer_.luma, 1);
        paintPlanes(layer_.chroma, 2);
    }

private:
    // Luma with the coverage (step 1), or both chroma planes (step 2).
    void paintPlanes(const PlaneShape& shape, int step) {
        const SampleRange rows = rowsWithin(shape, planeRows(band_, step - 1));
        const SampleRange columns = visibleColumns(shape);
        if (columns.empty()) return;
        for (int row = rows.begin; row < rows.end; ++row) {
            // Of a title most rows are transparent from end to end.
            const SampleRange seen = isUniform_ ? columns : findAlphas(row, columns, step);
            for (const RowSpan& span : RowSpans(shape, row, seen)) {
                if (step == 1) {
                    paintSpan(shape, row, columns, span, 0, layer_.border.y);
                    if (hasAlphaPlane(canvas_)) coverSpan(shape, row, columns, span);
                } else {
                    paintSpan(shape, row, columns, span, 1, layer_.border.u);
                    paintSpan(shape, row, columns, span, 2, layer_.border.v);
                }
            }
        }
    }

    // Effective alpha of a row of samples; for chroma that of every second luma sample. The columns
    // between the first and the last that is not transparent.
    SampleRange findAlphas(int row, const SampleRange& columns, int step) {
        const auto count = static_cast<std::size_t>(columns.end - columns.begin);
        const int lumaRow = row * step;
        const std::ptrdiff_t lumaColumn = static_cast<std::ptrdiff_t>(columns.begin) * step;
        std::uint8_t* const e = alphas_.data();
        const bool keyedByAlpha = layer_.keyKind == KeyKind::alpha;
        const std::uint8_t* const key =
            layer_.keyKind == KeyKind::none
                ? nullptr
                : rowOf(*layer_.key, keyedByAlpha ? alphaPlane : 0, lumaRow) + lumaColumn;
        if (hasAlphaPlane(*layer_.picture)) {
            takeEvery(e, rowOf(*layer_.picture, alphaPlane, lumaRow) + lumaColumn, step, count);
            if (key != nullptr)
                keyedByAlpha ? keyByAlpha(e, key, step, count) : keyByLuma(e, key, step, count);
        } else {
            // The picture is opaque, and one without a key has no alpha to find.
            keyedByAlpha ? takeEvery(e, key, step, count) : takeLumaKey(e, key, step, count);
        }
        if (layer_.alpha != 255) scaleAlpha(e, layer_.alpha, count);
        const std::size_t before = leadingZeros(e, count);
        const std::size_t behind = trailingZeros(e + before, count - before);
        return {columns.begin + static_cast<int>(before), columns.end - static_cast<int>(behind)};
    }

    TargetRow targetRow(const PlaneShape& shape, int row, const SampleRange& columns,
                        int plane) const {
        return {rowOf(canvas_, plane, shape.canvasRow(row)) + shape.canvasColumn(columns.begin),
                columns.begin};
    }

    void paintSpan(const PlaneShape& shape, int row, const SampleRange& columns,
                   const RowSpan& span, int plane, std::uint8_t border) {
        std::uint8_t* const target = targetRow(shape, row, columns, plane).at(span.begin);
        const std::uint8_t* const source = rowOf(*layer_.picture, plane, row) + span.begin;
        const std::uint8_t* const e = alphas_.data() + (span.begin - columns.begin);
        const std::size_t count = lengthOf(span);
        if (span.coat == Coat::border) {
            if (isUniform_) {
                blendLevel(target, border, layer_.borderAlpha, count);
            } else {
                blendLevel(target, border, layer_.borderAlpha, e, count);
            }
        } else if (isUniform_) {
            blendRow(target, source, count, layer_.alpha);
        } else {
            blendRow(target, source, e, count);
        }
    }

    void coverSpan(const PlaneShape& shape, int row, const SampleRange& columns,
                   const RowSpan& span) {
        std::uint8_t* const target = targetRow(shape, row, columns, alphaPlane).at(span.begin);
        const std::uint8_t* const e = alphas_.data() + (span.begin - columns.begin);
        const std::size_t count = lengthOf(span);
        if (isUniform_) {
            coverRow(target, count, span.coat == Coat::border ? layer_.borderAlpha : layer_.alpha);
        } else if (span.coat == Coat::border) {
            coverRow(target, layer_.borderAlpha, e, count);
        } else {
            coverRow(target, e, count);
        }
    }

    AVFrame& canvas_;
    const PaintedLayer& layer_;
    const CanvasBand band_;
    std::vector<std::uint8_t>& alphas_; // of the row in hand, from its first visible column on
    bool isUniform_;                    // every sample has the layer's own alpha
};

void copyLayer(AVFrame& canvas, const PaintedLayer& layer, const CanvasBand& band) {
    for (int plane = 0; plane < 3; ++plane) {
        const PlaneShape shape = plane == 0 ? layer.luma : copiedChroma(layer.luma);
        const SampleRange rows = rowsWithin(shape, planeRows(band, plane));
        const SampleRange columns = visibleColumns(shape);
        if (columns.empty()) continue;
        const auto count = static_cast<std::size_t>(columns.end - columns.begin);
        const int column = shape.canvasColumn(columns.begin);
        for (int row = rows.begin; row < rows.end; ++row) {
            std::memcpy(rowOf(canvas, plane, shape.canvasRow(row)) + column,
                        rowOf(*layer.picture, plane, row) + columns.begin, count);
            if (plane == 0 && hasAlphaPlane(canvas))
                std::memset(rowOf(canvas, alphaPlane, shape.canvasRow(row)) + column, 255, count);
        }
    }
}

std::uint8_t level(int value) {
    return static_cast<std::uint8_t>(std::clamp(value, 0, 255));
}

void fillPlane(const AVFrame& frame, int plane, const CanvasBand& band, int width,
               std::uint8_t value) {
    const SampleRange rows = planeRows(band, plane);
    for (int row = rows.begin; row < rows.end; ++row)
        std::memset(rowOf(frame, plane, row), value, static_cast<std::size_t>(width));
}

} // namespace

PaintedLayer paintedLayer(const LayerLook& look, const PictureSize& target,
                          const PictureSize& canvas) {
    PaintedLayer layer;
    layer.alpha = level(look.alpha);
    layer.borderAlpha = level(level(look.borderAlpha) * layer.alpha / 255);
    layer.border = toYuvTruncated(look.borderColor);
    layer.luma = lumaShape(look, target, canvas);
    layer.chroma = chromaShape(look, target, canvas);
    return layer;
}

void paintLayer(AVFrame& canvas, const PaintedLayer& layer, const CanvasBand& band,
                std::vector<std::uint8_t>& scratch) {
    if (layer.opaque) {
        copyLayer(canvas, layer, band);
    } else {
        Painter(canvas, layer, band, scratch).paint();
    }
}

void clearCanvas(AVFrame& canvas, const CanvasBand& band) {
    const int chromaWidth = (canvas.width + 1) / 2;
    fillPlane(canvas, 0, band, canvas.width, 0);
    fillPlane(canvas, 1, band, chromaWidth, 128);
    fillPlane(canvas, 2, band, chromaWidth, 128);
    if (hasAlphaPlane(canvas)) fillPlane(canvas, alphaPlane, band, canvas.width, 0);
}

} // namespace quol
