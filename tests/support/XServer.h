// An X server without a screen, and windows on it, as a host has them.
#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace test {

class Program;

// Runs from construction to destruction on a display number that nobody has; DISPLAY names it.
class XServer {
public:
    XServer();
    ~XServer();
    XServer(const XServer&) = delete;
    XServer& operator=(const XServer&) = delete;

    bool running() const { return !name_.empty(); }
    const std::string& name() const { return name_; } // ":7" and its like
    void kill();

private:
    std::unique_ptr<Program> program_;
    std::string name_;
};

struct Pixel {
    int red = 0;
    int green = 0;
    int blue = 0;

    bool operator==(const Pixel&) const = default;
};

// All three channels within `tolerance`.
bool isNear(const Pixel& pixel, const Pixel& wanted, int tolerance = 3);

struct Screenshot {
    int width = 0;
    int height = 0;
    // 0xRRGGBB each, row by row; empty where there was none to be had. As they come from the
    // server: a test that waits takes hundreds of screenshots, and reads all of each.
    std::vector<std::uint32_t> pixels;

    Pixel at(int x, int y) const;
    // How many pixels of a rectangle are near a colour.
    int count(const Pixel& wanted, int left, int top, int right, int bottom,
              int tolerance = 3) const;
    int count(const Pixel& wanted, int tolerance = 3) const {
        return count(wanted, 0, 0, width, height, tolerance);
    }
};

// What is to be seen in a window, its children included.
Screenshot takeScreenshot(xcb_connection_t* connection, xcb_window_t window);

// A mapped window of a client of its own: its events and errors are the host's alone.
class HostWindow {
public:
    // At `x` from the left edge of the screen. Windows that overlap hide each other.
    HostWindow(int width, int height, int x = 0);
    ~HostWindow();
    HostWindow(const HostWindow&) = delete;
    HostWindow& operator=(const HostWindow&) = delete;

    void* handle() const; // the number, as a preview takes it
    xcb_window_t id() const { return window_; }
    xcb_connection_t* connection() const { return connection_; }

    void resize(int width, int height);
    void map();
    void unmap();
    void destroy();
    std::uint32_t eventMask() const; // what the host has asked for on its window
    int children() const;

    Screenshot screenshot() const;

    // Events that have come since the last call, errors as type 0.
    std::vector<int> events();

private:
    void finish() const; // waits until the server has done all that was asked

    xcb_connection_t* connection_;
    xcb_window_t window_ = 0;
};

// Into $QUOLSDK_TEST_PICTURES, where that is set, to be looked at.
void keepPicture(const Screenshot& screenshot, const std::string& name);

} // namespace test
