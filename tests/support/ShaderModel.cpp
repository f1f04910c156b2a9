#include "support/ShaderModel.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace test {

namespace {

bool hasAlpha(const AVFrame& frame) {
    return frame.format == AV_PIX_FMT_YUVA420P || frame.format == AV_PIX_FMT_YUVA422P;
}

bool isFullHeight(const AVFrame& frame) {
    return frame.format == AV_PIX_FMT_YUV422P || frame.format == AV_PIX_FMT_YUVA422P;
}

// What an 8-bit framebuffer keeps of a channel.
double kept(double value) {
    return std::round(std::clamp(value, 0.0, 1.0) * 255.0) / 255.0;
}

// A value between two samples, with 8 bits of the place and of the result, as Mesa's driver on the
// main processor has it; graphics processors keep a little more.
int between(int place, int first, int second) {
    const int weight = place + (place >> 7); // 255 means the second one
    return first + ((weight * (second - first) + 128) >> 8);
}

// A plane as a texture with linear filters that is clamped to its edges.
double sampled(const AVFrame& frame, int plane, double u, double v) {
    const bool chroma = plane == 1 || plane == 2;
    const int width = chroma ? (frame.width + 1) / 2 : frame.width;
    const int height = chroma && !isFullHeight(frame) ? (frame.height + 1) / 2 : frame.height;
    const double x = u * width - 0.5;
    const double y = v * height - 0.5;
    const int left = static_cast<int>(std::floor(x));
    const int top = static_cast<int>(std::floor(y));
    const auto texel = [&](int column, int row) -> int {
        column = std::clamp(column, 0, width - 1);
        row = std::clamp(row, 0, height - 1);
        return frame.data[plane][static_cast<std::ptrdiff_t>(row) * frame.linesize[plane] + column];
    };
    const auto across = static_cast<int>((x - left) * 256);
    const auto down = static_cast<int>((y - top) * 256);
    const int upper = between(across, texel(left, top), texel(left + 1, top));
    const int lower = between(across, texel(left, top + 1), texel(left + 1, top + 1));
    return between(down, upper, lower) / 255.0;
}

double unit(double value) {
    return std::clamp(value, 0.0, 1.0);
}

// One fragment: its colour, or none, and whether a decision was close.
struct Fragment {
    bool discarded = false;
    bool close = false;
    std::array<double, 4> rgba{};
};

class Shading {
public:
    Shading(const quol::LayerLook& look, const AVFrame& picture, const AVFrame* key)
        : look_(look), picture_(picture), key_(key), target_(quol::targetSize(look, picture)) {
        radius_ = static_cast<double>(static_cast<long>(std::min(target_.width, target_.height)) *
                                      look.borderRadius) /
                  100.0;
    }

    Fragment at(double u, double v) {
        fragment_ = {};
        const double cropLeft = look_.cropLeft / static_cast<double>(picture_.width);
        const double cropTop = look_.cropTop / static_cast<double>(picture_.height);
        const double cropRight = look_.cropRight / static_cast<double>(picture_.width);
        const double cropBottom = look_.cropBottom / static_cast<double>(picture_.height);
        const bool outside = below(u, cropLeft) || below(1.0 - cropRight, u) || below(v, cropTop) ||
                             below(1.0 - cropBottom, v);
        if (outside) return discard();
        const double x = (u - cropLeft) / (1.0 - cropRight - cropLeft) * target_.width;
        const double y = (v - cropTop) / (1.0 - cropBottom - cropTop) * target_.height;
        double a = alphaAt(u, v);
        bool inCorner = false;
        double distance = 0.0;
        findCorner(x, y, inCorner, distance);
        if (inCorner) {
            if (below(radius_, distance)) return discard();
            const double t = unit((distance - radius_) / -1.0);
            a *= t * t * (3.0 - 2.0 * t);
        }
        const double border = look_.borderThickness;
        if (border > 0.0) {
            bool isBorder = below(x, border) || below(target_.width - border, x) ||
                            below(y, border) || below(target_.height - border, y);
            if (inCorner && below(radius_ - border, distance)) isBorder = true;
            if (isBorder) {
                fragment_.rgba = {look_.borderColor.red / 255.0, look_.borderColor.green / 255.0,
                                  look_.borderColor.blue / 255.0, look_.borderAlpha / 255.0 * a};
                return fragment_;
            }
        }
        fragment_.rgba = colourAt(u, v);
        fragment_.rgba[3] = a;
        return fragment_;
    }

private:
    // a < b, and a note where it is close: in pixels or parts of a texture, a thousandth is.
    bool below(double a, double b) {
        if (std::abs(a - b) < 1.0e-3) fragment_.close = true;
        return a < b;
    }

    Fragment discard() {
        fragment_.discarded = true;
        return fragment_;
    }

    void findCorner(double x, double y, bool& inCorner, double& distance) {
        const bool left = below(x, radius_);
        const bool right = below(target_.width - radius_, x);
        const bool top = below(y, radius_);
        const bool bottom = below(target_.height - radius_, y);
        double cx = 0.0;
        double cy = 0.0;
        inCorner = true;
        if (left && top) {
            cx = cy = radius_;
        } else if (right && top) {
            cx = target_.width - radius_;
            cy = radius_;
        } else if (left && bottom) {
            cx = radius_;
            cy = target_.height - radius_;
        } else if (right && bottom) {
            cx = target_.width - radius_;
            cy = target_.height - radius_;
        } else {
            inCorner = false;
        }
        distance = std::hypot(x - cx, y - cy);
    }

    double alphaAt(double u, double v) const {
        double a = hasAlpha(picture_) ? sampled(picture_, 3, u, v) : 1.0;
        if (look_.isKeyed && key_ != nullptr) {
            double key = sampled(*key_, hasAlpha(*key_) ? 3 : 0, u, v);
            if (!hasAlpha(*key_)) key = unit((key - 0.0627451) * 1.16438356);
            a *= key;
        }
        return a * look_.alpha / 255.0;
    }

    std::array<double, 4> colourAt(double u, double v) const {
        const double luma = (sampled(picture_, 0, u, v) - 0.06275) * 1.16438;
        const double cb = (sampled(picture_, 1, u, v) - 0.5) * 1.13843;
        const double cr = (sampled(picture_, 2, u, v) - 0.5) * 1.13843;
        return {unit(luma + 1.40200 * cr), unit(luma - 0.34414 * cb - 0.71414 * cr),
                unit(luma + 1.77200 * cb), 0.0};
    }

    const quol::LayerLook& look_;
    const AVFrame& picture_;
    const AVFrame* key_;
    quol::PictureSize target_;
    double radius_ = 0.0;
    Fragment fragment_;
};

} // namespace

ShaderModel::ShaderModel(int width, int height)
    : width_(width),
      height_(height),
      pixels_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {}

void ShaderModel::load(const AVFrame& rgba) {
    for (int y = 0; y < height_; ++y) {
        for (int x = 0; x < width_; ++x) {
            const std::uint8_t* got =
                rgba.data[0] + static_cast<std::ptrdiff_t>(y) * rgba.linesize[0] + x * 4;
            pixels_[static_cast<std::size_t>(y) * width_ + x] = {
                got[0] / 255.0, got[1] / 255.0, got[2] / 255.0, got[3] / 255.0, false};
        }
    }
}

void ShaderModel::draw(const quol::LayerLook& look, const AVFrame& picture, const AVFrame* key) {
    const quol::PictureSize target = quol::targetSize(look, picture);
    if (target.width <= 0 || target.height <= 0) return;
    Shading shading(look, picture, key);
    for (int y = std::max(0, look.y); y < std::min(height_, look.y + target.height); ++y) {
        for (int x = std::max(0, look.x); x < std::min(width_, look.x + target.width); ++x) {
            const Fragment fragment =
                shading.at((x - look.x + 0.5) / target.width, (y - look.y + 0.5) / target.height);
            Pixel& pixel = pixels_[static_cast<std::size_t>(y) * width_ + x];
            pixel.undecided = pixel.undecided || fragment.close;
            if (fragment.discarded) continue;
            const double a = unit(fragment.rgba[3]);
            const auto blended = [a](double source, double under) {
                return kept(unit(source) * a + under * (1.0 - a));
            };
            pixel.red = blended(fragment.rgba[0], pixel.red);
            pixel.green = blended(fragment.rgba[1], pixel.green);
            pixel.blue = blended(fragment.rgba[2], pixel.blue);
            pixel.alpha = blended(a, pixel.alpha); // the factor counts for alpha, too
        }
    }
}

int ShaderModel::differences(const AVFrame& rgba, int tolerance) const {
    int count = 0;
    for (int y = 0; y < height_; ++y) {
        for (int x = 0; x < width_; ++x) {
            const Pixel& pixel = pixels_[static_cast<std::size_t>(y) * width_ + x];
            if (pixel.undecided) continue;
            const std::uint8_t* got =
                rgba.data[0] + static_cast<std::ptrdiff_t>(y) * rgba.linesize[0] + x * 4;
            const std::array<double, 4> wanted{pixel.red, pixel.green, pixel.blue, pixel.alpha};
            for (std::size_t i = 0; i < wanted.size(); ++i) {
                if (std::abs(got[i] - wanted[i] * 255.0) > tolerance + 1.0e-6) {
                    ++count;
                    break;
                }
            }
        }
    }
    return count;
}

int ShaderModel::undecided() const {
    return static_cast<int>(std::count_if(pixels_.begin(), pixels_.end(),
                                          [](const Pixel& pixel) { return pixel.undecided; }));
}

} // namespace test
