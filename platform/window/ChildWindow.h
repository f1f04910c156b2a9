// A window inside one of the host's.
#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <memory>

#include "platform/window/PreviewSurface.h"

namespace quol {

// A connection of its own to the X server, and on it a child of a window of the host that covers
// the whole of it. The host's window keeps its visual, its content and its events: the child lets
// the pointer through, and what is asked for on the host's window is asked for by this client
// alone. An error of the server comes back on the connection and is passed over, as any request may
// meet a window that the host has just destroyed; the process-wide handlers of Xlib have no part
// in it. One thread at a time.
class ChildWindow {
public:
    // Null without a server, or without such a window.
    static std::unique_ptr<ChildWindow> connect(std::uintptr_t host);

    ChildWindow(const ChildWindow&) = delete;
    ChildWindow& operator=(const ChildWindow&) = delete;
    ~ChildWindow(); // closes the connection

    xcb_connection_t* connection() const { return connection_; }
    int screen() const { return screen_; }
    xcb_visualid_t hostVisual() const { return hostVisual_; }

    // Makes and shows the child. False where the host's window takes none of this visual.
    bool create(xcb_visualid_t visual);
    // The child is taken away.
    void destroy();

    xcb_window_t window() const { return window_; } // 0 before `create`
    SurfaceSize size() const { return size_; }      // of the host's window, as of the last `poll`

    // Whether the server is there; asks it and waits for its answer.
    bool isServed() const;

    // Reads what the server has told and lets the child follow the host's window.
    PreviewSurface::News poll();

private:
    explicit ChildWindow(xcb_connection_t* connection) : connection_(connection) {}

    bool inspectHost(std::uintptr_t host);
    std::uint8_t depthOf(xcb_visualid_t visual) const;
    void letPointerThrough();
    void take(const xcb_generic_event_t& event, PreviewSurface::News& news);

    xcb_connection_t* connection_;
    int screen_ = 0;
    xcb_window_t host_ = 0;
    xcb_window_t root_ = 0;
    xcb_visualid_t hostVisual_ = 0;
    xcb_window_t window_ = 0;
    SurfaceSize size_;
    bool gone_ = false;
};

} // namespace quol
