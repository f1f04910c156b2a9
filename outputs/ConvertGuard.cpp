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

// Finds those that FFmpeg reads, and so goes their way: the first is one of 0 to 4, the last is
// looked for in steps that double, which may lead over a gap.
void ConvertGuard::addPictures(const std::string& pattern) {
    constexpr int latestFirst = 4;
    constexpr int longestStep = 1 << 29;
    int first = 0;
    while (!pictureOf(pattern, first))
        if (++first > latestFirst) return;
    int last = first;
    int reached = 0;
    do {
        reached = 0;
        for (int step = 1; step <= longestStep; step *= 2) {
            if (last > std::numeric_limits<int>::max() - step || !pictureOf(pattern, last + step))
                break;
            reached = step;
        }
        last += reached;
    } while (reached > 0);
    for (int number = first; number < last; ++number)
        if (const auto picture = pictureOf(pattern, number)) pictures_->insert(*picture);
    if (const auto picture = pictureOf(pattern, last)) pictures_->insert(*picture);
}

// Sequences are long: they are gone through when a file that exists is about to be replaced.
bool ConvertGuard::isPicture(const std::string& path) {
    const auto identity = fileIdentity(path);
    if (!identity) return false;
    if (!pictures_) {
        pictures_.emplace();
        for (const std::string& input : inputs_)
            if (av_filename_number_test(input.c_str()) != 0) addPictures(input);
    }
    return pictures_->contains(*identity);
}

bool ConvertGuard::isInput(const std::string& path) {
    const auto isPath = [&path](const std::string& input) {
        return input == path || isSameFile(input, path);
    };
    return std::any_of(inputs_.begin(), inputs_.end(), isPath) || isPicture(path);
}

} // namespace quol
