// The line, or the two of a slide, that a ticker shows.
#pragma once

#include <cairo.h>

#include <chrono>
#include <string>
#include <vector>

#include "graphics/CGPanel.h"
#include "quolsdk/LCGProps.h"

namespace quol {

// Which line of a ticker shows. Written by the render thread.
struct TickerState {
    int currentLine = 0;
    std::chrono::steady_clock::time_point lastSwitch = std::chrono::steady_clock::now();
    float transitionProgress = 0.0F;
    bool inTransition = false;

    // Moves on to `now`: a line rests for `duration` seconds, then slides for half a second.
    void advance(std::chrono::steady_clock::time_point now, float duration, int lineCount);
};

struct TickerInk {
    struct Line {
        std::string text;
        double offset = 0.0; // pixels down from the middle

        bool operator==(const Line&) const = default;
    };

    Box box;
    std::vector<Line> lines;
    std::string font;
    double size = 0.0;
    double spacing = 0.0;
    double padding = 0.0;
    LCGColor color;
    double opacity = 1.0;
    std::string hAlign;

    bool operator==(const TickerInk&) const = default;
};

// The lines of a ticker's text: never none.
std::vector<std::string> tickerLines(const std::string& resolved);

TickerInk tickerInk(const Box& box, const LCGTickerProps& props,
                    const std::vector<std::string>& lines, const TickerState& state,
                    double itemAlpha);

void drawInk(cairo_t* cr, const TickerInk& ink);
PixelRect inkBounds(const TickerInk& ink, const PixelRect& bounds);

} // namespace quol
