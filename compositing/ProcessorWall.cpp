// Walls made on the main processor.
#include <algorithm>
#include <cstring>
#include <map>
#include <utility>

#include "compositing/InkBitmap.h"
#include "compositing/PictureLimits.h"
#include "compositing/TileScaler.h"
#include "compositing/TileSource.h"
#include "compositing/Wall.h"
#include "core/PicturePool.h"
#include "core/ScaledPicture.h"
#include "core/WorkerTeam.h"

namespace quol {

namespace {

constexpr int blackLuma = 0;
constexpr int noChroma = 128;

// Rows of chroma that are scaled in one go: enough of them to share a tile out, few enough that no
// thread is left with a large one at the end.
constexpr int bandRows = 30;

bool isOneMoment(const AVFrame* a, const AVFrame* b) {
    if (a == nullptr || b == nullptr) return a == b;
    return isSamePicture(*a, *b) && a->pts == b->pts;
}

void fillRect(AVFrame& canvas, const TileRect& rect, const YuvLevels& levels) {
    const int values[3] = {levels.y, levels.u, levels.v};
    for (int plane = 0; plane < 3; ++plane) {
        const int shift = plane == 0 ? 0 : 1;
        const int left = rect.x >> shift;
        const int right = (rect.right() + shift) >> shift;
        const int bottom = (rect.bottom() + shift) >> shift;
        for (int y = rect.y >> shift; y < bottom; ++y) {
            std::memset(canvas.data[plane] + std::ptrdiff_t{y} * canvas.linesize[plane] + left,
                        values[plane], static_cast<std::size_t>(right - left));
        }
    }
}

// `rect` of the target from (x, y) of the source, all even.
void copyRect(const AVFrame& source, int x, int y, AVFrame& target, const TileRect& rect) {
    for (int plane = 0; plane < 3; ++plane) {
        const int shift = plane == 0 ? 0 : 1;
        const int length = (rect.width + shift) >> shift;
        const int rows = (rect.height + shift) >> shift;
        const std::uint8_t* from =
            source.data[plane] + std::ptrdiff_t{y >> shift} * source.linesize[plane] + (x >> shift);
        std::uint8_t* to = target.data[plane] +
                           std::ptrdiff_t{rect.y >> shift} * target.linesize[plane] +
                           (rect.x >> shift);
        for (int row = 0; row < rows; ++row) {
            std::memcpy(to, from, static_cast<std::size_t>(length));
            from += source.linesize[plane];
            to += target.linesize[plane];
        }
    }
}

// What is kept for a tile from one wall to the next.
struct TileMemory {
    enum class Work { none, copyLast, scale, copyStill, scaleStill, black };

    // As it was drawn last.
    bool isDrawn = false;
    TileRect rect;
    TileRect seen; // what was visible of it
    FramePtr picture;
    int tally = 0;
    std::string name;
    bool hasMeter = false;
    int litLeft = -1;
    int litRight = -1;

    TileSource source{TileSource::Reader::processor};
    const AVFrame* readable = nullptr; // of this wall
    TileScaler scaler;
    InkBitmap label;
    InkBitmap meter;
    // The picture of a tile whose ink alone moves, without ink.
    PicturePool stillPool;
    FramePtr still;
    bool isStillDrawn = false;

    Work work = Work::none;
    TileRect place; // in this wall
    TileRect visible;
    bool isSeen = false; // in this wall

    bool isAsDrawn(const WallTile& tile) const {
        return isDrawn && rect == tile.rect && tally == tile.tally && name == tile.name &&
               hasMeter == tile.hasMeter && litLeft == tile.litLeft && litRight == tile.litRight &&
               isOneMoment(picture.get(), tile.picture.get());
    }
};

// Rows of a tile's chroma, counted from the top of what is visible.
struct Band {
    TileMemory* tile;
    int from;
    int to;
};

class ProcessorWall final : public WallRenderer {
public:
    FramePtr render(const Wall& wall) override {
        if (!canBeMade(wall.width, wall.height)) return nullptr;
        try {
            return draw(wall);
        } catch (...) { // what is kept may be half of this wall
            memories_.clear();
            last_.reset();
            throw;
        }
    }

private:
    FramePtr draw(const Wall& wall) {
        takeTiles(wall);
        if (!isRearranged_ && hasNothingNew()) return cloneFrame(last_.get());
        const int evenWidth = (wall.width + 1) / 2 * 2;
        const int evenHeight = (wall.height + 1) / 2 * 2;
        FramePtr canvas = pool_.get(evenWidth, evenHeight, AV_PIX_FMT_YUV420P);
        if (!canvas) return nullptr;
        canvas->width = wall.width;
        canvas->height = wall.height;
        canvas->color_range = AVCOL_RANGE_JPEG;
        team_.run(static_cast<int>(tiles_.size()), [this, &wall](int i) {
            prepare(*tiles_[static_cast<std::size_t>(i)], wall.tiles[static_cast<std::size_t>(i)]);
        });
        if (!isCovered_)
            fillRect(*canvas, {0, 0, wall.width, wall.height}, {blackLuma, noChroma, noChroma});
        drawBands(*canvas);
        for (std::size_t i = 0; i < tiles_.size(); ++i)
            remember(*tiles_[i], wall.tiles[i]);
        last_ = cloneFrame(canvas.get());
        return canvas;
    }

    // Finds the memory of every tile, and what there is to do.
    void takeTiles(const Wall& wall) {
        tiles_.clear();
        for (auto& [id, memory] : memories_)
            memory.isSeen = false;
        std::vector<TileRect> places;
        for (const WallTile& tile : wall.tiles) {
            TileMemory& memory = memories_[tile.id];
            memory.isSeen = true;
            memory.place = tile.rect;
            memory.visible = intersection(tile.rect, {0, 0, wall.width, wall.height});
            places.push_back(memory.visible);
            tiles_.push_back(&memory);
        }
        std::erase_if(memories_, [](const auto& entry) { return !entry.second.isSeen; });
        isRearranged_ = !last_ || last_->width != wall.width || last_->height != wall.height ||
                        places != places_;
        if (isRearranged_) arrange(wall, std::move(places));
        for (std::size_t i = 0; i < tiles_.size(); ++i)
            chooseWork(*tiles_[i], wall.tiles[i]);
    }

    // Learns whether tiles lie on each other, and whether they leave something free.
    void arrange(const Wall& wall, std::vector<TileRect> places) {
        places_ = std::move(places);
        isOverlapping_ = false;
        std::int64_t covered = 0;
        for (std::size_t i = 0; i < places_.size(); ++i) {
            covered += std::int64_t{places_[i].width} * places_[i].height;
            for (std::size_t k = 0; k < i && !isOverlapping_; ++k)
                isOverlapping_ = !intersection(places_[i], places_[k]).isEmpty();
        }
        isCovered_ = !isOverlapping_ && covered == std::int64_t{wall.width} * wall.height;
    }

    void chooseWork(TileMemory& memory, const WallTile& tile) const {
        using Work = TileMemory::Work;
        const bool isSame = isOneMoment(memory.picture.get(), tile.picture.get());
        const bool isInPlace = memory.isDrawn && memory.rect == tile.rect && !isRearranged_;
        if (memory.visible.isEmpty()) {
            memory.work = Work::none;
        } else if (!isRearranged_ && memory.isAsDrawn(tile)) {
            memory.work = Work::copyLast;
        } else if (!tile.picture) {
            memory.work = Work::black;
        } else if (isInPlace && isSame) {
            memory.work = memory.isStillDrawn ? Work::copyStill : Work::scaleStill;
        } else {
            memory.work = Work::scale;
        }
    }

    bool hasNothingNew() const {
        return std::all_of(tiles_.begin(), tiles_.end(), [](const TileMemory* tile) {
            return tile->work == TileMemory::Work::copyLast || tile->work == TileMemory::Work::none;
        });
    }

    // What a tile needs before its rows can be drawn, on any thread.
    static void prepare(TileMemory& memory, const WallTile& tile) {
        using Work = TileMemory::Work;
        if (memory.work == Work::none || memory.work == Work::copyLast) return;
        if (memory.work != Work::copyStill) memory.isStillDrawn = false;
        if (memory.work == Work::scale || memory.work == Work::scaleStill) {
            memory.readable = memory.source.get(*tile.picture);
            if (memory.readable == nullptr) {
                memory.work = Work::black;
            } else {
                memory.scaler.prepare(*memory.readable, tile.rect, memory.visible);
            }
        }
        if (memory.work == Work::scaleStill) {
            memory.still = memory.stillPool.get(memory.visible.width + memory.visible.width % 2,
                                                memory.visible.height + memory.visible.height % 2,
                                                AV_PIX_FMT_YUV420P);
            if (memory.still) {
                memory.isStillDrawn = true;
            } else {
                memory.work = Work::scale;
            }
        }
        const bool isMoved =
            !memory.isDrawn || memory.rect != tile.rect || memory.seen != memory.visible;
        if (isMoved || memory.name != tile.name)
            memory.label.draw(labelInk(tile.rect, tile.name), memory.visible);
        if (!tile.hasMeter) {
            memory.meter.draw({}, {});
        } else if (isMoved || !memory.hasMeter || memory.litLeft != tile.litLeft ||
                   memory.litRight != tile.litRight) {
            memory.meter.draw(meterInk(tile.rect, tile.litLeft, tile.litRight), memory.visible);
        }
        memory.tally = tile.tally;
    }

    void drawBands(AVFrame& canvas) {
        bands_.clear();
        for (TileMemory* tile : tiles_) {
            if (tile->work == TileMemory::Work::none) continue;
            const int rows = (tile->visible.height + 1) / 2;
            for (int from = 0; from < rows; from += bandRows)
                bands_.push_back({tile, from, std::min(from + bandRows, rows)});
        }
        const auto draw = [this, &canvas](int i) {
            drawBand(canvas, bands_[static_cast<std::size_t>(i)]);
        };
        if (!isOverlapping_) {
            team_.run(static_cast<int>(bands_.size()), draw);
        } else { // each on top of those before it
            for (int i = 0; i < static_cast<int>(bands_.size()); ++i)
                draw(i);
        }
    }

    void drawBand(AVFrame& canvas, const Band& band) const {
        static thread_local TileScaler::Scratch scratch; // stays in the cache of its processor
        using Work = TileMemory::Work;
        TileMemory& tile = *band.tile;
        const TileRect& visible = tile.visible;
        const TileRect rows{visible.x, visible.y + 2 * band.from, visible.width,
                            std::min(2 * band.to, visible.height) - 2 * band.from};
        switch (tile.work) {
            case Work::none:
                return;
            case Work::copyLast:
                copyRect(*last_, rows.x, rows.y, canvas, rows);
                return;
            case Work::black:
                fillRect(canvas, rows, {blackLuma, noChroma, noChroma});
                break;
            case Work::scale:
                tile.scaler.run(*tile.readable, canvas, visible.x, visible.y, band.from, band.to,
                                scratch);
                break;
            case Work::scaleStill:
                tile.scaler.run(*tile.readable, *tile.still, 0, 0, band.from, band.to, scratch);
                copyRect(*tile.still, 0, 2 * band.from, canvas, rows);
                break;
            case Work::copyStill:
                copyRect(*tile.still, 0, 2 * band.from, canvas, rows);
                break;
        }
        drawInk(canvas, tile, rows);
    }

    static void drawInk(AVFrame& canvas, const TileMemory& tile, const TileRect& rows) {
        const YuvLevels border = levelsOf(tallyColor(tile.tally));
        for (const TileRect& side : borderRects(tile.place)) {
            const TileRect part = intersection(side, rows);
            if (!part.isEmpty()) fillRect(canvas, part, border);
        }
        const int from = rows.y / 2;
        const int to = (rows.bottom() + 1) / 2;
        tile.label.lay(canvas, from, to);
        tile.meter.lay(canvas, from, to);
    }

    static void remember(TileMemory& memory, const WallTile& tile) {
        memory.isDrawn = true;
        memory.rect = tile.rect;
        memory.seen = memory.visible;
        if (!isOneMoment(memory.picture.get(), tile.picture.get()))
            memory.picture = cloneFrame(tile.picture.get());
        memory.tally = tile.tally;
        memory.name = tile.name;
        memory.hasMeter = tile.hasMeter;
        memory.litLeft = tile.litLeft;
        memory.litRight = tile.litRight;
    }

    std::map<std::uint64_t, TileMemory> memories_;
    // Of the wall in hand; kept for their memory.
    std::vector<TileMemory*> tiles_;
    std::vector<Band> bands_;
    bool isRearranged_ = true;

    std::vector<TileRect> places_; // what is visible of each tile
    bool isOverlapping_ = false;
    bool isCovered_ = false;
    FramePtr last_;
    PicturePool pool_;
    WorkerTeam team_{WorkerTeam::usualHelpers()};
};

} // namespace

std::unique_ptr<WallRenderer> makeProcessorWall() {
    return std::make_unique<ProcessorWall>();
}

} // namespace quol
