#include "core/ClipInput.h"

#include <array>
#include <charconv>

#include "core/MediaInput.h"
#include "core/Timecode.h"

namespace quol {

namespace {

// A number with a decimal point, whatever the locale says.
std::string numberText(double number) {
    std::array<char, 64> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
    return {text.data(), end};
}

} // namespace

bool isImageSequence(const std::string& path) {
    return path.find('%') != std::string::npos;
}

bool openClip(MediaInput& input, const std::string& path, double fps) {
    if (!isImageSequence(path)) return input.open(path);
    Dictionary options;
    options.set("framerate", numberText(fpsOrDefault(fps)).c_str());
    return input.open(path, "image2", &options);
}

} // namespace quol
