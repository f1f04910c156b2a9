// The wall of a multiview as it is to be drawn, and who draws it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "compositing/LayerRenderer.h"
#include "compositing/MultiviewLayout.h"
#include "core/Handles.h"

namespace quol {

// One tile at one moment.
struct WallTile {
    std::uint64_t id = 0; // of the tile while it lives; what is kept for it goes by it
    TileRect rect;        // may reach beyond the wall
    FramePtr picture;     // null for black
    int tally = 0;
    std::string name;
    bool hasMeter = false;
    int litLeft = 0; // segments
    int litRight = 0;
};

// All of it; tiles later in the list lie on top.
struct Wall {
    int width = 0;
    int height = 0;
    std::vector<WallTile> tiles;
};

// All calls on one thread, that which made it.
class WallRenderer {
public:
    WallRenderer() = default;
    WallRenderer(const WallRenderer&) = delete;
    WallRenderer& operator=(const WallRenderer&) = delete;
    virtual ~WallRenderer() = default;

    // Planar 4:2:0 in full range; owned by the caller, but for the data of a picture that has not
    // changed. Null for a size that nobody can make.
    virtual FramePtr render(const Wall& wall) = 0;
};

std::unique_ptr<WallRenderer> makeProcessorWall();

// Null without OpenGL.
std::unique_ptr<WallRenderer> makeGraphicsWall(GraphicsDriver driver);

} // namespace quol
