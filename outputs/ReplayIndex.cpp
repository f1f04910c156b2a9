#include "outputs/ReplayIndex.h"

#include <cmath>

namespace quol {

void ReplayPicture::setTimecode(std::string_view text) {
    timecode.fill('\0');
    text.substr(0, replayTimecodeLength).copy(timecode.data(), replayTimecodeLength);
}

// Within a rising run the distance falls up to the time looked for and rises behind it, so that the
// nearest entry lies on either side of it. Rounding may make several as near: the first one counts.
std::size_t ReplayPictures::nearest(double seconds) const {
    std::size_t found = 0;
    double best = 99999.0;
    const auto distance = [seconds](const ReplayPicture& entry) {
        return std::fabs(entry.time - seconds);
    };
    for (std::size_t run = 0; run < runs(); ++run) {
        const std::size_t begin = runBegin(run);
        const std::size_t end = runEnd(run);
        const std::size_t behind = firstOf(
            begin, end, [seconds](const ReplayPicture& entry) { return entry.time >= seconds; });
        if (behind > begin) {
            const double before = distance((*this)[behind - 1]);
            if (before < best) {
                best = before;
                found = firstOf(begin, behind, [&](const ReplayPicture& entry) {
                    return distance(entry) <= before;
                });
            }
        }
        if (behind < end && distance((*this)[behind]) < best) {
            best = distance((*this)[behind]);
            found = behind;
        }
    }
    return found;
}

std::size_t ReplayPictures::firstFrom(double seconds) const {
    for (std::size_t run = 0; run < runs(); ++run) {
        const std::size_t end = runEnd(run);
        const std::size_t found =
            firstOf(runBegin(run), end,
                    [seconds](const ReplayPicture& entry) { return entry.time >= seconds; });
        if (found < end) return found;
    }
    return 0;
}

std::size_t ReplayPictures::lastUntil(double seconds) const {
    for (std::size_t run = runs(); run-- > 0;) {
        const std::size_t begin = runBegin(run);
        const std::size_t behind =
            firstOf(begin, runEnd(run),
                    [seconds](const ReplayPicture& entry) { return !(entry.time <= seconds); });
        if (behind > begin) return behind - 1;
    }
    return 0;
}

std::optional<std::size_t> ReplayPictures::lastOf(std::string_view timecode) const {
    if (timecode.size() > replayTimecodeLength) return std::nullopt;
    for (std::size_t index = size(); index-- > 0;) {
        if ((*this)[index].timecodeText() == timecode) return index;
    }
    return std::nullopt;
}

double ReplayPictures::endOf(std::size_t index, double length) const {
    return index + 1 < size() ? (*this)[index + 1].time : (*this)[index].time + length;
}

std::vector<ReplaySound> ReplaySounds::within(double from, double end) const {
    std::vector<ReplaySound> found;
    for (std::size_t run = 0; run < runs(); ++run) {
        const std::size_t runsUntil = runEnd(run);
        std::size_t index = firstOf(runBegin(run), runsUntil, [from](const ReplaySound& entry) {
            return entry.time >= from;
        });
        for (; index < runsUntil && (*this)[index].time < end; ++index)
            found.push_back((*this)[index]);
    }
    return found;
}

std::vector<ReplaySound> ReplaySounds::since(std::size_t first, double from, double end) const {
    std::vector<ReplaySound> found;
    for (std::size_t index = first; index < size(); ++index) {
        const ReplaySound& sound = (*this)[index];
        if (from <= sound.time && sound.time < end) found.push_back(sound);
    }
    return found;
}

} // namespace quol
