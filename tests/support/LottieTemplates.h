// Lottie templates of the suite's own, as text in the order of keys that exporters write, and what
// they need beside them.
#pragma once

#include <string>

namespace test {

// Size of all of them, so that they fill a canvas of that size.
inline constexpr int lottieWidth = 160;
inline constexpr int lottieHeight = 48;

struct LottieBox {
    int left = 0;
    int top = 0;
    int width = lottieWidth;
    int height = lottieHeight;
};

// How long a template is, and how fast it plays. A rate that is a power of two leaves nothing to
// round, whatever the length.
struct LottieTime {
    int frames = 20;
    double fps = 1024.0;
};

// A template of these layers, the first on top. `more` are further keys, each behind a comma.
std::string lottieOf(const std::string& layers, const std::string& more = "",
                     const LottieTime& time = {});

// What fills a box: a plain colour ("1,0,0,1"), a gradient from left to right ("0,1,0,0,1,0,0,1").
std::string plainFill(const std::string& color);
std::string gradientFill(const std::string& stops, const LottieBox& box = {});

// A layer that is a box, named before its fill.
std::string aeLayer(const std::string& name, const std::string& fill, const LottieBox& box = {});
// The same with its name behind its fill.
std::string cavalryLayer(const std::string& name, const std::string& fill,
                         const LottieBox& box = {});

// A box in a colour like "1,0,0,1" over all of the template.
std::string boxTemplate(const std::string& color, const LottieTime& time = {});

// Shows its frame number: a white column, 8 pixels wide, at 8 times the number. `markers` are
// those of lottieMarker, with commas between them.
std::string columnsTemplate(const std::string& markers = "", const LottieTime& time = {});
std::string lottieMarker(const std::string& name, int frame); // as it is understood

// A text of the letters A (a box at the left) and B (a box four times as wide), which the template
// brings along: it needs no font.
std::string textTemplate(const std::string& layerName, const std::string& text);

// An image over all of the template, shown by a layer of that name.
std::string imageTemplate(const std::string& layerName, const std::string& assetId,
                          const std::string& folder, const std::string& file);

// A file of a test's own with these bytes; its path.
std::string writeFile(const std::string& name, const std::string& bytes);

// A PNG file of one colour, as large as the templates. False when it cannot be written.
bool writePng(const std::string& path, int red, int green, int blue);

} // namespace test
