#include "compositing/PictureFit.h"

#include <algorithm>
#include <cstring>

#include "core/ScaledPicture.h"

namespace quol {

namespace {

constexpr int blackLuma = 0;
constexpr int blackChroma = 0x80;

// No scaler is asked for a picture beyond this: a fill of a thin strip would take all memory.
constexpr int largestSide = 16384;

// swscale writes whole vectors, beyond the end of a row that is none. Chroma rows are half as long.
constexpr int wholeRow = 64;

struct PlaneSpan {
    int left, top, width, height;
};

// Size of one plane of a 4:2:0 picture.
PlaneSpan planeOf(const AVFrame& picture, int plane) {
    if (plane == 0) return {0, 0, picture.width, picture.height};
    return {0, 0, (picture.width + 1) / 2, (picture.height + 1) / 2};
}

// The part of a plane that a place covers, `left` and `top` being below 0 where it hangs over.
PlaneSpan spanOf(const PicturePlace& place, int plane) {
    if (plane == 0) return {place.left, place.top, place.width, place.height};
    return {place.left / 2, place.top / 2, (place.width + 1) / 2, (place.height + 1) / 2};
}

void fillRow(std::uint8_t* row, int from, int to, int level) {
    if (to > from) std::memset(row + from, level, static_cast<std::size_t>(to - from));
}

// Black wherever the place does not reach.
void drawBars(AVFrame& canvas, const PicturePlace& place) {
    for (int plane = 0; plane < 3; ++plane) {
        const PlaneSpan whole = planeOf(canvas, plane);
        const PlaneSpan span = spanOf(place, plane);
        const int level = plane == 0 ? blackLuma : blackChroma;
        for (int y = 0; y < whole.height; ++y) {
            std::uint8_t* const row =
                canvas.data[plane] + std::ptrdiff_t{y} * canvas.linesize[plane];
            if (y < span.top || y >= span.top + span.height) {
                fillRow(row, 0, whole.width, level);
            } else {
                fillRow(row, 0, std::min(span.left, whole.width), level);
                fillRow(row, std::max(0, span.left + span.width), whole.width, level);
            }
        }
    }
}

// The part of a scaled picture that lies on the canvas.
void copyVisible(const AVFrame& scaled, const PicturePlace& place, AVFrame& canvas) {
    for (int plane = 0; plane < 3; ++plane) {
        const PlaneSpan whole = planeOf(canvas, plane);
        const PlaneSpan span = spanOf(place, plane);
        const int left = std::max(0, span.left);
        const int right = std::min(whole.width, span.left + span.width);
        const int bottom = std::min(whole.height, span.top + span.height);
        if (right <= left) continue;
        for (int y = std::max(0, span.top); y < bottom; ++y) {
            std::memcpy(canvas.data[plane] + std::ptrdiff_t{y} * canvas.linesize[plane] + left,
                        scaled.data[plane] + std::ptrdiff_t{y - span.top} * scaled.linesize[plane] +
                            (left - span.left),
                        static_cast<std::size_t>(right - left));
        }
    }
}

bool isWholeCanvas(const PicturePlace& place, int width, int height) {
    return place.left == 0 && place.top == 0 && place.width == width && place.height == height;
}

int wholePixels(float length) {
    constexpr float longest = 1.0e9F;
    return static_cast<int>(std::min(length, longest));
}

bool isPlain420(int format) {
    return format == AV_PIX_FMT_YUV420P || format == AV_PIX_FMT_YUVJ420P;
}

} // namespace

PicturePlace placeOf(ScaleMode mode, int width, int height, int canvasWidth, int canvasHeight) {
    if (mode == ScaleMode::stretch) return {0, 0, canvasWidth, canvasHeight};
    const float aspect = static_cast<float>(width) / static_cast<float>(height);
    const float canvas = static_cast<float>(canvasWidth) / static_cast<float>(canvasHeight);
    const bool takesWidth = mode == ScaleMode::fit ? aspect > canvas : aspect <= canvas;
    PicturePlace place{0, 0, canvasWidth, canvasHeight};
    if (takesWidth) {
        place.height = wholePixels(static_cast<float>(canvasWidth) / aspect);
        place.top = (canvasHeight - place.height) / 2;
    } else {
        place.width = wholePixels(aspect * static_cast<float>(canvasHeight));
        place.left = (canvasWidth - place.width) / 2;
    }
    return place;
}

FramePtr PictureFit::get(const AVFrame& source, ScaleMode mode, int canvasWidth, int canvasHeight,
                         int flags) {
    const PicturePlace place =
        placeOf(mode, source.width, source.height, canvasWidth, canvasHeight);
    if (isPlain420(source.format) && isWholeCanvas(place, source.width, source.height) &&
        source.width == canvasWidth && source.height == canvasHeight) {
        if (picture_) clear();
        return cloneFrame(&source);
    }
    const Wish wish{mode, canvasWidth, canvasHeight, flags};
    const bool isMade =
        picture_ && wish == wish_ && isSamePicture(*source_, source) && source_->pts == source.pts;
    if (!isMade) {
        source_.reset();
        picture_.reset();
        FramePtr canvas = pool_.get(canvasWidth, canvasHeight, AV_PIX_FMT_YUV420P);
        FramePtr reference = cloneFrame(&source);
        if (!canvas || !reference) return nullptr;
        draw(source, place, flags, *canvas);
        wish_ = wish;
        source_ = std::move(reference);
        picture_ = std::move(canvas);
    }
    return cloneFrame(picture_.get());
}

void PictureFit::draw(const AVFrame& source, const PicturePlace& place, int flags,
                      AVFrame& canvas) {
    const bool isDrawable = place.width > 0 && place.height > 0 &&
                            place.width <= std::max(canvas.width, largestSide) &&
                            place.height <= std::max(canvas.height, largestSide);
    if (!isDrawable) {
        drawBars(canvas, {});
        return;
    }
    const bool hangsOver = place.width > canvas.width || place.height > canvas.height;
    if (hangsOver || place.left != 0 || place.width % wholeRow != 0) {
        drawByCopy(source, place, flags, canvas);
        return;
    }
    std::uint8_t* planes[4] = {};
    int strides[4] = {};
    for (int plane = 0; plane < 3; ++plane) {
        const PlaneSpan span = spanOf(place, plane);
        strides[plane] = canvas.linesize[plane];
        planes[plane] = canvas.data[plane] + std::ptrdiff_t{span.top} * strides[plane] + span.left;
    }
    const bool isScaled = scaler_.prepare({source.width, source.height, source.format, place.width,
                                           place.height, AV_PIX_FMT_YUV420P, flags}) &&
                          scaler_.run(source, planes, strides);
    drawBars(canvas, isScaled ? place : PicturePlace{});
}

void PictureFit::drawByCopy(const AVFrame& source, const PicturePlace& place, int flags,
                            AVFrame& canvas) {
    const FramePtr scaled = scaledPool_.get(place.width, place.height, AV_PIX_FMT_YUV420P);
    if (!scaled || !scaler_.scale(source, *scaled, flags)) {
        drawBars(canvas, {});
        return;
    }
    drawBars(canvas, place);
    copyVisible(*scaled, place, canvas);
}

void PictureFit::clear() {
    source_.reset();
    picture_.reset();
    pool_.clear();
    scaledPool_.clear();
}

} // namespace quol
