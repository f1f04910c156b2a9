#include "support/XServer.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

#include "support/CollectingSink.h"
#include "support/Program.h"

namespace test {

namespace {

// The line that is a number and nothing else; the server may complain of numbers that are taken.
std::string numberIn(const std::string& output) {
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line) && !lines.eof();) {
        if (!line.empty() && line.find_first_not_of("0123456789") == std::string::npos) return line;
    }
    return "";
}

} // namespace

XServer::XServer() {
    // The server picks a number that is free, and tells it when it answers.
    program_ = std::make_unique<Program>(
        std::vector<std::string>{"Xvfb", "-displayfd", "1", "-screen", "0", "1280x1024x24",
                                 "-nolisten", "tcp", "-noreset", "+extension", "SHAPE"});
    std::string number;
    waitUntil(
        [&] {
            number = numberIn(program_->output());
            return !number.empty() || !program_->running();
        },
        std::chrono::seconds(60));
    if (number.empty()) return;
    name_ = ":" + number;
    setenv("DISPLAY", name_.c_str(), 1);
}

XServer::~XServer() = default;

void XServer::kill() {
    program_.reset();
}

namespace {

Pixel pixelOf(std::uint32_t packed) {
    return {static_cast<int>(packed >> 16 & 0xFF), static_cast<int>(packed >> 8 & 0xFF),
            static_cast<int>(packed & 0xFF)};
}

} // namespace

bool isNear(const Pixel& pixel, const Pixel& wanted, int tolerance) {
    return std::abs(pixel.red - wanted.red) <= tolerance &&
           std::abs(pixel.green - wanted.green) <= tolerance &&
           std::abs(pixel.blue - wanted.blue) <= tolerance;
}

Pixel Screenshot::at(int x, int y) const {
    const bool inside = x >= 0 && y >= 0 && x < width && y < height && !pixels.empty();
    return inside ? pixelOf(pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                                   static_cast<std::size_t>(x)])
                  : Pixel{-1, -1, -1};
}

int Screenshot::count(const Pixel& wanted, int left, int top, int right, int bottom,
                      int tolerance) const {
    if (pixels.empty()) return 0;
    const auto near = [tolerance](std::uint32_t level, int wantedLevel) {
        return std::abs(static_cast<int>(level & 0xFF) - wantedLevel) <= tolerance;
    };
    const int first = std::max(left, 0);
    const int last = std::min(right, width);
    int found = 0;
    for (int y = std::max(top, 0); y < std::min(bottom, height); ++y) {
        const std::uint32_t* const row =
            pixels.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(width);
        for (int x = first; x < last; ++x) {
            const std::uint32_t packed = row[x];
            const bool isFound = near(packed >> 16, wanted.red) &&
                                 near(packed >> 8, wanted.green) && near(packed, wanted.blue);
            found += isFound ? 1 : 0;
        }
    }
    return found;
}

HostWindow::HostWindow(int width, int height, int x) : connection_(xcb_connect(nullptr, nullptr)) {
    const xcb_screen_t* const screen = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
    window_ = xcb_generate_id(connection_);
    // Magenta, which no preview paints.
    const std::uint32_t values[2] = {0xFF00FF,
                                     XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_BUTTON_PRESS};
    xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window_, screen->root,
                      static_cast<std::int16_t>(x), 0, static_cast<std::uint16_t>(width),
                      static_cast<std::uint16_t>(height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      screen->root_visual, XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
    map();
}

HostWindow::~HostWindow() {
    xcb_disconnect(connection_);
}

void* HostWindow::handle() const {
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(window_));
}

void HostWindow::finish() const {
    std::free(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
}

void HostWindow::resize(int width, int height) {
    const std::uint32_t size[2] = {static_cast<std::uint32_t>(width),
                                   static_cast<std::uint32_t>(height)};
    xcb_configure_window(connection_, window_, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                         size);
    finish();
}

void HostWindow::map() {
    xcb_map_window(connection_, window_);
    finish();
}

void HostWindow::unmap() {
    xcb_unmap_window(connection_, window_);
    finish();
}

void HostWindow::destroy() {
    xcb_destroy_window(connection_, window_);
    finish();
}

std::uint32_t HostWindow::eventMask() const {
    auto* const reply = xcb_get_window_attributes_reply(
        connection_, xcb_get_window_attributes(connection_, window_), nullptr);
    const std::uint32_t mask = reply != nullptr ? reply->your_event_mask : 0;
    std::free(reply);
    return mask;
}

int HostWindow::children() const {
    auto* const reply =
        xcb_query_tree_reply(connection_, xcb_query_tree(connection_, window_), nullptr);
    const int count = reply != nullptr ? xcb_query_tree_children_length(reply) : -1;
    std::free(reply);
    return count;
}

Screenshot takeScreenshot(xcb_connection_t* connection, xcb_window_t window) {
    Screenshot shot;
    auto* const geometry =
        xcb_get_geometry_reply(connection, xcb_get_geometry(connection, window), nullptr);
    if (geometry == nullptr) return shot;
    shot.width = geometry->width;
    shot.height = geometry->height;
    std::free(geometry);
    auto* const image =
        xcb_get_image_reply(connection,
                            xcb_get_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, window, 0, 0,
                                          static_cast<std::uint16_t>(shot.width),
                                          static_cast<std::uint16_t>(shot.height), ~0U),
                            nullptr);
    if (image == nullptr) return shot;
    shot.pixels.resize(static_cast<std::size_t>(shot.width) *
                       static_cast<std::size_t>(shot.height));
    const auto bytes = static_cast<std::size_t>(xcb_get_image_data_length(image));
    std::memcpy(shot.pixels.data(), xcb_get_image_data(image),
                std::min(bytes, shot.pixels.size() * sizeof shot.pixels[0]));
    std::free(image);
    return shot;
}

Screenshot HostWindow::screenshot() const {
    return takeScreenshot(connection_, window_);
}

std::vector<int> HostWindow::events() {
    finish();
    std::vector<int> types;
    while (auto* const event = xcb_poll_for_event(connection_)) {
        types.push_back(event->response_type & 0x7F);
        std::free(event);
    }
    return types;
}

void keepPicture(const Screenshot& screenshot, const std::string& name) {
    const char* const folder = std::getenv("QUOLSDK_TEST_PICTURES");
    if (folder == nullptr) return;
    std::ofstream file(std::string(folder) + "/" + name + ".ppm", std::ios::binary);
    file << "P6\n" << screenshot.width << " " << screenshot.height << "\n255\n";
    for (const std::uint32_t packed : screenshot.pixels) {
        const Pixel pixel = pixelOf(packed);
        file << static_cast<char>(pixel.red) << static_cast<char>(pixel.green)
             << static_cast<char>(pixel.blue);
    }
}

} // namespace test
