#include "support/ReferencePainter.h"

#include <algorithm>
#include <cmath>

namespace test {

namespace {

int sample(const AVFrame& frame, int plane, int x, int y) {
    return frame.data[plane][static_cast<std::ptrdiff_t>(y) * frame.linesize[plane] + x];
}

// Alpha of the picture at a luma sample, with the key; -1 where the key hides it.
int alphaAt(const AVFrame& picture, const AVFrame* key, int x, int y) {
    const int a = picture.data[3] != nullptr ? sample(picture, 3, x, y) : 255;
    if (key == nullptr) return a;
    if (key->data[3] != nullptr) return sample(*key, 3, x, y) * a / 255;
    const int luma = sample(*key, 0, x, y);
    if (luma < 16) return -1;
    return std::min(255, (luma - 16) * 255 / 219) * a / 255;
}

enum class Coat { none, picture, border };

struct Rectangle {
    int left, top, right, bottom;
    int thickness;
    int radius;
};

Coat coatAt(const Rectangle& r, int column, int row) {
    const bool atLeft = column < r.left + r.radius;
    const bool atRight = column >= r.right - r.radius;
    const bool atTop = row < r.top + r.radius;
    const bool atBottom = row >= r.bottom - r.radius;
    if (r.radius > 0 && (atLeft || atRight) && (atTop || atBottom)) {
        const double dx = column - (atLeft ? r.left + r.radius : r.right - r.radius);
        const double dy = row - (atTop ? r.top + r.radius : r.bottom - r.radius);
        const double d = std::sqrt(dx * dx + dy * dy);
        if (d > r.radius) return Coat::none;
        return d <= r.radius - r.thickness || r.thickness < 1 ? Coat::picture : Coat::border;
    }
    const bool atEdge = column < r.left + r.thickness || column >= r.right - r.thickness ||
                        row < r.top + r.thickness || row >= r.bottom - r.thickness;
    return r.thickness > 0 && atEdge ? Coat::border : Coat::picture;
}

int cropOf(float crop) {
    return std::max(0, static_cast<int>(crop));
}

} // namespace

ReferencePainter::ReferencePainter(int width, int height) : width_(width), height_(height) {
    for (int plane = 0; plane < 4; ++plane) {
        const int half = plane == 1 || plane == 2 ? 1 : 0;
        const int planeWidth = (width + half) >> half;
        const int planeHeight = (height + half) >> half;
        planes_[static_cast<std::size_t>(plane)] = {
            planeWidth, planeHeight,
            std::vector<int>(static_cast<std::size_t>(planeWidth) * planeHeight,
                             half != 0 ? 128 : 0)};
    }
}

ReferencePainter::ReferencePainter(const AVFrame& canvas)
    : ReferencePainter(canvas.width, canvas.height) {
    for (int plane = 0; plane < 4 && canvas.data[plane] != nullptr; ++plane) {
        Plane& target = planes_[static_cast<std::size_t>(plane)];
        for (int y = 0; y < target.height; ++y) {
            for (int x = 0; x < target.width; ++x)
                target.at(x, y) = sample(canvas, plane, x, y);
        }
    }
}

void ReferencePainter::paint(const quol::LayerLook& look, const AVFrame& picture,
                             const AVFrame* key) {
    const bool cropped =
        look.cropTop > 0 || look.cropBottom > 0 || look.cropLeft > 0 || look.cropRight > 0;
    if (!look.isKeyed && picture.data[3] == nullptr && look.alpha >= 255 &&
        look.borderThickness <= 0 && !cropped) {
        copy(look, picture);
        return;
    }
    for (int plane = 0; plane < 3; ++plane)
        blend(look, picture, key, plane);
}

void ReferencePainter::copy(const quol::LayerLook& look, const AVFrame& picture) {
    for (int plane = 0; plane < 3; ++plane) {
        const int half = plane > 0 ? 1 : 0;
        Plane& target = planes_[static_cast<std::size_t>(plane)];
        for (int row = 0; row < (picture.height + half) >> half; ++row) {
            for (int column = 0; column < (picture.width + half) >> half; ++column) {
                const int x = look.x / (1 + half) + column;
                const int y = look.y / (1 + half) + row;
                if (!target.holds(x, y)) continue;
                target.at(x, y) = sample(picture, plane, column, row);
                if (plane == 0) planes_[3].at(x, y) = 255;
            }
        }
    }
}

void ReferencePainter::blend(const quol::LayerLook& look, const AVFrame& picture,
                             const AVFrame* key, int plane) {
    const int by = plane > 0 ? 2 : 1;
    const int alpha = std::clamp(look.alpha, 0, 255);
    const int borderAlpha = std::clamp(look.borderAlpha, 0, 255) * alpha / 255;
    const quol::YuvLevels border = quol::toYuvTruncated(look.borderColor);
    const int level = plane == 0 ? border.y : plane == 1 ? border.u : border.v;
    const Rectangle shape{
        cropOf(look.cropLeft) / by,
        cropOf(look.cropTop) / by,
        picture.width / by - cropOf(look.cropRight) / by,
        picture.height / by - cropOf(look.cropBottom) / by,
        look.borderThickness / by,
        std::max(0, std::min(picture.width, picture.height) * look.borderRadius / (100 * by))};
    Plane& target = planes_[static_cast<std::size_t>(plane)];
    for (int row = shape.top; row < shape.bottom; ++row) {
        for (int column = shape.left; column < shape.right; ++column) {
            const int x = look.x / by + column - shape.left;
            const int y = look.y / by + row - shape.top;
            if (x < 0 || y < 0 || x >= width_ / by || y >= height_ / by) continue;
            const int e = alphaAt(picture, key, column * by, row * by) * alpha / 255;
            const Coat coat = coatAt(shape, column, row);
            if (e <= 0 || coat == Coat::none) continue;
            const int weight = coat == Coat::picture ? e : borderAlpha;
            const int value = coat == Coat::picture ? sample(picture, plane, column, row) : level;
            target.at(x, y) = ((255 - weight) * target.at(x, y) + weight * value) >> 8;
            if (plane > 0) continue;
            int& coverage = planes_[3].at(x, y);
            coverage += weight * (255 - coverage) / 255;
        }
    }
}

quol::FramePtr ReferencePainter::picture(bool withAlpha) const {
    quol::FramePtr picture = quol::makeFrame();
    picture->width = width_;
    picture->height = height_;
    picture->format = withAlpha ? AV_PIX_FMT_YUVA420P : AV_PIX_FMT_YUV420P;
    if (av_frame_get_buffer(picture.get(), 32) < 0) return nullptr;
    for (int plane = 0; plane < (withAlpha ? 4 : 3); ++plane) {
        const Plane& from = planes_[static_cast<std::size_t>(plane)];
        for (int y = 0; y < from.height; ++y) {
            for (int x = 0; x < from.width; ++x)
                picture
                    ->data[plane][static_cast<std::ptrdiff_t>(y) * picture->linesize[plane] + x] =
                    static_cast<std::uint8_t>(
                        from.samples[static_cast<std::size_t>(y) * from.width + x]);
        }
    }
    return picture;
}

std::string ReferencePainter::firstDifference(const AVFrame& picture) const {
    for (int plane = 0; plane < 4 && picture.data[plane] != nullptr; ++plane) {
        const Plane& wanted = planes_[static_cast<std::size_t>(plane)];
        for (int y = 0; y < wanted.height; ++y) {
            for (int x = 0; x < wanted.width; ++x) {
                const int value = wanted.samples[static_cast<std::size_t>(y) * wanted.width + x];
                const int got = sample(picture, plane, x, y);
                if (got == value) continue;
                return "plane " + std::to_string(plane) + " at " + std::to_string(x) + ", " +
                       std::to_string(y) + ": " + std::to_string(got) + " for " +
                       std::to_string(value);
            }
        }
    }
    return "";
}

} // namespace test
