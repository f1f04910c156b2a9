// The monitor wall of a host that was built without Xlib or libpng: there is none.
#include <chrono>
#include <cstdio>
#include <thread>

#include "show_wall.h"

namespace show {

struct Wall::Impl {};

Wall::Wall(Graph& /*graph*/) {}

Wall::~Wall() = default;

bool Wall::isOpen() const {
    return false;
}

void Wall::show(const OnAir& /*onAir*/) {}

bool Wall::wait(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    return false;
}

bool Wall::shot(const std::string& path) {
    std::printf("  no screenshot %s: there is no window\n", path.c_str());
    return false;
}

} // namespace show
