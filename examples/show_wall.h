// The monitor wall of a show, in a window where there is a display.
#pragma once

#include <memory>
#include <string>

#include "show_actions.h"
#include "show_graph.h"

namespace show {

// Of one thread.
class Wall {
public:
    // Opens the window on the display that DISPLAY names; without one, and in a host that was built
    // without Xlib or libpng, there is none. To be destroyed before the graph.
    explicit Wall(Graph& graph);
    ~Wall();
    Wall(const Wall&) = delete;
    Wall& operator=(const Wall&) = delete;

    bool isOpen() const;
    void show(const OnAir& onAir);
    // Waits that long at most, sees to the window meanwhile. Whether the user has closed it, or
    // pressed "q".
    bool wait(int milliseconds);
    // What the window shows, into a PNG. False, with a line, when that cannot be had.
    bool shot(const std::string& path);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_; // null without a window
};

} // namespace show
