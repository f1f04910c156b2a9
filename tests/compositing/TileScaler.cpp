// Pictures scaled into tiles: the filter, the arithmetic of its rows, and the whole against a plain
// reference in floating point.
#include "compositing/TileScaler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>
#include <random>

#include "compositing/TileRows.h"
#include "core/PicturePool.h"
#include "support/Frames.h"
#include "support/PlainFrames.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace {

using quol::AxisFilter;
using quol::TileRect;
using quol::TileScaler;
using test::plainPicture;

// A value between the samples of a row, beyond its ends the last.
double between(const std::vector<double>& row, double place) {
    const double below = std::floor(place);
    const auto at = [&row](double index) {
        const double last = static_cast<double>(row.size()) - 1.0;
        return row[static_cast<std::size_t>(std::fmin(std::fmax(index, 0.0), last))];
    };
    return at(below) + (at(below + 1.0) - at(below)) * (place - below);
}

// What a tile's pixel is by the rule: the mean of a few values spread over what it covers.
double pixelOf(const std::vector<double>& row, int target, int samples, int pixel) {
    const double step = static_cast<double>(row.size()) / target;
    double sum = 0.0;
    for (int k = 0; k < samples; ++k)
        sum += between(row, (pixel + (k + 0.5) / samples) * step - 0.5);
    return sum / samples;
}

// A picture as doubles, and scaled one axis after the other.
struct Plane {
    int width;
    int height;
    std::vector<double> samples;

    double& at(int x, int y) {
        return samples[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                       static_cast<std::size_t>(x)];
    }

    Plane scaled(int toWidth, int toHeight, int across, int down) {
        Plane lines{width, toHeight,
                    std::vector<double>(static_cast<std::size_t>(width * toHeight))};
        for (int x = 0; x < width; ++x) {
            std::vector<double> column;
            for (int y = 0; y < height; ++y)
                column.push_back(at(x, y));
            for (int y = 0; y < toHeight; ++y)
                lines.at(x, y) = pixelOf(column, toHeight, down, y);
        }
        Plane result{toWidth, toHeight,
                     std::vector<double>(static_cast<std::size_t>(toWidth * toHeight))};
        for (int y = 0; y < toHeight; ++y) {
            const auto begin = lines.samples.begin() + std::ptrdiff_t{y} * width;
            const std::vector<double> row(begin, begin + width);
            for (int x = 0; x < toWidth; ++x)
                result.at(x, y) = pixelOf(row, toWidth, across, x);
        }
        return result;
    }
};

Plane planeOf(const AVFrame& frame, int component) {
    const AVPixFmtDescriptor& form = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    const AVComponentDescriptor& from = form.comp[component];
    const bool isChroma =
        (form.flags & AV_PIX_FMT_FLAG_RGB) == 0 && (component == 1 || component == 2);
    Plane plane{isChroma ? AV_CEIL_RSHIFT(frame.width, form.log2_chroma_w) : frame.width,
                isChroma ? AV_CEIL_RSHIFT(frame.height, form.log2_chroma_h) : frame.height,
                {}};
    for (int y = 0; y < plane.height; ++y) {
        for (int x = 0; x < plane.width; ++x)
            plane.samples.push_back(frame.data[from.plane][y * frame.linesize[from.plane] +
                                                           x * from.step + from.offset]);
    }
    return plane;
}

int held(double level) {
    return static_cast<int>(std::lround(std::fmin(std::fmax(level, 0.0), 255.0)));
}

// The whole tile, from full precision: luma at full size, chroma as the mean of four pixels.
struct Reference {
    int width;
    int height;
    std::vector<int> y, u, v;
};

Reference referenceOf(const AVFrame& frame, int width, int height) {
    const AVPixFmtDescriptor& form = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    const int across = quol::samplesPerPixel(frame.width, width);
    const int down = quol::samplesPerPixel(frame.height, height);
    const bool isRgb = (form.flags & AV_PIX_FMT_FLAG_RGB) != 0;
    std::vector<Plane> planes;
    for (int i = 0; i < form.nb_components; ++i)
        planes.push_back(planeOf(frame, i).scaled(width, height, across, down));
    const bool hasAlpha = (form.flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
    Reference result{width, height, {}, {}, {}};
    std::vector<double> us;
    std::vector<double> vs;
    std::vector<double> alphas;
    // Colours that no RGB has are held by the sample of chroma that four pixels share.
    const auto shared = [&](int component, int x, int y) {
        double sum = 0.0;
        int count = 0;
        for (int line = y / 2 * 2; line < std::min(y / 2 * 2 + 2, height); ++line) {
            for (int column = x / 2 * 2; column < std::min(x / 2 * 2 + 2, width); ++column, ++count)
                sum += planes[static_cast<std::size_t>(component)].at(column, line);
        }
        return sum / count;
    };
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const bool isGrey = form.nb_components < 3;
            const double a = planes[0].at(x, y);
            const double b = isGrey ? a : planes[1].at(x, y);
            const double c = isGrey ? a : planes[2].at(x, y);
            const double alpha = hasAlpha ? planes.back().at(x, y) / 255.0 : 1.0;
            const auto kept = [](double level) { return std::fmin(std::fmax(level, 0.0), 255.0); };
            double red = a;
            double green = b;
            double blue = c;
            if (!isRgb && !isGrey) {
                const double luma = (a - 16.00125) * 1.16438;
                const double u = (shared(1, x, y) - 127.5) * 1.13843;
                const double v = (shared(2, x, y) - 127.5) * 1.13843;
                red = kept(luma + 1.402 * v);
                green = kept(luma - 0.34414 * u - 0.71414 * v);
                blue = kept(luma + 1.772 * u);
            }
            result.y.push_back(held((0.299 * red + 0.587 * green + 0.114 * blue) * alpha));
            us.push_back(-0.169 * red - 0.331 * green + 0.500 * blue);
            vs.push_back(0.500 * red - 0.419 * green - 0.081 * blue);
            alphas.push_back(alpha);
        }
    }
    for (int y = 0; y < (height + 1) / 2; ++y) {
        for (int x = 0; x < (width + 1) / 2; ++x) {
            double u = 0.0;
            double v = 0.0;
            double alpha = 0.0;
            int count = 0;
            for (int line = 2 * y; line < std::min(2 * y + 2, height); ++line) {
                for (int column = 2 * x; column < std::min(2 * x + 2, width); ++column, ++count) {
                    const auto at = static_cast<std::size_t>(line * width + column);
                    u += us[at];
                    v += vs[at];
                    alpha += alphas[at];
                }
            }
            const double share = alpha / count;
            const auto faded = [&](double chroma) {
                return held(128.0 + (held(chroma / count + 127.5) - 128.0) * share);
            };
            result.u.push_back(faded(u));
            result.v.push_back(faded(v));
        }
    }
    return result;
}

struct Differences {
    int largest = 0;
    double mean = 0.0;
};

Differences compare(const AVFrame& frame, int plane, int width, const std::vector<int>& expected) {
    Differences found;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const int x = static_cast<int>(i) % width;
        const int y = static_cast<int>(i) / width;
        const int away = std::abs(frame.data[plane][y * frame.linesize[plane] + x] - expected[i]);
        found.largest = std::max(found.largest, away);
        found.mean += away;
    }
    found.mean /= static_cast<double>(expected.size());
    return found;
}

quol::FramePtr canvasOf(int width, int height) {
    quol::FramePtr canvas =
        quol::PicturePool().get((width + 1) / 2 * 2, (height + 1) / 2 * 2, AV_PIX_FMT_YUV420P);
    canvas->width = width;
    canvas->height = height;
    return canvas;
}

quol::FramePtr scaled(const AVFrame& source, int width, int height) {
    quol::FramePtr canvas = canvasOf(width, height);
    TileScaler scaler;
    TileScaler::Scratch scratch;
    const TileRect tile{0, 0, width, height};
    scaler.prepare(source, tile, tile);
    scaler.run(source, *canvas, 0, 0, 0, scaler.chromaRows(), scratch);
    return canvas;
}

} // namespace

// ------------------------------------------------------------------------------------- filters
TEST(AxisFilter, TakesASampleForEveryTwoThatAPixelCovers) {
    EXPECT_EQ(quol::samplesPerPixel(1920, 3840), 1);
    EXPECT_EQ(quol::samplesPerPixel(1920, 1920), 1);
    EXPECT_EQ(quol::samplesPerPixel(1920, 960), 1);
    EXPECT_EQ(quol::samplesPerPixel(1920, 958), 2);
    EXPECT_EQ(quol::samplesPerPixel(1920, 320), 3);
    EXPECT_EQ(quol::samplesPerPixel(1920, 192), 5);
    EXPECT_EQ(quol::samplesPerPixel(1920, 2), 32); // no more
    EXPECT_EQ(quol::samplesPerPixel(1920, 0), 1);
}

TEST(AxisFilter, WeightsAddUpExactlyAndAreWhatTheRuleSays) {
    constexpr int sizes[][2] = {{1920, 960}, {1920, 320}, {1920, 274}, {1080, 180}, {1080, 68},
                                {64, 192},   {7, 30},     {1, 12},     {720, 719},  {1920, 20}};
    for (const auto& size : sizes) {
        for (const int total : {quol::downTotal, quol::acrossTotal}) {
            const int samples = quol::samplesPerPixel(size[0], size[1]);
            const AxisFilter filter({size[0], size[1], samples, 1, 0, size[1]}, total, 8);
            ASSERT_EQ(filter.outputs(), size[1]);
            ASSERT_EQ(filter.taps() % 8, 0);
            for (int i = 0; i < size[1]; ++i) {
                const std::int16_t* const weights = filter.weights(i);
                ASSERT_EQ(std::accumulate(weights, weights + filter.used(i), 0), total);
                ASSERT_GE(filter.first(i), 0);
                ASSERT_LE(filter.first(i) + filter.used(i), size[0]);
                for (int k = filter.used(i); k < filter.taps(); ++k)
                    ASSERT_EQ(weights[k], 0);
                for (int k = 0; k < filter.used(i); ++k) {
                    // The weight of a sample is what a row of noughts with a one in it gives.
                    std::vector<double> row(static_cast<std::size_t>(size[0]), 0.0);
                    row[static_cast<std::size_t>(filter.first(i) + k)] = 1.0;
                    if (i % 17 == 0) {
                        ASSERT_NEAR(weights[k], total * pixelOf(row, size[1], samples, i), 1.01);
                    }
                }
            }
        }
    }
}

TEST(AxisFilter, AWholeRatioIsAPlainMean) {
    const AxisFilter filter({1920, 320, 3, 1, 0, 320}, quol::acrossTotal, 8);
    for (int i = 0; i < 320; ++i) {
        EXPECT_EQ(filter.first(i), 6 * i);
        ASSERT_EQ(filter.used(i), 6);
        for (int k = 0; k < 6; ++k)
            EXPECT_NEAR(filter.weights(i)[k], quol::acrossTotal / 6.0, 1.0);
    }
}

TEST(AxisFilter, PairsOfPixelsAreTheMeanOfBoth) {
    const AxisFilter pairs({960, 319, 2, 2, 0, 160}, quol::acrossTotal, 8);
    const AxisFilter single({960, 319, 2, 1, 0, 319}, quol::acrossTotal, 8);
    std::vector<double> row;
    for (int i = 0; i < 960; ++i)
        row.push_back(std::sin(i * 0.05) * 100.0);
    const auto value = [&row](const AxisFilter& filter, int i) {
        double sum = 0.0;
        for (int k = 0; k < filter.used(i); ++k)
            sum += row[static_cast<std::size_t>(filter.first(i) + k)] * filter.weights(i)[k];
        return sum / quol::acrossTotal;
    };
    for (int i = 0; i < 159; ++i)
        EXPECT_NEAR(value(pairs, i), (value(single, 2 * i) + value(single, 2 * i + 1)) / 2.0, 0.1);
    EXPECT_NEAR(value(pairs, 159), value(single, 318), 0.1); // the last has no neighbour
}

TEST(AxisFilter, APartOfTheOutputsIsTheSameAsThatPartOfAll) {
    const AxisFilter all({1920, 274, 4, 1, 0, 274}, quol::acrossTotal, 8);
    const AxisFilter part({1920, 274, 4, 1, 100, 150}, quol::acrossTotal, 8);
    ASSERT_EQ(part.outputs(), 50);
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(part.first(i), all.first(100 + i));
        for (int k = 0; k < part.used(i); ++k)
            EXPECT_EQ(part.weights(i)[k], all.weights(100 + i)[k]);
    }
}

// ---------------------------------------------------------------------------------------- rows
TEST(TileRows, DoWhatTheyAreSaidToDoToTheLastBit) {
    std::mt19937 random(7);
    for (const int count : {1, 3, 7, 8, 15, 16, 31, 64, 333}) {
        const auto size = static_cast<std::size_t>(count);
        std::vector<std::vector<std::uint8_t>> rows(3, std::vector<std::uint8_t>(size));
        for (auto& row : rows) {
            for (auto& sample : row)
                sample = static_cast<std::uint8_t>(random());
        }
        const std::uint8_t* const three[3] = {rows[0].data(), rows[1].data(), rows[2].data()};
        const std::int16_t weights[3] = {43, 100, 12};
        std::vector<std::uint16_t> sums(size);
        quol::weighRows(sums.data(), three, weights, true, count);
        quol::weighRow(sums.data(), rows[1].data(), 101, false, count);
        std::vector<std::int16_t> picked(size);
        quol::pickRow(picked.data(), sums.data(), 1, 0, count);
        for (std::size_t i = 0; i < size; ++i) {
            const int sum = rows[0][i] * 43 + rows[1][i] * 201 + rows[2][i] * 12;
            ASSERT_EQ(sums[i], sum);
            ASSERT_EQ(picked[i], sum / 2);
        }
        for (const int step : {2, 3, 4}) {
            const int some = count / step;
            quol::pickRow(picked.data(), sums.data(), step, step - 1, some);
            for (int i = 0; i < some; ++i)
                ASSERT_EQ(picked[static_cast<std::size_t>(i)],
                          sums[static_cast<std::size_t>(i * step + step - 1)] / 2);
        }
    }
}

TEST(TileRows, AcrossIsTheSameForEveryNumberOfTapsAndOutputs) {
    std::mt19937 random(9);
    constexpr int sizes[][2] = {{40, 40}, {40, 13}, {300, 21}, {640, 10},
                                {500, 6}, {9, 3},   {30, 91}};
    for (const auto& size : sizes) {
        const AxisFilter filter(
            {size[0], size[1], quol::samplesPerPixel(size[0], size[1]), 1, 0, size[1]},
            quol::acrossTotal, quol::acrossStep);
        std::vector<std::int16_t> samples(static_cast<std::size_t>(size[0] + filter.taps()));
        for (auto& sample : samples)
            sample = static_cast<std::int16_t>(random() % 32641);
        std::vector<std::int16_t> values(static_cast<std::size_t>(size[1]));
        quol::acrossRow(values.data(), samples.data(), filter);
        for (int i = 0; i < size[1]; ++i) {
            long sum = 16384;
            for (int k = 0; k < filter.used(i); ++k)
                sum += samples[static_cast<std::size_t>(filter.first(i) + k)] *
                       static_cast<long>(filter.weights(i)[k]);
            ASSERT_EQ(values[static_cast<std::size_t>(i)], sum >> 15) << size[0] << " " << size[1];
        }
    }
}

TEST(TileRows, InkIsLaidOverAsAlphaSays) {
    for (int alpha = 0; alpha < 256; ++alpha) {
        for (int level = 0; level < 256; ++level) {
            auto target = static_cast<std::uint8_t>(level);
            const auto ink = static_cast<std::uint8_t>(alpha / 3);
            const auto cover = static_cast<std::uint8_t>(alpha);
            quol::inkRow(&target, &ink, &cover, 1);
            const int expected =
                std::min(255, static_cast<int>(std::lround(level * (255 - alpha) / 255.0)) + ink);
            ASSERT_NEAR(target, expected, 0.0) << level << " " << alpha;
        }
    }
}

// ------------------------------------------------------------------------------------ pictures
TEST(TileScaler, APlainPictureStaysPlainInItsLevelsOfFullRange) {
    for (int y = 0; y < 256; y += 5) {
        for (const int chroma : {16, 90, 128, 160, 240}) {
            const auto picture = plainPicture(64, 36, {y, chroma, 255 - chroma});
            const auto tile = scaled(*picture, 30, 18);
            const auto expected = referenceOf(*picture, 30, 18);
            // A little beyond what RGB has is let be.
            ASSERT_LE(compare(*tile, 0, 30, expected.y).largest, 1) << y;
            ASSERT_LE(compare(*tile, 1, 15, expected.u).largest, 1) << chroma;
            ASSERT_LE(compare(*tile, 2, 15, expected.v).largest, 1) << chroma;
        }
    }
}

TEST(TileScaler, EveryFormOfPictureIsScaledByTheRule) {
    constexpr AVPixelFormat formats[] = {
        AV_PIX_FMT_YUV420P,  AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P,  AV_PIX_FMT_YUV410P,
        AV_PIX_FMT_YUV411P,  AV_PIX_FMT_YUV440P, AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_YUVA420P,
        AV_PIX_FMT_YUVA444P, AV_PIX_FMT_NV12,    AV_PIX_FMT_NV21,     AV_PIX_FMT_NV16,
        AV_PIX_FMT_UYVY422,  AV_PIX_FMT_YUYV422, AV_PIX_FMT_YVYU422,  AV_PIX_FMT_RGB24,
        AV_PIX_FMT_BGR24,    AV_PIX_FMT_RGBA,    AV_PIX_FMT_BGRA,     AV_PIX_FMT_ARGB,
        AV_PIX_FMT_RGB0,     AV_PIX_FMT_GBRP,    AV_PIX_FMT_GRAY8,    AV_PIX_FMT_YA8};
    constexpr int shapes[][4] = {
        {96, 54, 48, 26}, {97, 55, 31, 17}, {64, 36, 16, 6}, {32, 18, 80, 44}, {120, 90, 20, 15}};
    for (const AVPixelFormat format : formats) {
        for (const auto& shape : shapes) {
            const auto picture = test::makePicture(shape[0], shape[1], format);
            const auto tile = scaled(*picture, shape[2], shape[3]);
            const auto expected = referenceOf(*picture, shape[2], shape[3]);
            const int chromaWidth = (shape[2] + 1) / 2;
            const auto y = compare(*tile, 0, shape[2], expected.y);
            const auto u = compare(*tile, 1, chromaWidth, expected.u);
            const auto v = compare(*tile, 2, chromaWidth, expected.v);
            const auto name = av_get_pix_fmt_name(format);
            EXPECT_LE(std::max({y.largest, u.largest, v.largest}), 2) << name << " " << shape[0];
            EXPECT_LE(std::max({y.mean, u.mean, v.mean}), 0.5) << name << " " << shape[0];
        }
    }
}

TEST(TileScaler, RowsAreTheSameHoweverTheyAreSharedOut) {
    const auto picture = test::makePicture(190, 110, AV_PIX_FMT_YUV420P);
    const auto whole = scaled(*picture, 64, 36);
    const auto pieces = canvasOf(64, 36);
    TileScaler scaler;
    TileScaler::Scratch scratch;
    scaler.prepare(*picture, {0, 0, 64, 36}, {0, 0, 64, 36});
    for (const auto& [from, to] : {std::pair(11, 18), std::pair(0, 4), std::pair(4, 11)})
        scaler.run(*picture, *pieces, 0, 0, from, to, scratch);
    for (int plane = 0; plane < 3; ++plane) {
        const int width = plane == 0 ? 64 : 32;
        for (int y = 0; y < (plane == 0 ? 36 : 18); ++y)
            ASSERT_EQ(std::memcmp(whole->data[plane] + y * whole->linesize[plane],
                                  pieces->data[plane] + y * pieces->linesize[plane],
                                  static_cast<std::size_t>(width)),
                      0);
    }
}

TEST(TileScaler, WhatIsSeenOfATileIsThatPartOfIt) {
    const auto picture = test::makePicture(190, 110, AV_PIX_FMT_UYVY422);
    const auto whole = scaled(*picture, 64, 36);
    const auto part = canvasOf(20, 10);
    TileScaler scaler;
    TileScaler::Scratch scratch;
    scaler.prepare(*picture, {-30, -12, 64, 36}, {0, 0, 20, 10});
    scaler.run(*picture, *part, 0, 0, 0, scaler.chromaRows(), scratch);
    for (int plane = 0; plane < 3; ++plane) {
        const int shift = plane == 0 ? 0 : 1;
        for (int y = 0; y < 10 >> shift; ++y) {
            for (int x = 0; x < 20 >> shift; ++x)
                ASSERT_EQ(part->data[plane][y * part->linesize[plane] + x],
                          whole->data[plane][(y + (12 >> shift)) * whole->linesize[plane] + x +
                                             (30 >> shift)]);
        }
    }
}

TEST(TileScaler, APictureThatStandsUpsideDownInMemoryIsReadFromItsFirstRow) {
    const auto picture = test::makePicture(64, 36, AV_PIX_FMT_YUV420P);
    const auto upright = scaled(*picture, 32, 18);
    const auto turned = test::makePicture(64, 36, AV_PIX_FMT_YUV420P, 0, {1, 25}, 99);
    for (int plane = 0; plane < 3; ++plane) {
        const int rows = plane == 0 ? 36 : 18;
        turned->data[plane] += (rows - 1) * turned->linesize[plane];
        turned->linesize[plane] = -turned->linesize[plane];
        for (int y = 0; y < rows; ++y)
            std::memcpy(turned->data[plane] + y * turned->linesize[plane],
                        picture->data[plane] + y * picture->linesize[plane], plane == 0 ? 64 : 32);
    }
    const auto result = scaled(*turned, 32, 18);
    for (int y = 0; y < 18; ++y)
        ASSERT_EQ(std::memcmp(result->data[0] + y * result->linesize[0],
                              upright->data[0] + y * upright->linesize[0], 32),
                  0);
    for (int plane = 0; plane < 3; ++plane) { // as its buffers expect to find it
        const int rows = plane == 0 ? 36 : 18;
        turned->linesize[plane] = -turned->linesize[plane];
        turned->data[plane] -= (rows - 1) * turned->linesize[plane];
    }
}
