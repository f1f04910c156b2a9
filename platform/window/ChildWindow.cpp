#include "platform/window/ChildWindow.h"

#include <xcb/shape.h>

#include <array>
#include <cstdlib>
#include <mutex>

namespace quol {

namespace {

// Replies, events and errors come from malloc.
struct Free {
    void operator()(void* memory) const noexcept { std::free(memory); }
};
template <typename T>
using Reply = std::unique_ptr<T, Free>;

// Two at once would write into one buffer: libXau keeps the name of the file with the user's keys
// in memory of the process.
xcb_connection_t* connectAlone(int& screen) {
    static std::mutex connecting;
    const std::lock_guard lock(connecting);
    return xcb_connect(nullptr, &screen);
}

} // namespace

std::unique_ptr<ChildWindow> ChildWindow::connect(std::uintptr_t host) {
    int screen = 0;
    std::unique_ptr<ChildWindow> made(new ChildWindow(connectAlone(screen)));
    if (xcb_connection_has_error(made->connection_) != 0) return nullptr;
    made->screen_ = screen;
    return made->inspectHost(host) ? std::move(made) : nullptr;
}

ChildWindow::~ChildWindow() {
    xcb_disconnect(connection_); // also of one that has failed
}

bool ChildWindow::inspectHost(std::uintptr_t host) {
    if (host == 0 || host > UINT32_MAX) return false;
    host_ = static_cast<xcb_window_t>(host);
    // Asked for before the size is read, so that no change goes unseen.
    const std::uint32_t structure = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection_, host_, XCB_CW_EVENT_MASK, &structure);
    const auto geometryAsked = xcb_get_geometry(connection_, host_);
    const auto attributesAsked = xcb_get_window_attributes(connection_, host_);
    xcb_generic_error_t* error = nullptr;
    const Reply<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(connection_, geometryAsked, &error));
    const Reply<xcb_generic_error_t> geometryError(error);
    error = nullptr;
    const Reply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(connection_, attributesAsked, &error));
    const Reply<xcb_generic_error_t> attributesError(error);
    if (!geometry || !attributes) return false;
    size_ = {geometry->width, geometry->height};
    root_ = geometry->root;
    hostVisual_ = attributes->visual;
    // The window may be on another screen than the one that the display's name says.
    auto roots = xcb_setup_roots_iterator(xcb_get_setup(connection_));
    for (int number = 0; roots.rem > 0; ++number, xcb_screen_next(&roots))
        if (roots.data->root == root_) screen_ = number;
    return true;
}

std::uint8_t ChildWindow::depthOf(xcb_visualid_t visual) const {
    auto roots = xcb_setup_roots_iterator(xcb_get_setup(connection_));
    for (; roots.rem > 0; xcb_screen_next(&roots)) {
        auto depths = xcb_screen_allowed_depths_iterator(roots.data);
        for (; depths.rem > 0; xcb_depth_next(&depths)) {
            const xcb_visualtype_t* const visuals = xcb_depth_visuals(depths.data);
            for (int i = 0; i < xcb_depth_visuals_length(depths.data); ++i)
                if (visuals[i].visual_id == visual) return depths.data->depth;
        }
    }
    return 0;
}

bool ChildWindow::create(xcb_visualid_t visual) {
    const std::uint8_t depth = depthOf(visual);
    if (depth == 0) return false;
    const xcb_colormap_t colors = xcb_generate_id(connection_);
    xcb_create_colormap(connection_, XCB_COLORMAP_ALLOC_NONE, colors, root_, visual);
    // No ground, so that the server paints nothing between two pictures. A border is named because
    // one of another depth than the parent's cannot be inherited.
    const std::uint32_t mask = XCB_CW_BACK_PIXMAP | XCB_CW_BORDER_PIXEL | XCB_CW_BIT_GRAVITY |
                               XCB_CW_EVENT_MASK | XCB_CW_COLORMAP;
    const std::array<std::uint32_t, 5> values{
        XCB_BACK_PIXMAP_NONE, 0, XCB_GRAVITY_NORTH_WEST,
        XCB_EVENT_MASK_EXPOSURE | XCB_EVENT_MASK_STRUCTURE_NOTIFY, colors};
    const xcb_window_t window = xcb_generate_id(connection_);
    const auto made = xcb_create_window_checked(
        connection_, depth, window, host_, 0, 0, static_cast<std::uint16_t>(size_.width),
        static_cast<std::uint16_t>(size_.height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, visual, mask,
        values.data());
    const Reply<xcb_generic_error_t> error(xcb_request_check(connection_, made));
    if (error || xcb_connection_has_error(connection_) != 0) return false;
    window_ = window;
    letPointerThrough();
    xcb_map_window(connection_, window_);
    xcb_flush(connection_);
    return true;
}

void ChildWindow::letPointerThrough() {
    const xcb_query_extension_reply_t* const shape =
        xcb_get_extension_data(connection_, &xcb_shape_id);
    if (shape == nullptr || shape->present == 0) return; // events reach the host's window even so
    xcb_shape_rectangles(connection_, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT,
                         XCB_CLIP_ORDERING_UNSORTED, window_, 0, 0, 0, nullptr);
}

void ChildWindow::destroy() {
    if (window_ != 0) xcb_destroy_window(connection_, window_);
    window_ = 0;
    xcb_flush(connection_);
}

bool ChildWindow::isServed() const {
    const Reply<xcb_get_input_focus_reply_t> answer(xcb_get_input_focus_reply(
        connection_, xcb_get_input_focus_unchecked(connection_), nullptr));
    return answer != nullptr;
}

PreviewSurface::News ChildWindow::poll() {
    PreviewSurface::News news;
    const SurfaceSize before = size_;
    for (;;) {
        const Reply<xcb_generic_event_t> event(xcb_poll_for_event(connection_));
        if (!event) break;
        take(*event, news);
    }
    gone_ = gone_ || xcb_connection_has_error(connection_) != 0;
    news.gone = gone_;
    if (!gone_ && size_ != before) {
        const std::array<std::uint32_t, 2> size{static_cast<std::uint32_t>(size_.width),
                                                static_cast<std::uint32_t>(size_.height)};
        xcb_configure_window(connection_, window_,
                             XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, size.data());
        xcb_flush(connection_);
        news.damaged = true;
    }
    return news;
}

void ChildWindow::take(const xcb_generic_event_t& event, PreviewSurface::News& news) {
    constexpr std::uint8_t sentByClient = 0x80;
    switch (event.response_type & ~sentByClient) {
        case XCB_EXPOSE:
            news.damaged = true;
            break;
        case XCB_CONFIGURE_NOTIFY: {
            const auto& change = reinterpret_cast<const xcb_configure_notify_event_t&>(event);
            if (change.window == host_) size_ = {change.width, change.height};
            break;
        }
        case XCB_DESTROY_NOTIFY: {
            // With the host's window goes the child; its own end is told too.
            const auto& end = reinterpret_cast<const xcb_destroy_notify_event_t&>(event);
            if (end.window == host_ || end.window == window_) gone_ = true;
            break;
        }
        default:
            break; // errors too: a request that met a window which is no more
    }
}

} // namespace quol
