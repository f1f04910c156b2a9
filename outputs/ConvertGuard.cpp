#include "outputs/ConvertGuard.h"

#include <algorithm>
#include <array>
#include <limits>

extern "C" {
#include <libavformat/avformat.h>
}

namespace quol {

std::optional<FileIdentity> ConvertGuard::pictureOf(const std::string& pattern, int number) {
    std::array<char, 4096> name{};
    if (av_get_frame_filename(name.data(), static_cast<int>(name.size()), pattern.c_str(), number) <
        0)
        return std::nullopt;
    return fileIdentity(name.data());
}

// Finds those that FFmpeg reads: the first is one of 0 to 4, the last is the one before the first
// that is missing. False when it was stopped on the way.
bool ConvertGuard::addPictures(const std::string& pattern) {
    constexpr int latestFirst = 4;
    int number = 0;
    auto picture = pictureOf(pattern, number);
    while (!picture && number < latestFirst)
        picture = pictureOf(pattern, ++number);
    while (picture && !stop_) {
        pictures_.insert(*picture);
        if (number == std::numeric_limits<int>::max()) return true;
        picture = pictureOf(pattern, ++number);
    }
    return !picture;
}

// Sequences are long: they are gone through when a file that exists is about to be replaced.
bool ConvertGuard::isPicture(const FileIdentity& file) {
    const auto addInput = [this](const std::string& input) {
        return av_filename_number_test(input.c_str()) == 0 || addPictures(input);
    };
    if (!picturesKnown_) picturesKnown_ = std::all_of(inputs_.begin(), inputs_.end(), addInput);
    return !picturesKnown_ || pictures_.contains(file);
}

bool ConvertGuard::isInput(const std::string& path) {
    if (std::find(inputs_.begin(), inputs_.end(), path) != inputs_.end()) return true;
    const auto file = fileIdentity(path);
    if (!file) return false;
    const auto isFile = [&file](const std::string& input) { return fileIdentity(input) == file; };
    return std::any_of(inputs_.begin(), inputs_.end(), isFile) || isPicture(*file);
}

} // namespace quol
