// The pictures of the multiview, and their way to its sinks and to whoever pulls.
#include <algorithm>
#include <chrono>
#include <utility>

#include "compositing/GridCell.h"
#include "compositing/PullCount.h"
#include "compositing/RecentPicture.h"
#include "compositing/RenderPace.h"
#include "compositing/RendererChoice.h"
#include "compositing/TickTime.h"
#include "compositing/TileInk.h"
#include "compositing/Wall.h"
#include "compositing/WallClock.h"
#include "compositing/WallLook.h"
#include "core/Clock.h"
#include "core/FairMutex.h"
#include "core/HadMemory.h"
#include "core/Log.h"
#include "core/PictureCheck.h"

namespace {

constexpr int usualWidth = 1920;
constexpr int usualHeight = 1080;

constexpr std::chrono::milliseconds pullTimeout(100);

// How long the thread sleeps before it looks again: the rate may have changed, or the last consumer
// have signed off, which nobody tells it.
constexpr std::int64_t longestSleep = 50 * quol::nanosPerMilli;

// A wall shows what is now. Later than this, it does not make up for what it has missed.
constexpr std::int64_t mostLate = quol::nanosPerSecond / 2;

// Whole pictures that are due in so many nanoseconds.
std::int64_t picturesIn(std::int64_t nanoseconds, double fps) {
    return static_cast<std::int64_t>(static_cast<double>(nanoseconds) * 1.0e-9 * fps);
}

} // namespace

std::unique_ptr<quol::WallRenderer> LMultiview::makeRenderer() const {
    return quol::chooseRenderer(renderer,
                                "LMultiview [GPU]: Failed to initialize OpenGL context. "
                                "Falling back to CPU rendering.",
                                quol::makeGraphicsWall, quol::makeProcessorWall);
}

void LMultiview::multiviewLoop() {
    quol::RenderPace pace(quol::steadyNow());
    std::unique_ptr<quol::WallRenderer> wallRenderer;
    const auto prepare = [&] {
        if (!wallRenderer) wallRenderer = makeRenderer();
    };
    quol::hadMemory(prepare);
    pace.restart(0, tickRate, quol::steadyNow()); // a context takes its time
    quol::Wall wall;
    int rounds = 0;
    for (std::int64_t index = 0; waitForTurn(pace, index); ++index) {
        quol::FramePtr picture;
        // Where memory is short a picture is left out, and those who wait for it are told.
        quol::hadMemory([&] {
            prepare();
            picture = makePicture(*wallRenderer, wall, index);
        });
        wall.tiles.clear(); // no source's picture is held until the next turn
        quol::hadMemory([&] {
            if (++rounds % quol::wall::roundsBetweenLines == 0) printTiles();
        });
        quol::hadMemory([&] { handOn(std::move(picture)); });
    }
}

quol::FramePtr LMultiview::makePicture(quol::WallRenderer& wallRenderer, quol::Wall& wall,
                                       std::int64_t frameIndex) {
    const double fps = describeWall(wall);
    quol::FramePtr picture = wallRenderer.render(wall);
    if (picture) {
        picture->pts = frameIndex;
        picture->time_base = quol::tickBase(fps);
    }
    return picture;
}

// Waits until the picture is due, or asked for. False when the multiview ends.
bool LMultiview::waitForTurn(quol::RenderPace& pace, std::int64_t& frameIndex) {
    videoFormatProps format;
    while (true) {
        getVideoFormat(format);
        const double fps = quol::rateOrDefault(format.fps);
        tickRate = fps;
        const double tick = av_q2d(quol::tickBase(fps));
        const auto begin = [&](std::int64_t due) {
            clock->set(static_cast<double>(frameIndex) * tick, due, fps * tick);
            return true;
        };
        std::unique_lock lock(pullMutex);
        if (!running) return false;
        const std::int64_t now = quol::steadyNow();
        const auto isAsked = [this] { return request || !running; };
        if (pullConsumers > 0) {
            const bool isTurn =
                requested.wait_for(lock, std::chrono::nanoseconds(longestSleep), isAsked);
            const std::int64_t asked = quol::steadyNow();
            pace.restart(frameIndex, fps, asked);
            if (!isTurn) continue;
            // The wall's time stands while nobody asks.
            clock->set(static_cast<double>(frameIndex) * tick, asked, fps * tick, tick);
            return running;
        }
        std::int64_t wait = pace.untilDue(frameIndex, fps, now);
        if (wait < -mostLate) {
            frameIndex += picturesIn(-wait, fps); // they are gone, and their time is
            wait = pace.untilDue(frameIndex, fps, now);
            return begin(now + wait);
        }
        if (!quol::RenderPace::isSleepable(wait, fps)) {
            pace.restart(frameIndex, fps, now);
            return begin(now);
        }
        if (wait <= 0 || request) return begin(now + wait);
        requested.wait_for(lock, std::chrono::nanoseconds(std::min(wait, longestSleep)), isAsked);
    }
}

// What is to be drawn now. The rate.
double LMultiview::describeWall(quol::Wall& wall) {
    const std::int64_t soundSince = quol::steadyNow() - quol::wall::soundCounts;
    wall.tiles.clear();
    const std::lock_guard lock(*cellMutex);
    wall.width = videoFormat.width > 0 ? videoFormat.width : usualWidth;
    wall.height = videoFormat.height > 0 ? videoFormat.height : usualHeight;
    for (auto& [key, cell] : cells) {
        quol::WallTile tile;
        tile.id = cell->id;
        tile.rect = quol::tileRect(cell->place, cell->seam, wall.width, wall.height);
        tile.tally = cell->tally;
        tile.name = cell->name;
        if (cell->sink) {
            quol::FramePtr newest = cell->sink->newestPicture();
            if (newest && quol::isReadablePicture(*newest)) cell->frame = std::move(newest);
            const auto levels = cell->sink->levels(soundSince);
            tile.hasMeter = levels.has_value();
            if (levels) {
                tile.litLeft = quol::litSegments(levels->left);
                tile.litRight = quol::litSegments(levels->right);
            }
        }
        if (cell->frame) tile.picture = quol::cloneFrame(cell->frame.get());
        wall.tiles.push_back(std::move(tile));
    }
    return quol::rateOrDefault(videoFormat.fps);
}

void LMultiview::printTiles() {
    for (const LayoutInfo& tile : getLayoutInfo()) {
        quol::logOut("LMultiview rendering key: %s Name: %s Coords: x=%g y=%g w=%g h=%g Tally: %d",
                     tile.key.c_str(), tile.name.c_str(), static_cast<double>(tile.x),
                     static_cast<double>(tile.y), static_cast<double>(tile.w),
                     static_cast<double>(tile.h), tile.tally);
    }
}

// To the consumers that wait, of whom the first hands it to the sinks. To the sinks while nobody
// pulls, and when those who have asked for it could wait no longer. One without a picture lets
// nobody wait.
void LMultiview::handOn(quol::FramePtr picture) {
    bool isLate = false;
    {
        const std::lock_guard lock(pullMutex);
        isLate = std::exchange(request, false);
        if (waiters > 0) {
            ++answers;
            pendingFrame = std::move(picture);
            isPendingShown = false;
            done.notify_all();
            return;
        }
    }
    if (picture && (isLate || pullConsumers <= 0)) distributeVideoFrame(picture.get());
}

bool LMultiview::canPullRender() const {
    return true;
}

AVFrame* LMultiview::renderVideoFrame() {
    quol::FramePtr frame;
    bool isFirst = false;
    {
        std::unique_lock lock(pullMutex);
        const std::int64_t now = quol::steadyNow();
        if (pullConsumers > 1 && recent->isOfThisTick(now, tickRate))
            return recent->get().release();
        request = true;
        requested.notify_one();
        const std::uint64_t before = answers;
        ++waiters;
        done.wait_for(lock, pullTimeout, [&] { return answers != before || !running; });
        --waiters;
        if (answers == before) return nullptr;
        frame = quol::cloneFrame(pendingFrame.get());
        isFirst = !isPendingShown;
        isPendingShown = true;
        if (frame && pullConsumers > 1) {
            recent->keep(frame.get(), now);
        } else {
            recent->forget();
        }
    }
    if (frame && isFirst) distributeVideoFrame(frame.get());
    return frame.release();
}

void LMultiview::addPullConsumer() {
    ++pullConsumers;
}

void LMultiview::removePullConsumer() {
    if (!quol::takeOffLast(pullConsumers)) return;
    const std::lock_guard lock(pullMutex);
    pendingFrame.reset();
    recent->forget();
}
