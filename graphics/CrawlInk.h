// The running text of a crawl.
#pragma once

#include <cairo.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "core/CairoHandles.h"
#include "graphics/CGPanel.h"
#include "quolsdk/LCGProps.h"

namespace quol {

// A crawl laid out along its way: what stands where, from 0 on. It follows the resolved text alone;
// what else changes shows with the next text.
//
// The strip may be longer than any surface, so it is drawn in tiles as they come into sight, and
// dropped when they have left it.
class CrawlStrip {
public:
    // `thickness` is the other side of the strip: the item's height, or width of a vertical one.
    // Lengths are in pixels. `loop` puts a separator behind the last entry too.
    CrawlStrip(cairo_t* cr, const LCGCrawlProps& props, const std::string& resolved, int width,
               int height, bool loop);

    const std::string& text() const { return text_; }
    double length() const { return length_; }        // of all entries and separators
    std::uint64_t serial() const { return serial_; } // another one for every strip made

    // Paints what of the strip lies in `visible`, with its start at (x, y).
    void paint(cairo_t* cr, double x, double y, const PixelRect& visible, double opacity);

private:
    struct Letter {
        std::string text;
        double x;
        double baseline;
    };
    struct Picture {
        double x;
        double y;
    };
    // What is filled, or painted, at once.
    using Run = std::variant<std::vector<Letter>, Picture>;

    void layOut(cairo_t* cr, const LCGCrawlProps& props, bool loop);
    double separatorLength(cairo_t* cr, const LCGCrawlProps& props) const;
    void addSeparator(cairo_t* cr, const LCGCrawlProps& props, double cursor, double baseline,
                      double ascent);
    void addText(cairo_t* cr, const std::string& line, double spacing, double x, double baseline);
    cairo_surface_t* tile(int index);
    SurfacePtr drawTile(int index) const;
    void drawLetters(cairo_t* cr, const std::vector<Letter>& letters, double from, double to) const;
    void drawPicture(cairo_t* cr, const Picture& picture, double from, double to) const;
    int tileCount() const;
    void dropTilesOutside(int first, int last);

    std::string text_;
    bool vertical_;
    int thickness_;
    std::string font_;
    double fontSize_;
    LCGColor color_;
    SurfacePtr separatorImage_;
    double separatorScale_ = 1.0;
    double length_ = 0.0;
    int surfaceLength_ = 1; // whole pixels along the way
    std::vector<Run> runs_; // along the way, each over those before it
    int tileLength_;
    std::map<int, SurfacePtr> tiles_;
    std::uint64_t serial_;
};

struct CrawlState {
    std::unique_ptr<CrawlStrip> strip; // null until first drawn
};

// Where a crawl's text stands, moved on by one picture: `at` moves by `speed` and begins again
// beyond the box, which lies from `start` on and is `size` long.
float movedScroll(float at, float speed, float start, float size, double length);

struct CrawlInk {
    CrawlStrip* strip = nullptr; // of the item; stands while the picture is drawn
    std::uint64_t serial = 0;    // of the strip, which tells one from another
    Box box;
    double padding = 0.0;
    double x = 0.0; // where the strip begins
    double y = 0.0;
    double opacity = 1.0;

    bool operator==(const CrawlInk& other) const {
        return serial == other.serial && box == other.box && padding == other.padding &&
               x == other.x && y == other.y && opacity == other.opacity;
    }
};

// Draws what lies within `visible` of the picture.
void drawInk(cairo_t* cr, const CrawlInk& ink, const PixelRect& visible);
PixelRect inkBounds(const CrawlInk& ink, const PixelRect& bounds);

} // namespace quol
