#include "graphics/SceneRenderer.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>
#include <random>

#include "core/PicturePool.h"
#include "graphics/CGImages.h"
#include "support/CapturedStream.h"

namespace {

using namespace std::chrono_literals;
using quol::FramePtr;
using quol::PixelRect;
using quol::SceneRenderer;
using Items = std::vector<std::unique_ptr<LCGItem>>;

constexpr int width = 640;
constexpr int height = 360;
constexpr PixelRect canvas{0, 0, width, height};

quol::TagTime timeAt(int tick) {
    return {std::chrono::system_clock::time_point(1000000s + tick * 20ms),
            std::chrono::steady_clock::time_point(1000s + tick * 20ms)};
}

template <typename Item>
Item& put(Items& items, float x, float y, int w, int h) {
    items.push_back(std::make_unique<Item>());
    LCGItem& item = *items.back();
    item.id = "item" + std::to_string(items.size());
    item.x = item.startX = x;
    item.y = item.startY = y;
    item.w = w;
    item.h = h;
    return static_cast<Item&>(item);
}

LCGRectItem& putPanel(Items& items, float x, float y, int w, int h, const char* color) {
    auto& item = put<LCGRectItem>(items, x, y, w, h);
    item.props.bgType = "Color";
    item.props.bgColor = color;
    return item;
}

int sampleAt(const AVFrame& frame, int plane, int x, int y) {
    const int shift = plane == 1 || plane == 2 ? 1 : 0;
    return frame.data[plane][(y >> shift) * frame.linesize[plane] + (x >> shift)];
}

// The samples of a picture, without what lies between its rows.
std::vector<std::uint8_t> samplesOf(const AVFrame& frame) {
    std::vector<std::uint8_t> all;
    for (int plane = 0; plane < 4; ++plane) {
        const int shift = plane == 1 || plane == 2 ? 1 : 0;
        for (int row = 0; row < frame.height >> shift; ++row) {
            const std::uint8_t* const begin =
                frame.data[plane] + static_cast<std::ptrdiff_t>(row) * frame.linesize[plane];
            all.insert(all.end(), begin, begin + (frame.width >> shift));
        }
    }
    return all;
}

// "" for two pictures that are the same in every sample.
std::string difference(const AVFrame& a, const AVFrame& b) {
    if (samplesOf(a) == samplesOf(b)) return "";
    for (int plane = 0; plane < 4; ++plane) {
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const int one = sampleAt(a, plane, x, y);
                const int other = sampleAt(b, plane, x, y);
                if (one == other) continue;
                return "plane " + std::to_string(plane) + " at " + std::to_string(x) + "," +
                       std::to_string(y) + ": " + std::to_string(one) + " for " +
                       std::to_string(other);
            }
        }
    }
    return "";
}

// What the items were told to show, drawn without any clip and converted in one piece.
FramePtr drawnWhole(const Items& items) {
    const quol::SurfacePtr surface = quol::makeSurface(width, height);
    const quol::CairoPtr cr(cairo_create(surface.get()));
    cairo_surface_mark_dirty(surface.get()); // cairo rounds in another way on a blank one
    for (const auto& item : items) {
        cairo_new_path(cr.get());
        if (item->memory->drawn.visible) quol::drawItem(cr.get(), item->memory->drawn, canvas);
    }
    EXPECT_EQ(cairo_status(cr.get()), CAIRO_STATUS_SUCCESS);
    cairo_surface_flush(surface.get());
    FramePtr pixels = quol::makeFrame();
    pixels->width = width;
    pixels->height = height;
    pixels->format = AV_PIX_FMT_BGRA;
    pixels->data[0] = cairo_image_surface_get_data(surface.get());
    pixels->linesize[0] = cairo_image_surface_get_stride(surface.get());
    FramePtr frame = quol::PicturePool().get(width, height, AV_PIX_FMT_YUVA420P);
    if (frame) quol::VideoConverter().convert(*pixels, *frame, canvas);
    return frame;
}

// ------------------------------------------------------------------- the same state once more

// What a crawl was laid out by: its look stands until its text changes, so the props of now do not
// tell it.
struct Layout {
    std::uint64_t serial = 0;
    LCGCrawlProps props;
    int w = 0;
    int h = 0;
    bool loop = false;
};

// A scene beside the one under test, which shows the same without having moved there: every tick it
// is made anew from the state the other one has come to.
class Twin {
public:
    // To be called after each tick of `items`.
    Items of(const Items& items) {
        Items twins;
        for (const auto& item : items) {
            twins.push_back(twinOf(*item));
            LCGItem& twin = *twins.back();
            twin.id = item->id;
            twin.x = item->x.load();
            twin.y = item->y.load();
            twin.w = item->w.load();
            twin.h = item->h.load();
            twin.show = item->show.load();
            twin.alpha = item->alpha.load();
            twin.group = item->group;
            twin.moveLoop = item->moveLoop.load();
        }
        return twins;
    }

    // Clips cannot be copied: their twins play along, and have to be kept.
    void keepClips(const Items& items, Items& twins) {
        for (std::size_t i = 0; i < items.size(); ++i) {
            if (dynamic_cast<LCGVideoItem*>(twins[i].get()) == nullptr) continue;
            twins[i]->memory->drawn = {};
            clips_[items[i].get()] = std::move(twins[i]);
        }
    }

    void forget(const LCGItem& item) {
        layouts_.erase(&item);
        clips_.erase(&item);
    }

private:
    template <typename Item>
    static std::unique_ptr<LCGItem> withProps(const Item& item) {
        auto twin = std::make_unique<Item>();
        twin->props = item.props;
        return twin;
    }

    std::unique_ptr<LCGItem> twinOf(const LCGItem& item) {
        if (const auto* text = dynamic_cast<const LCGTextItem*>(&item)) return withProps(*text);
        if (const auto* rect = dynamic_cast<const LCGRectItem*>(&item)) return withProps(*rect);
        if (const auto* image = dynamic_cast<const LCGImageItem*>(&item)) return withProps(*image);
        if (const auto* crawl = dynamic_cast<const LCGCrawlItem*>(&item)) return twinCrawl(*crawl);
        if (const auto* ticker = dynamic_cast<const LCGTickerItem*>(&item)) {
            auto twin = withProps(*ticker);
            *static_cast<LCGTickerItem&>(*twin).state = *ticker->state;
            return twin;
        }
        const auto& video = dynamic_cast<const LCGVideoItem&>(item);
        std::unique_ptr<LCGItem>& kept = clips_[&item];
        if (!kept) {
            kept = withProps(video);
            EXPECT_TRUE(static_cast<LCGVideoItem&>(*kept).reader->open(video.props.path));
        }
        return std::move(kept);
    }

    std::unique_ptr<LCGItem> twinCrawl(const LCGCrawlItem& crawl) {
        auto twin = std::make_unique<LCGCrawlItem>();
        twin->props = crawl.props;
        twin->props.textSpeed = 0.0F;
        twin->scrollX = crawl.scrollX.load();
        twin->scrollY = crawl.scrollY.load();
        if (!crawl.state->strip) return twin; // not shown so far
        Layout& layout = layouts_[&crawl];
        if (layout.serial != crawl.state->strip->serial()) {
            layout = {crawl.state->strip->serial(), crawl.props, crawl.w, crawl.h, crawl.moveLoop};
        }
        const quol::SurfacePtr surface = quol::makeSurface(1, 1);
        const quol::CairoPtr cr(cairo_create(surface.get()));
        twin->state->strip = std::make_unique<quol::CrawlStrip>(
            cr.get(), layout.props, crawl.state->strip->text(), layout.w, layout.h, layout.loop);
        return twin;
    }

    std::map<const LCGItem*, Layout> layouts_;
    std::map<const LCGItem*, std::unique_ptr<LCGItem>> clips_;
};

// ------------------------------------------------------------------------------ random scenes

class Chance {
public:
    explicit Chance(unsigned seed) : engine_(seed) {}

    int number(int least, int most) {
        return std::uniform_int_distribution<int>(least, most)(engine_);
    }
    bool one(int in) { return number(1, in) == 1; }
    float place(int least, int most) {
        const auto whole = static_cast<float>(number(least, most));
        return one(2) ? whole : whole + static_cast<float>(number(0, 99)) / 100.0F;
    }
    template <typename T>
    T of(std::initializer_list<T> choices) {
        return choices.begin()[number(0, static_cast<int>(choices.size()) - 1)];
    }
    LCGColor color() {
        char text[16];
        std::snprintf(text, sizeof text, "#%02X%06X", number(0, 255), number(0, 0xFFFFFF));
        return text;
    }
    // No tag that counts: a count belongs to one renderer.
    std::string text() {
        return of<std::string>({"Evening news", "çğışöü İĞŞ", "Größe\n\nÄÖÜß", "مرحبا بكم",
                                "one\ntwo\nthree", "😀 🎉", "", "\n\n", "time::mm:ss:ii",
                                "broken \xC3\x28 text \xF0\x9F", "a", "AVAVAV, fjord.",
                                "a longer line that may well leave its box on the right side"});
    }

private:
    std::mt19937 engine_;
};

template <typename Props>
void dressPanel(Chance& chance, Props& props) {
    props.bgType = chance.of<std::string>({"None", "Color", "Gradient", "Gradient"});
    props.bgColor = chance.color();
    props.bgGradientStartColor = chance.color();
    props.bgGradientEndColor = chance.color();
    props.bgAlpha = chance.number(0, 255);
    props.bgRadius = chance.of({0, 0, 10, 50, 100, 180});
    props.borderSize = chance.of({0, 0, 1, 2, 5, 30});
    props.borderColor = chance.color();
    props.borderAlpha = chance.number(0, 255);
    props.bgShadowAlpha = chance.of({0, 0, 90, 255});
    props.bgShadowColor = chance.color();
    props.bgShadowOffsetX = chance.place(-30, 30);
    props.bgShadowOffsetY = chance.place(-30, 30);
}

template <typename Props>
void dressText(Chance& chance, Props& props) {
    props.text = chance.text();
    props.font =
        chance.of<std::string>({"Arial", "DejaVu Serif", "DejaVu Sans Mono", "Nowhere", ""});
    props.fontSize = chance.of({5, 12, 24, 40, 90});
    props.color = chance.color();
    props.textAlpha = chance.number(0, 255);
    props.letterSpacing = chance.of({0.0F, 0.0F, 2.5F, -4.0F, 20.0F});
    props.autoShrink = chance.one(2);
    props.padding = chance.of({0, 0, 6, 25, 200});
    props.hAlign = chance.of<std::string>({"Left", "Center", "Right"});
    props.vAlign = chance.of<std::string>({"Top", "Center", "Bottom"});
    dressPanel(chance, props);
}

void dress(Chance& chance, LCGCrawlItem& item) {
    dressText(chance, item.props);
    item.props.textMove = chance.of<std::string>({"Horizontal", "Vertical"});
    item.props.textSpeed = chance.of({-5.0F, -2.5F, 3.0F, 0.0F, -40.0F, 0.3F});
    item.props.separatorImage = chance.one(3) ? test::mediaPath("still.png") : "";
    item.props.separatorPadding = chance.of({0, 20, 7});
}

void dress(Chance& chance, LCGTickerItem& item) {
    dressText(chance, item.props);
    item.props.textMove = chance.of<std::string>({"Up", "Down", "Left"});
    item.props.textMoveDuration = chance.of({0.0F, 0.1F, 0.3F});
}

void dress(Chance& chance, LCGItem& item) {
    item.x = item.startX = chance.place(-150, width);
    item.y = item.startY = chance.place(-80, height);
    item.w = chance.of({0, 1, 33, 120, 300, 700});
    item.h = chance.of({0, 1, 20, 61, 100, 400});
    item.alpha = chance.of({1.0F, 1.0F, 0.5F, 0.0F, 0.37F});
    item.show = !chance.one(5);
    item.moveType = chance.of<std::string>({"None", "None", "Horizontal", "Vertical"});
    item.moveSpeed = chance.of({-7.0F, 0.25F, 3.0F, 60.0F, -55.5F});
    item.moveLoop = chance.one(2);
    if (auto* text = dynamic_cast<LCGTextItem*>(&item)) dressText(chance, text->props);
    if (auto* crawl = dynamic_cast<LCGCrawlItem*>(&item)) dress(chance, *crawl);
    if (auto* ticker = dynamic_cast<LCGTickerItem*>(&item)) dress(chance, *ticker);
    if (auto* rect = dynamic_cast<LCGRectItem*>(&item)) dressPanel(chance, rect->props);
    if (auto* image = dynamic_cast<LCGImageItem*>(&item)) {
        image->props.path = chance.one(4) ? "/nowhere.png" : test::mediaPath("still.png");
    }
}

void putAny(Chance& chance, Items& items) {
    const auto at = [&] { return chance.number(0, 200); };
    switch (chance.number(0, 5)) {
        case 0:
            put<LCGTextItem>(items, 0, 0, 1, 1);
            break;
        case 1: {
            auto& crawl = put<LCGCrawlItem>(items, 0, 0, 1, 1);
            crawl.scrollX = static_cast<float>(at());
            crawl.scrollY = static_cast<float>(at());
            break;
        }
        case 2:
            put<LCGTickerItem>(items, 0, 0, 1, 1).state->lastSwitch = timeAt(0).count;
            break;
        case 3:
            put<LCGRectItem>(items, 0, 0, 1, 1);
            break;
        case 4:
            put<LCGImageItem>(items, 0, 0, 1, 1);
            break;
        default: {
            auto& video = put<LCGVideoItem>(items, 0, 0, 1, 1);
            video.props.path = test::mediaPath("mjpeg.avi");
            ASSERT_TRUE(video.reader->open(video.props.path));
        }
    }
    dress(chance, *items.back());
}

// A scene of all kinds of items with two groups, edited at random.
class RandomScene {
public:
    explicit RandomScene(unsigned seed) : chance(seed) {
        for (int i = chance.number(1, 8); i > 0; --i)
            add();
    }

    void edit(SceneRenderer& renderer, Twin& twin) {
        if (chance.one(3) && !items.empty()) dress(chance, *any());
        if (chance.one(4) && items.size() < 10) add();
        if (chance.one(5)) groups_[chance.number(0, 1)].x = chance.place(-40, 40);
        if (chance.one(8)) groups_[chance.number(0, 1)].show = chance.one(2);
        if (chance.one(5) && !items.empty()) {
            LCGItem* const moved = any();
            moved->x = chance.place(-100, width);
        }
        if (!chance.one(6) || items.empty()) return;
        LCGItem* const gone = any();
        renderer.forget(*gone);
        twin.forget(*gone);
        std::erase_if(items, [gone](const auto& item) { return item.get() == gone; });
    }

    Chance chance;
    Items items;

private:
    LCGItem* any() {
        return items[static_cast<std::size_t>(chance.number(0, static_cast<int>(items.size()) - 1))]
            .get();
    }
    void add() {
        putAny(chance, items);
        items.back()->id = "id" + std::to_string(++made_);
        const int group = chance.number(0, 3);
        if (group < 2) items.back()->group = &groups_[group];
    }

    LCGGroup groups_[2];
    int made_ = 0;
};

template <typename Props>
std::string panelText(const Props& props) {
    return " panel " + props.bgType + " radius " + std::to_string(props.bgRadius) + " border " +
           std::to_string(props.borderSize) + " shadow " + std::to_string(props.bgShadowAlpha);
}

// What a failure tells of the scene.
std::string describe(const Items& items) {
    std::string all;
    for (const auto& item : items) {
        const quol::ItemPicture& drawn = item->memory->drawn;
        if (!drawn.visible) continue;
        all += "\n" + item->id + " at " + std::to_string(drawn.box.x) + "," +
               std::to_string(drawn.box.y) + " of " + std::to_string(item->w) + "x" +
               std::to_string(item->h) + " alpha " + std::to_string(drawn.alpha);
        if (const auto* text = dynamic_cast<LCGTextItem*>(item.get()))
            all += " text '" + text->props.text + "' " + std::to_string(text->props.fontSize) +
                   panelText(text->props);
        if (const auto* crawl = dynamic_cast<LCGCrawlItem*>(item.get()))
            all += " crawl '" + crawl->props.text + "' " + crawl->props.textMove + " at " +
                   std::to_string(crawl->scrollX) + "," + std::to_string(crawl->scrollY) +
                   " padding " + std::to_string(crawl->props.padding) + panelText(crawl->props);
        if (const auto* ticker = dynamic_cast<LCGTickerItem*>(item.get()))
            all += " ticker '" + ticker->props.text + "' padding " +
                   std::to_string(ticker->props.padding) + panelText(ticker->props);
        if (const auto* rect = dynamic_cast<LCGRectItem*>(item.get()))
            all += panelText(rect->props);
        if (dynamic_cast<LCGImageItem*>(item.get()) != nullptr) all += " image";
        if (dynamic_cast<LCGVideoItem*>(item.get()) != nullptr) all += " video";
        for (const PixelRect& part : {drawn.panelBounds, drawn.inkBounds})
            all += " [" + std::to_string(part.left) + "," + std::to_string(part.top) + " " +
                   std::to_string(part.right) + "," + std::to_string(part.bottom) + ")";
    }
    return all;
}

class RandomScenes : public testing::TestWithParam<unsigned> {};

TEST_P(RandomScenes, LookAsIfDrawnFromNothing) {
    RandomScene scene(GetParam());
    SceneRenderer renderer(width, height);
    Twin twin;
    std::vector<FramePtr> held; // so that pictures are used again in no order
    for (int tick = 0; tick < 30; ++tick) {
        SCOPED_TRACE("tick " + std::to_string(tick));
        scene.edit(renderer, twin);
        renderer.render(scene.items, timeAt(tick));
        const FramePtr frame = renderer.frame();
        ASSERT_NE(frame, nullptr);
        if (scene.chance.one(2)) held.push_back(renderer.frame());
        if (scene.chance.one(4) && !held.empty()) held.erase(held.begin());
        if (scene.chance.one(12)) held.clear();

        Items twins = twin.of(scene.items);
        SceneRenderer fresh(width, height);
        fresh.render(twins, timeAt(tick));
        const FramePtr fromNothing = fresh.frame();
        const FramePtr whole = drawnWhole(twins);
        twin.keepClips(scene.items, twins);
        ASSERT_NE(fromNothing, nullptr);
        ASSERT_NE(whole, nullptr);
        ASSERT_EQ(difference(*frame, *fromNothing), "") << describe(scene.items);
        ASSERT_EQ(difference(*frame, *whole), "") << describe(scene.items);
    }
}

constexpr unsigned seeds = 40;
INSTANTIATE_TEST_SUITE_P(Seeds, RandomScenes, testing::Range(1U, seeds + 1U));

// Where a change cuts an item, cairo must not smooth and sample it in another way.
TEST(SceneRenderer, DrawsPartsOfItemsAsTheyAreInTheWhole) {
    const std::vector<std::function<void(Items&)>> kinds = {
        [](Items& items) {
            auto& text = put<LCGTextItem>(items, 30.3F, 40.7F, 560, 260);
            text.props.text = "Größe AVg\nEvening news";
            text.props.fontSize = 83;
        },
        [](Items& items) {
            auto& panel = putPanel(items, 30.3F, 40.7F, 560, 260, "#FFE040");
            panel.props.bgRadius = 100;
            panel.props.bgAlpha = 200;
            panel.props.borderSize = 7;
            panel.props.borderAlpha = 120;
        },
        [](Items& items) {
            auto& ticker = put<LCGTickerItem>(items, 30.3F, 40.7F, 560, 260);
            ticker.props.text = "Größe AVg";
            ticker.props.fontSize = 120;
            ticker.props.padding = 70;
        },
        [](Items& items) {
            auto& crawl = put<LCGCrawlItem>(items, 30.3F, 40.7F, 560, 260);
            crawl.props.text = "Größe AVg";
            crawl.props.fontSize = 120;
            crawl.props.textSpeed = 0.0F;
            crawl.scrollX = 35.7F;
        },
        [](Items& items) {
            auto& image = put<LCGImageItem>(items, 30.3F, 40.7F, 560, 260);
            image.props.path = test::mediaPath("still.png");
        }};
    for (std::size_t kind = 0; kind < kinds.size(); ++kind) {
        Items items;
        kinds[kind](items);
        LCGItem& moving = putPanel(items, 0.0F, 0.0F, 37, 29, "#80FF0000");
        SceneRenderer renderer(width, height);
        std::mt19937 engine(3);
        for (int tick = 0; tick < 120; ++tick) {
            moving.x = static_cast<float>(engine() % width);
            moving.y = static_cast<float>(engine() % height);
            renderer.render(items, timeAt(0));
            ASSERT_EQ(difference(*renderer.frame(), *drawnWhole(items)), "")
                << "kind " << kind << ", tick " << tick;
        }
    }
}

// ------------------------------------------------------------------------------ what is handed out

TEST(SceneRenderer, IsTransparentBeforeTheFirstItem) {
    SceneRenderer renderer(width, height);
    const FramePtr frame = renderer.frame();
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(frame->format, AV_PIX_FMT_YUVA420P);
    EXPECT_EQ(frame->width, width);
    EXPECT_EQ(frame->height, height);
    EXPECT_EQ(sampleAt(*frame, 0, 300, 200), 16);
    EXPECT_EQ(sampleAt(*frame, 1, 300, 200), 128);
    EXPECT_EQ(sampleAt(*frame, 2, 300, 200), 128);
    EXPECT_EQ(sampleAt(*frame, 3, 300, 200), 0);
}

TEST(SceneRenderer, NeverWritesToAPictureThatWasHandedOut) {
    SceneRenderer renderer(width, height);
    Items items;
    LCGItem& item = putPanel(items, 0.0F, 20.0F, 100, 60, "#FFFFFF");
    std::vector<FramePtr> held;
    std::vector<std::vector<std::uint8_t>> looked;
    std::mt19937 engine(7);
    for (int tick = 0; tick < 60; ++tick) {
        item.x = static_cast<float>(tick * 9);
        renderer.render(items, timeAt(tick));
        held.push_back(renderer.frame());
        looked.push_back(samplesOf(*held.back()));
        // Some are given back in the meantime, out of order.
        if (engine() % 2 == 0 && held.size() > 6) {
            const std::size_t back = engine() % held.size();
            held.erase(held.begin() + static_cast<std::ptrdiff_t>(back));
            looked.erase(looked.begin() + static_cast<std::ptrdiff_t>(back));
        }
        for (std::size_t i = 0; i < held.size(); ++i)
            ASSERT_TRUE(samplesOf(*held[i]) == looked[i]) << "picture " << i << ", tick " << tick;
    }
}

TEST(SceneRenderer, GivesTheSamePictureAgainWhileNothingChanges) {
    SceneRenderer renderer(width, height);
    Items items;
    putPanel(items, 10.0F, 20.0F, 100, 60, "#FFFFFF");
    renderer.render(items, timeAt(0));
    const FramePtr before = renderer.frame();
    renderer.render(items, timeAt(1));
    EXPECT_EQ(renderer.frame()->data[0], before->data[0]);
    items[0]->x = 11.0F;
    renderer.render(items, timeAt(2));
    EXPECT_NE(renderer.frame()->data[0], before->data[0]);
}

TEST(SceneRenderer, LeavesNothingOfARemovedItem) {
    const FramePtr empty = SceneRenderer(width, height).frame();
    for (unsigned seed = 100; seed < 115; ++seed) {
        RandomScene scene(seed);
        SceneRenderer renderer(width, height);
        for (int tick = 0; tick < 3; ++tick)
            renderer.render(scene.items, timeAt(tick));
        while (!scene.items.empty()) {
            renderer.forget(*scene.items.back());
            scene.items.pop_back();
        }
        renderer.render(scene.items, timeAt(3));
        ASSERT_EQ(difference(*renderer.frame(), *empty), "") << "seed " << seed;
    }
}

TEST(SceneRenderer, LeavesNothingOfAHiddenItem) {
    const FramePtr empty = SceneRenderer(width, height).frame();
    for (unsigned seed = 200; seed < 215; ++seed) {
        RandomScene scene(seed);
        SceneRenderer renderer(width, height);
        for (int tick = 0; tick < 3; ++tick)
            renderer.render(scene.items, timeAt(tick));
        for (const auto& item : scene.items)
            item->show = false;
        renderer.render(scene.items, timeAt(3));
        ASSERT_EQ(difference(*renderer.frame(), *empty), "") << "seed " << seed;
    }
}

// ------------------------------------------------------------------------------ premultiplied

TEST(SceneRenderer, KeepsColoursPremultiplied) {
    SceneRenderer renderer(width, height);
    Items items;
    putPanel(items, 100.0F, 100.0F, 200, 100, "#FFFFFF").props.bgAlpha = 51; // a fifth
    renderer.render(items, timeAt(0));
    const FramePtr frame = renderer.frame();
    EXPECT_EQ(sampleAt(*frame, 3, 200, 150), 51);
    EXPECT_NEAR(sampleAt(*frame, 0, 200, 150), 16 + 219 / 5, 1);
    EXPECT_NEAR(sampleAt(*frame, 1, 200, 150), 128, 1);
}

// ------------------------------------------------------------------------------ hostile values

double residentMiB() {
    std::ifstream file("/proc/self/statm");
    double total = 0.0;
    double resident = 0.0;
    file >> total >> resident;
    return resident * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1 << 20);
}

struct Hostile {
    std::string name;
    std::function<void(LCGItem&)> spoil;
};

template <typename Change>
void withProps(LCGItem& item, Change change) {
    if (auto* text = dynamic_cast<LCGTextItem*>(&item)) change(text->props);
    if (auto* crawl = dynamic_cast<LCGCrawlItem*>(&item)) change(crawl->props);
    if (auto* ticker = dynamic_cast<LCGTickerItem*>(&item)) change(ticker->props);
}

template <typename Change>
void withPanel(LCGItem& item, Change change) {
    withProps(item, change);
    if (auto* rect = dynamic_cast<LCGRectItem*>(&item)) change(rect->props);
}

std::vector<Hostile> hostileOnes() {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    constexpr float infinite = std::numeric_limits<float>::infinity();
    constexpr int most = std::numeric_limits<int>::max();
    constexpr int least = std::numeric_limits<int>::min();
    std::vector<Hostile> all;
    for (const int size : {-1, 0, 10000, 1000000, most, least}) {
        all.push_back({"font size " + std::to_string(size), [size](LCGItem& item) {
                           withProps(item, [size](auto& props) { props.fontSize = size; });
                       }});
    }
    for (const int size : {-1, -100, 0, 1000000, most, least}) {
        all.push_back({"width " + std::to_string(size), [size](LCGItem& item) { item.w = size; }});
        all.push_back({"height " + std::to_string(size), [size](LCGItem& item) { item.h = size; }});
        all.push_back({"padding " + std::to_string(size), [size](LCGItem& item) {
                           withProps(item, [size](auto& props) { props.padding = size; });
                       }});
        all.push_back({"radius and border " + std::to_string(size), [size](LCGItem& item) {
                           withPanel(item, [size](auto& props) {
                               props.bgRadius = size;
                               props.borderSize = size;
                           });
                       }});
    }
    for (const float value : {nan, infinite, -infinite, 3.0e38F, -1.0e9F, 1.0e-40F}) {
        const std::string name = std::to_string(value);
        all.push_back({"x " + name, [value](LCGItem& item) { item.x = value; }});
        all.push_back({"y " + name, [value](LCGItem& item) { item.y = value; }});
        all.push_back({"alpha " + name, [value](LCGItem& item) { item.alpha = value; }});
        all.push_back({"drift " + name, [value](LCGItem& item) {
                           item.moveType = "Horizontal";
                           item.moveSpeed = value;
                       }});
        all.push_back({"spacing " + name, [value](LCGItem& item) {
                           withProps(item, [value](auto& props) { props.letterSpacing = value; });
                       }});
        all.push_back({"shadow " + name, [value](LCGItem& item) {
                           withPanel(item, [value](auto& props) {
                               props.bgShadowAlpha = 255;
                               props.bgShadowOffsetX = value;
                           });
                       }});
        all.push_back({"scroll " + name, [value](LCGItem& item) {
                           if (auto* crawl = dynamic_cast<LCGCrawlItem*>(&item))
                               crawl->scrollX = crawl->props.textSpeed = value;
                       }});
    }
    all.push_back({"radius 100000", [](LCGItem& item) {
                       withPanel(item, [](auto& props) { props.bgRadius = 100000; });
                   }});
    for (const std::string font : {"", "No Such Font", "\xFF\xFE", "a,b:c=d:size=1e9"}) {
        all.push_back({"font " + font, [font](LCGItem& item) {
                           withProps(item, [font](auto& props) { props.font = font; });
                       }});
    }
    for (const std::string text : {"\xFF\xFE\x80", "\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80",
                                   "ok \xE2\x82", "\xF8\x88\x80\x80\x80"}) {
        all.push_back({"text of wrong bytes", [text](LCGItem& item) {
                           withProps(item, [text](auto& props) { props.text = text; });
                       }});
    }
    all.push_back({"zero byte", [](LCGItem& item) {
                       withProps(item, [](auto& props) { props.text = std::string("a\0b", 3); });
                   }});
    return all;
}

// One item of each kind that has a panel or a text, all as they should be.
Items goodItems() {
    Items items;
    const auto dressed = [](auto& item) {
        item.props.bgType = "Color";
        item.props.bgColor = "#0000FF";
        item.props.bgRadius = 20;
        item.props.borderSize = 2;
    };
    auto& text = put<LCGTextItem>(items, 20.0F, 20.0F, 300, 60);
    dressed(text);
    text.props.text = "text\nof two lines";
    text.props.autoShrink = true;
    auto& crawl = put<LCGCrawlItem>(items, 20.0F, 100.0F, 300, 60);
    dressed(crawl);
    crawl.props.text = "crawl\nof two";
    auto& ticker = put<LCGTickerItem>(items, 20.0F, 180.0F, 300, 60);
    dressed(ticker);
    ticker.props.text = "ticker\nof two";
    ticker.state->lastSwitch = timeAt(0).count;
    dressed(put<LCGRectItem>(items, 20.0F, 260.0F, 300, 60));
    auto& image = put<LCGImageItem>(items, 340.0F, 20.0F, 100, 60);
    image.props.path = test::mediaPath("still.png");
    return items;
}

// What is drawn above all: a panel and a text on it.
void putOnTop(Items& items) {
    putPanel(items, 460.0F, 200.0F, 160, 140, "#FFFFFF");
    auto& text = put<LCGTextItem>(items, 465.0F, 210.0F, 150, 120);
    text.props.text = "on top";
    text.props.color = "#000000";
    text.props.fontSize = 30;
}

bool sameWithin(const AVFrame& a, const AVFrame& b, const PixelRect& rect) {
    for (int plane = 0; plane < 4; ++plane) {
        for (int y = rect.top; y < rect.bottom; ++y) {
            for (int x = rect.left; x < rect.right; ++x) {
                if (sampleAt(a, plane, x, y) != sampleAt(b, plane, x, y)) return false;
            }
        }
    }
    return true;
}

TEST(SceneRenderer, DrawsTheItemsAboveOneThatCannotBeDrawn) {
    Items plain;
    putOnTop(plain);
    SceneRenderer reference(width, height);
    reference.render(plain, timeAt(0));
    const FramePtr wanted = reference.frame();
    constexpr PixelRect top{462, 202, 618, 338};

    const double before = residentMiB();
    for (const Hostile& hostile : hostileOnes()) {
        const std::size_t kinds = goodItems().size();
        for (std::size_t kind = 0; kind < kinds; ++kind) {
            SCOPED_TRACE(hostile.name + ", item " + std::to_string(kind));
            Items good = goodItems();
            Items items;
            items.push_back(std::move(good[kind]));
            hostile.spoil(*items[0]);
            putOnTop(items);
            SceneRenderer renderer(width, height);
            for (int tick = 0; tick < 3; ++tick) {
                renderer.render(items, timeAt(tick));
                ASSERT_TRUE(sameWithin(*renderer.frame(), *wanted, top)) << "tick " << tick;
            }
            renderer.forget(*items[0]);
            items.erase(items.begin());
            renderer.render(items, timeAt(3));
            ASSERT_EQ(difference(*renderer.frame(), *wanted), "");
        }
    }
    EXPECT_LT(residentMiB() - before, 400.0);
}

// The item is spoilt while it is shown, and mended again.
TEST(SceneRenderer, ShowsAnItemAgainThatCouldNotBeDrawn) {
    for (const Hostile& hostile : hostileOnes()) {
        for (const std::size_t kind : {0U, 2U, 3U, 4U}) {
            SCOPED_TRACE(hostile.name + ", item " + std::to_string(kind));
            Items good = goodItems();
            Items items;
            items.push_back(std::move(good[kind]));
            SceneRenderer renderer(width, height);
            renderer.render(items, timeAt(0));
            const FramePtr wanted = renderer.frame();
            Items other = goodItems();
            std::swap(items[0], other[kind]);
            renderer.forget(*other[kind]);
            hostile.spoil(*items[0]);
            renderer.render(items, timeAt(1));
            renderer.forget(*items[0]);
            std::swap(items[0], other[kind]);
            items[0]->memory->drawn = {};
            renderer.render(items, timeAt(2));
            ASSERT_EQ(difference(*renderer.frame(), *wanted), "");
        }
    }
}

} // namespace
