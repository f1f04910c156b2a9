// A small C++ host: contact sheets of what the character generator draws, as PNGs.
//
//     cg_gallery FOLDER [CLIP]
//
// Writes FOLDER/cg_gallery_panels.png, _texts.png, _items.png and _motion.png. CLIP is a file for
// the cell of video items, which is left out without one.
//
// Exit status: 0 done, 1 a sheet cannot be written, 2 wrong use.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "PngWriter.h"
#include "RgbSheet.h"
#include "quolsdk/LCharacter.h"
#include "quolsdk/LFrame.h"
#include "usage.h"

namespace {

constexpr int columns = 3;
constexpr int cellWidth = 400;
constexpr int captionHeight = 24;
constexpr int pictureHeight = 168;
constexpr int gap = 8;
constexpr const char* font = "DejaVu Sans";

// A frame tap that counts what it was given.
class CountingTap : public LFrame {
public:
    void pushVideoFrame(AVFrame* frame) override {
        LFrame::pushVideoFrame(frame);
        ++count_;
    }

    // A picture that was begun after this call, and `more` behind it.
    LFrame::Video pictureAfter(int more) {
        const int wanted = count_ + 2 + more;
        while (count_ < wanted)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        return getVideo();
    }

private:
    std::atomic<int> count_{0};
};

// A generator with a tap on it.
struct Stage {
    Stage() { tap.readerObject(&generator); }
    ~Stage() { tap.readerObject(nullptr); }
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;

    LCharacter generator;
    CountingTap tap;
};

struct Crop {
    int left = 0;
    int top = 0;
    int width = cellWidth;
    int height = pictureHeight;
};

// Part of a premultiplied picture over a checkered ground, opaque.
LFrame::Video overGround(const LFrame::Video& picture, const Crop& crop) {
    constexpr int dark = 88;
    constexpr int bright = 120;
    const int square = std::max(1, 8 * crop.width / cellWidth);
    LFrame::Video shown;
    shown.width = crop.width;
    shown.height = crop.height;
    shown.stride = crop.width * 4;
    shown.rgba.assign(static_cast<std::size_t>(shown.stride) * shown.height, 255);
    for (int y = 0; y < crop.height; ++y) {
        for (int x = 0; x < crop.width; ++x) {
            const std::uint8_t* const source =
                &picture.rgba[static_cast<std::size_t>(crop.top + y) * picture.stride +
                              static_cast<std::size_t>(crop.left + x) * 4];
            const int ground = (x / square + y / square) % 2 == 0 ? dark : bright;
            for (int i = 0; i < 3; ++i) {
                const int sum = source[i] + ground * (255 - source[3]) / 255;
                shown.rgba[(static_cast<std::size_t>(y) * crop.width + x) * 4 + i] =
                    static_cast<std::uint8_t>(std::min(sum, 255));
            }
        }
    }
    return shown;
}

// ----------------------------------------------------------------------------------- sheets

struct Cell {
    std::string caption;
    std::function<void(LCharacter&)> build;
    // How many pictures to wait before each one that is shown, one below the other.
    std::vector<int> waits = {0};
    Crop crop = {};
};

RgbSheet emptySheet(std::size_t cells) {
    constexpr std::uint8_t background = 32;
    const int rows = static_cast<int>((cells + columns - 1) / columns);
    return {gap + columns * (cellWidth + gap), gap + rows * (captionHeight + pictureHeight + gap),
            background};
}

void drawCaption(RgbSheet& sheet, int left, int top, const std::string& caption) {
    Stage stage;
    LCGTextProps props;
    props.text = caption;
    props.font = font;
    props.fontSize = 15;
    props.padding = 4;
    props.autoShrink = true;
    props.bgType = "Color";
    props.bgColor = "#202020";
    stage.generator.addItem("caption", 0, 0, cellWidth, captionHeight, props);
    const Crop crop{0, 0, cellWidth, captionHeight};
    sheet.put({left, top, cellWidth, captionHeight}, overGround(stage.tap.pictureAfter(0), crop));
}

void drawCell(RgbSheet& sheet, int index, const Cell& cell) {
    const int left = gap + index % columns * (cellWidth + gap);
    const int top = gap + index / columns * (captionHeight + pictureHeight + gap);
    drawCaption(sheet, left, top, cell.caption);
    Stage stage;
    cell.build(stage.generator);
    const int count = static_cast<int>(cell.waits.size());
    const int each = pictureHeight / count;
    const int shown = count > 1 ? each - 2 : each;
    Crop crop = cell.crop;
    crop.height = crop.width * shown / cellWidth;
    for (int i = 0; i < count; ++i) {
        const LFrame::Video picture =
            stage.tap.pictureAfter(cell.waits[static_cast<std::size_t>(i)]);
        sheet.put({left, top + captionHeight + i * each, cellWidth, shown},
                  overGround(picture, crop));
    }
}

bool makeSheet(const std::filesystem::path& folder, const std::string& name,
               const std::vector<Cell>& cells) {
    RgbSheet sheet = emptySheet(cells.size());
    for (std::size_t i = 0; i < cells.size(); ++i)
        drawCell(sheet, static_cast<int>(i), cells[i]);
    const std::string path = (folder / ("cg_gallery_" + name + ".png")).string();
    const bool saved = sheet.save(path);
    std::printf("%s %s\n", saved ? "wrote" : "could not write", path.c_str());
    return saved;
}

// ------------------------------------------------------------------------------------ cells

// A panel in the middle of the cell.
Cell panelCell(const std::string& caption, const std::function<void(LCGRectProps&)>& dress) {
    return {caption, [dress](LCharacter& generator) {
                LCGRectProps props;
                props.bgType = "Color";
                props.bgColor = "#2060C0";
                dress(props);
                generator.addItem("panel", 60, 34, 280, 100, props);
            }};
}

std::vector<Cell> panelCells() {
    std::vector<Cell> cells;
    for (const int radius : {0, 25, 50, 100}) {
        cells.push_back(panelCell("bgRadius " + std::to_string(radius),
                                  [radius](auto& props) { props.bgRadius = radius; }));
    }
    cells.push_back(panelCell("bgAlpha 128", [](auto& props) { props.bgAlpha = 128; }));
    cells.push_back(panelCell("bgType \"Gradient\", start and end colour", [](auto& props) {
        props.bgType = "Gradient";
        props.bgGradientStartColor = "#F0C020";
        props.bgGradientEndColor = "#802060";
    }));
    cells.push_back(panelCell("gradient, bgAlpha 128, bgRadius 50", [](auto& props) {
        props.bgType = "Gradient";
        props.bgGradientStartColor = "#F0C020";
        props.bgGradientEndColor = "#802060";
        props.bgAlpha = 128;
        props.bgRadius = 50;
    }));
    cells.push_back(panelCell("borderSize 2, white", [](auto& props) { props.borderSize = 2; }));
    cells.push_back(panelCell("borderSize 16, borderAlpha 128, bgRadius 50", [](auto& props) {
        props.borderSize = 16;
        props.borderAlpha = 128;
        props.borderColor = "#FFE040";
        props.bgRadius = 50;
    }));
    const auto shadow = [](auto& props) {
        props.bgShadowAlpha = 160;
        props.bgShadowOffsetX = 14.0F;
        props.bgShadowOffsetY = 12.0F;
    };
    cells.push_back(panelCell("shadow: alpha 160, offset 14, 12", shadow));
    cells.push_back(panelCell("the same below bgAlpha 128, bgRadius 100", [shadow](auto& props) {
        shadow(props);
        props.bgAlpha = 128;
        props.bgRadius = 100;
    }));
    cells.push_back(panelCell("bgType \"Solid\", the default: nothing",
                              [](auto& props) { props = LCGRectProps(); }));
    return cells;
}

LCGTextProps textProps(const std::string& text, int size) {
    LCGTextProps props;
    props.text = text;
    props.font = font;
    props.fontSize = size;
    props.bgType = "Color";
    props.bgColor = "#103060";
    props.bgAlpha = 200;
    return props;
}

Cell textCell(const std::string& caption, const std::string& text, int size,
              const std::function<void(LCGTextProps&)>& dress) {
    return {caption, [=](LCharacter& generator) {
                LCGTextProps props = textProps(text, size);
                dress(props);
                generator.addItem("text", 20, 14, 360, 140, props);
            }};
}

std::vector<Cell> textCells() {
    std::vector<Cell> cells;
    const std::pair<const char*, const char*> alignments[] = {
        {"Left", "Top"}, {"Center", "Center"}, {"Right", "Bottom"}};
    for (const auto& [across, down] : alignments) {
        cells.push_back(textCell(std::string("hAlign \"") + across + "\", vAlign \"" + down + "\"",
                                 "Two lines\nof a title", 30,
                                 [across = across, down = down](LCGTextProps& props) {
                                     props.hAlign = across;
                                     props.vAlign = down;
                                 }));
    }
    cells.push_back(textCell("padding 24", "Two lines\nof a title", 30,
                             [](LCGTextProps& props) { props.padding = 24; }));
    cells.push_back(textCell("letterSpacing 8", "Letters", 40,
                             [](LCGTextProps& props) { props.letterSpacing = 8.0F; }));
    cells.push_back(textCell("letterSpacing -6", "Letters", 40,
                             [](LCGTextProps& props) { props.letterSpacing = -6.0F; }));
    cells.push_back(textCell("too long: leaves its box", "A line that is far too long", 40,
                             [](LCGTextProps&) {}));
    cells.push_back(textCell("the same with autoShrink", "A line that is far too long", 40,
                             [](LCGTextProps& props) { props.autoShrink = true; }));
    cells.push_back(textCell("textAlpha 110; colour #80FFE040 below", "textAlpha\n ", 40,
                             [](LCGTextProps& props) { props.textAlpha = 110; }));
    const auto build = cells.back().build;
    cells.back().build = [build](LCharacter& generator) {
        build(generator);
        LCGTextProps props = textProps("colour", 40);
        props.bgType = "None";
        props.color = "#80FFE040";
        generator.addItem("second", 20, 84, 360, 60, props);
    };
    cells.push_back(textCell("Turkish and German", "İğne ışık çöğüş\nGrüße aus Köln, ß", 32,
                             [](LCGTextProps& props) { props.hAlign = "Center"; }));
    cells.push_back(textCell("Arabic: letter by letter, from the left", "مرحبا بكم", 44,
                             [](LCGTextProps& props) { props.hAlign = "Center"; }));
    cells.push_back(textCell("emoji: as far as the font has them", "☀ ♥ 😀 🎉", 44,
                             [](LCGTextProps& props) { props.hAlign = "Center"; }));
    cells.push_back(
        textCell("panel: gradient, border, shadow", "Evening news", 36, [](LCGTextProps& props) {
            props.hAlign = "Center";
            props.bgType = "Gradient";
            props.bgGradientStartColor = "#3070D0";
            props.bgGradientEndColor = "#102040";
            props.bgRadius = 30;
            props.borderSize = 3;
            props.bgShadowAlpha = 150;
            props.bgShadowOffsetX = props.bgShadowOffsetY = 8.0F;
        }));
    cells.push_back(
        textCell("bgType \"None\": no border either", "Evening news", 36, [](LCGTextProps& props) {
            props.hAlign = "Center";
            props.bgType = "None";
            props.borderSize = 3;
        }));
    cells.push_back(textCell("tags: the time, and a count up",
                             "time::HH:mm:ss\ntUp::ss:ii::10:00 %", 36,
                             [](LCGTextProps& props) { props.hAlign = "Center"; }));
    return cells;
}

// Rings of colour, to see by whether an image is whole.
std::string writeImage(const std::filesystem::path& folder) {
    constexpr int w = 120;
    constexpr int h = 80;
    std::vector<std::uint8_t> rgb;
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            const bool edge = x < 3 || y < 3 || x >= w - 3 || y >= h - 3;
            const int ring = static_cast<int>(std::hypot(x - w / 2, y - h / 2)) / 8 % 3;
            for (int i = 0; i < 3; ++i)
                rgb.push_back(edge ? 255 : static_cast<std::uint8_t>(ring == i ? 220 : 50));
        }
    }
    std::string path = (folder / "cg_gallery_image.png").string();
    return writePng(path, w, h, rgb) ? path : "";
}

LCGImageProps imageProps(const std::string& path) {
    LCGImageProps props;
    props.path = path;
    return props;
}

void addAlphaSteps(LCharacter& generator) {
    for (int i = 0; i < 4; ++i) {
        LCGTextProps props = textProps("Ag", 40);
        props.bgColor = "#C02020";
        props.bgAlpha = 255;
        props.hAlign = "Center";
        LCGItem* const item =
            generator.addItem("step" + std::to_string(i), 20 + i * 92, 40, 84, 88, props);
        item->alpha = 1.0F - 0.25F * static_cast<float>(i);
    }
    generator.forceUpdate();
}

void addGroup(LCharacter& generator, float x, float y) {
    LCGRectProps panel;
    panel.bgType = "Color";
    panel.bgColor = "#207040";
    panel.bgRadius = 30;
    generator.addItem("panel", 20, 20, 220, 80, panel);
    LCGTextProps text = textProps("a group", 36);
    text.bgType = "None";
    text.hAlign = "Center";
    generator.addItem("text", 20, 20, 220, 80, text);
    LCGGroup* const group = generator.getGroupObject(generator.group({"panel", "text"}));
    group->x = x;
    group->y = y;
    generator.forceUpdate();
}

std::vector<Cell> itemCells(const std::string& image, const std::string& clip) {
    std::vector<Cell> cells;
    const auto imageCell = [&](const std::string& caption, int w, int h) {
        cells.push_back({caption, [=](LCharacter& generator) {
                             generator.addItem("image", 20, 14, w, h, imageProps(image));
                         }});
    };
    imageCell("image, 120x80, at its own size", 0, 0);
    imageCell("image scaled to 360x140", 360, 140);
    imageCell("image scaled to 45x30", 45, 30);
    cells.push_back({"image on a panel, alpha 0.5", [image](LCharacter& generator) {
                         LCGRectProps panel;
                         panel.bgType = "Color";
                         panel.bgColor = "#E0E0E0";
                         generator.addItem("panel", 20, 14, 200, 140, panel);
                         generator.addItem("image", 120, 44, 0, 0, imageProps(image))->alpha = 0.5F;
                         generator.forceUpdate();
                     }});
    cells.push_back({"item alpha 1, 0.75, 0.5, 0.25", addAlphaSteps});
    cells.push_back({"a group, at home", [](LCharacter& g) { addGroup(g, 0.0F, 0.0F); }});
    cells.push_back(
        {"the same group at x 130, y 50", [](LCharacter& g) { addGroup(g, 130.0F, 50.0F); }});
    if (!clip.empty()) {
        cells.push_back({"video, 284x160",
                         [clip](LCharacter& generator) {
                             LCGVideoProps props;
                             props.path = clip;
                             generator.addItem("video", 20, 4, 284, 160, props);
                         },
                         {10}});
    }
    cells.push_back(
        {"a lower third of a panel, an image and texts", [image](LCharacter& generator) {
             LCGRectProps panel;
             panel.bgType = "Gradient";
             panel.bgGradientStartColor = "#204080";
             panel.bgGradientEndColor = "#081830";
             panel.bgRadius = 20;
             generator.addItem("panel", 10, 70, 380, 90, panel);
             generator.addItem("image", 20, 75, 120, 80, imageProps(image));
             LCGTextProps name = textProps("Ayşe Öztürk", 28);
             name.bgType = "None";
             generator.addItem("name", 152, 76, 230, 40, name);
             name.text = "reporter";
             name.fontSize = 18;
             name.color = "#FFE040";
             generator.addItem("role", 152, 116, 230, 30, name);
         }});
    return cells;
}

LCGCrawlProps crawlProps(const std::string& text) {
    LCGCrawlProps props;
    props.text = text;
    props.font = font;
    props.fontSize = 24;
    props.bgType = "Color";
    props.bgColor = "#601020";
    return props;
}

// A crawl from `from` on, four moments of it.
Cell crawlCell(const std::string& caption, float from,
               const std::function<void(LCGCrawlProps&)>& dress) {
    return {caption,
            [=](LCharacter& generator) {
                LCGCrawlProps props = crawlProps("Breaking news\nGrüße, İyi akşamlar\nThird entry");
                dress(props);
                auto* const crawl =
                    dynamic_cast<LCGCrawlItem*>(generator.addItem("crawl", 20, 3, 360, 36, props));
                crawl->scrollX = from;
            },
            {0, 12, 12, 12}};
}

Cell verticalCell(const std::string& caption, float from, float speed, int padding) {
    return {caption,
            [=](LCharacter& generator) {
                LCGCrawlProps props = crawlProps("First entry\nSecond entry\nThird entry");
                props.textMove = "Vertical";
                props.textSpeed = speed;
                props.padding = padding;
                auto* const crawl =
                    dynamic_cast<LCGCrawlItem*>(generator.addItem("crawl", 20, 3, 360, 78, props));
                crawl->scrollX = 30.0F;
                crawl->scrollY = from;
            },
            {0, 16}};
}

// A ticker that changes lines all the time, seen every sixth picture.
Cell tickerCell(const std::string& caption, const std::string& move, const std::string& align) {
    return {caption,
            [=](LCharacter& generator) {
                LCGTickerProps props;
                props.text = "First line\nSecond, longer line\nThird";
                props.font = font;
                props.fontSize = 24;
                props.padding = 2;
                props.bgType = "Color";
                props.bgColor = "#105050";
                props.hAlign = align;
                props.textMove = move;
                props.textMoveDuration = 0.1F;
                generator.addItem("ticker", 20, 3, 360, 36, props);
            },
            {0, 6, 6, 6}};
}

// A text on its way across the whole picture.
Cell driftCell(const std::string& caption, int x, float speed, bool loop) {
    return {caption,
            [=](LCharacter& generator) {
                LCGTextProps props = textProps("drifting", 90);
                props.hAlign = "Center";
                LCGItem* const item = generator.addItem("text", x, 30, 500, 130, props);
                item->moveLoop = loop;
                item->moveSpeed = speed;
                // A text may be written to only while the generator leaves the item alone.
                generator.showItem("text", false);
                item->moveType = "Horizontal";
                generator.showItem("text", true);
            },
            {0, 12, 16, 14},
            {0, 0, 1920, 0}};
}

std::vector<Cell> motionCells(const std::string& image) {
    std::vector<Cell> cells;
    cells.push_back(crawlCell("crawl to the left, textSpeed -4", 100.0F,
                              [](LCGCrawlProps& props) { props.textSpeed = -4.0F; }));
    cells.push_back(
        crawlCell("to the right, textSpeed 4, padding 6", -120.0F, [](LCGCrawlProps& props) {
            props.textSpeed = 4.0F;
            props.padding = 6;
        }));
    cells.push_back(
        crawlCell("separatorImage, textSpeed -3.5", 20.0F, [image](LCGCrawlProps& props) {
            props.textSpeed = -3.5F;
            props.separatorImage = image;
        }));
    cells.push_back(
        crawlCell("textSeparator \" *** \", separatorPadding 40", 20.0F, [](LCGCrawlProps& props) {
            props.textSeparator = " *** ";
            props.separatorPadding = 40;
        }));
    cells.push_back(verticalCell("crawl up, textSpeed -2", 40.0F, -2.0F, 0));
    cells.push_back(verticalCell("crawl down, textSpeed 2, padding 12", -60.0F, 2.0F, 12));
    cells.push_back(tickerCell("ticker, textMove \"Up\"", "Up", "Left"));
    cells.push_back(tickerCell("ticker, textMove \"Down\", hAlign \"Center\"", "Down", "Center"));
    cells.push_back(tickerCell("ticker, textMove \"None\", hAlign \"Right\"", "None", "Right"));
    cells.push_back(
        driftCell("drift to the right, moveLoop: the whole picture", 1100, 22.0F, true));
    cells.push_back(driftCell("drift to the right, no moveLoop: hides", 1100, 22.0F, false));
    cells.push_back(driftCell("drift to the left, moveLoop", 150, -22.0F, true));
    return cells;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2 || argc > 3 || asks_for_help(argc, argv)) {
        return tell_usage(argc, argv, "FOLDER [CLIP]", "draw what the character generator can do");
    }
    const std::filesystem::path folder = argv[1];
    const std::string image = writeImage(folder);
    bool saved = makeSheet(folder, "panels", panelCells());
    saved = makeSheet(folder, "texts", textCells()) && saved;
    saved = makeSheet(folder, "items", itemCells(image, argc == 3 ? argv[2] : "")) && saved;
    saved = makeSheet(folder, "motion", motionCells(image)) && saved;
    std::error_code ignored;
    std::filesystem::remove(image, ignored);
    return saved ? 0 : 1;
}
