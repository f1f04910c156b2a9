/// @file
/// The multiviewer: a control room's monitor wall in one picture.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "quolsdk/FrameHandle.h"
#include "quolsdk/LObject.h"
#include "quolsdk/formats.h"

namespace quol {
class DetachedSinks;
class FairMutex;
class MultiviewLayout;
class RecentPicture;
class RenderPace;
class WallClock;
class WallRenderer;
struct Wall;
} // namespace quol

/// Where the two large windows of a multiview lie, and the grid of small ones beside them. N is the
/// size of the grid.
enum class MultiviewOrientation : int {
    gridBelow = 0, ///< preview and program above, 2N columns by N rows below
    gridAbove = 1, ///< preview and program below, 2N columns by N rows above
    gridRight = 2, ///< preview over program at the left, N columns by 2N rows at the right
    gridLeft = 3,  ///< preview over program at the right, N columns by 2N rows at the left
};

/// Shows many sources in one picture: a large window each for the preview and the program, and a
/// grid of small ones, each with a border in the colour of its tally, a label, and a meter while
/// its source has sound. It runs on a thread of its own, from construction to destruction.
///
/// Tiles are known by keys: "PVW" and "PGM" are the large windows, "2_3" is the tile of the grid in
/// row 2 and column 3. They are drawn in the order of their keys, so where tiles overlap the later
/// key lies on top.
///
/// A multiview only watches: it takes what its sources push, and does not ask those that render on
/// demand. A source that stops leaves its last picture standing; a tile without a picture is black.
/// A multiview is never its own source: given itself, a tile stays without one. Alpha lies over
/// black.
///
/// The sound of the program's source leaves through the multiview, block by block as it comes, on
/// the thread of that source, and stamped with the wall's own time: `pts` in samples, as many
/// seconds behind or ahead of the source's as the two were apart when its sound set in, and
/// measured anew when it comes more than half a second off. Sound that cannot be read (a plane
/// missing, a rate that sound does not have) is passed over.
///
/// Pictures are planar YUV 4:2:0 8-bit in full range; of the video format only size and rate count.
/// A new multiview is 1920x1080 at 50 a second; a width or height below 1 counts as that, too, and
/// a rate of 0 and below. The format's mode is not looked up in the table of modes. Frames carry
/// `pts` in ticks and a `time_base` of 1 over the rate cut to a whole number; ticks that were
/// missed are counted. A picture that equals the one before shares its memory.
///
/// The pictures are made on a graphics processor where there is one, else on the main processor.
/// Both draw the same wall; the manual tells where levels may differ.
///
/// Threads: any. Sinks must not call the multiview from a push. A source or sink must not be
/// destroyed while it is attached: take it out of its tile first, or destroy the multiview.
class QUOLSDK_API LMultiview : public LObject {
public:
    /// What makes the pictures.
    enum class Renderer {
        automatic, ///< a graphics processor where there is one, else the main processor
        processor, ///< the main processor
        graphics,  ///< OpenGL, also by a driver that computes on the main processor; else as above
    };

    /// A tile, as getLayoutInfo tells it. Position and size are fractions of the picture, origin at
    /// the top left.
    struct LayoutInfo {
        std::string key;  ///< "PVW", "PGM", or row and column as "2_3"
        std::string name; ///< the label; empty for none
        float x = 0.0F;   ///< left edge
        float y = 0.0F;   ///< upper edge
        float w = 0.0F;   ///< width
        float h = 0.0F;   ///< height
        int tally = 0;    ///< 0 none, 1 preview, 2 program
    };

    struct GridCell; ///< a tile, private

    /// Starts the thread: pictures come at once, black ones at first. Throws std::system_error
    /// where there is no thread to be had.
    explicit LMultiview(Renderer renderer = Renderer::automatic);
    /// Ends the thread, lets go of all sources. Pull consumers should have signed off.
    ~LMultiview() override;

    /// Lays the wall out. All tiles of the grid go, with their sources; the large windows keep
    /// theirs, and are made where they are missing. A grid size below 1 gives tiles without a size,
    /// which are not drawn. An orientation beyond the four counts as the first.
    void setupGrid(MultiviewOrientation orientation, int gridSize);

    void setPGMSource(LObject* source); ///< of the large window "PGM"; null for none
    void setPVWSource(LObject* source); ///< of the large window "PVW"; null for none

    /// Puts a source into a tile of the grid, in place of the one there. Rows and columns count
    /// from 1; the tile takes `span` more cells to the right and down, 0 for a single one. Its
    /// tally stays. A null source leaves a tile with a label and no picture.
    void setGridPos(LObject* source, int row, int col, int span, std::string name);
    /// Takes a tile of the grid away; once it has returned its source is not touched any more.
    void removeGridPos(int row, int col);

    /// Marks a tile red. Other tiles keep their mark: the host clears them. A tile that is not
    /// there is made, without a size, until setGridPos gives it one.
    void setGridPGM(int row, int col);
    void setGridPVW(int row, int col); ///< marks a tile green; as setGridPGM
    void clearTally(int row, int col); ///< takes the mark off; as setGridPGM

    /// Sets the label of a tile that is there.
    void setGridName(int row, int col, std::string name);
    /// The same by key. "PVW" and "PGM" are known before their windows are there: such a label is
    /// kept in a tile without a size until setupGrid, or a source, makes the window. Prints one
    /// line.
    void setGridName(const std::string& key, const std::string& name);

    /// All tiles, in the order of their keys.
    std::vector<LayoutInfo> getLayoutInfo();

    void setVideoFormat(const videoFormatProps& format); ///< counts from the next picture on
    void getVideoFormat(videoFormatProps& format);       ///< as stored

    bool canPullRender() const override; ///< true
    /// Asks for one picture and waits for it, 100 ms at most; owned by the caller. The multiview's
    /// own sinks get it too. Several consumers that ask within half a period get the same one. Null
    /// when none came; one that comes later goes to the sinks alone, unless somebody waits again.
    AVFrame* renderVideoFrame() override;
    /// From the first consumer on the multiview renders on request only; when the last has signed
    /// off it runs by its clock again.
    void addPullConsumer() override;
    void removePullConsumer() override; ///< @copydoc addPullConsumer

private:
    GridCell& cellOf(const std::string& key);
    quol::MultiviewLayout layout() const;
    void exchangeSource(const std::string& key, LObject* source,
                        const std::function<void(GridCell&)>& change);
    void setTally(int row, int col, int tally);
    void letGo(GridCell& cell, quol::DetachedSinks& detached);

    void multiviewLoop();
    std::unique_ptr<quol::WallRenderer> makeRenderer() const;
    bool waitForTurn(quol::RenderPace& pace, std::int64_t& frameIndex);
    quol::FramePtr makePicture(quol::WallRenderer& wallRenderer, quol::Wall& wall,
                               std::int64_t frameIndex);
    double describeWall(quol::Wall& wall);
    void printTiles();
    void handOn(quol::FramePtr picture);

    const Renderer renderer;

    /// One change of the tiles at a time, attaching included; taken before every other lock. The
    /// render thread never takes it.
    std::recursive_mutex controlMutex;

    /// Guards the tiles and the format; held by the render thread while it looks what to draw, not
    /// while it draws.
    const std::unique_ptr<quol::FairMutex> cellMutex;
    std::map<std::string, std::unique_ptr<GridCell>> cells;
    int orientation = 0;
    int gridSize = 2;
    videoFormatProps videoFormat;
    std::uint64_t lastId = 0; ///< of a tile's source; every one has another

    std::atomic<int> pullConsumers{0};
    std::atomic<double> tickRate{50.0}; ///< of the latest tick
    std::mutex pullMutex;               ///< guards all below, but the thread
    std::condition_variable requested;
    std::condition_variable done;
    bool running = true;
    bool request = false;        ///< a consumer waits, or has waited in vain
    int waiters = 0;             ///< consumers that wait just now
    std::uint64_t answers = 0;   ///< requests that were answered
    quol::FramePtr pendingFrame; ///< the answer to the latest
    bool isPendingShown = false; ///< whether it went to the sinks
    const std::unique_ptr<quol::RecentPicture> recent;
    const std::unique_ptr<quol::WallClock> clock; ///< its own lock

    std::thread thread;
};
