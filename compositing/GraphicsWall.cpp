// Walls drawn by OpenGL.
#include "compositing/Wall.h"

namespace quol {
std::unique_ptr<WallRenderer> makeGraphicsWall(GraphicsDriver) {
    return nullptr;
}
} // namespace quol
