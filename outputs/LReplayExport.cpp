// A part of a replay as a movie.
#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "core/HadMemory.h"
#include "core/ModeTables.h"
#include "core/PlainFile.h"
#include "core/Timecode.h"
#include "outputs/ReplayDecoder.h"
#include "outputs/ReplayMovie.h"
#include "outputs/ReplayStore.h"
#include "quolsdk/LReplay.h"

namespace {

constexpr double millis = 1000.0; // in a second

bool isNative(const videoFormatProps& format) {
    return format.mode == quol::modeNative || format.width < 1 || format.height < 1;
}

} // namespace

bool LReplay::exportRangeMs(double firstMs, double lastMs, const std::string& file) {
    std::size_t first = 0;
    std::size_t last = 0;
    {
        const std::lock_guard lock(videoMutex);
        if (store->pictures.empty()) return false;
        first = store->pictures.firstFrom(firstMs / millis);
        last = store->pictures.lastUntil(lastMs / millis);
    }
    return exportRange(static_cast<int>(first), static_cast<int>(last), file);
}

std::string LReplay::exportPath(const Settings& now, double first, double last) const {
    const std::string& base = now.name.empty() ? now.exportName : now.name;
    return now.exportPath + base + "_" + std::to_string(quol::wholeFrames(first)) + "s_" +
           std::to_string(quol::wholeFrames(last - first)) + "s.mov";
}

bool LReplay::exportRange(int first, int last, const std::string& file) {
    bool whole = false;
    return quol::hadMemory([&] { whole = exportFrames(first, last, file); }) && whole;
}

bool LReplay::exportFrames(int first, int last, const std::string& file) {
    const Settings now = settingsNow();
    quol::ReplayPicture begin;
    std::string videoPath;
    std::string audioPath;
    std::string path = file;
    std::uint64_t generation = 0;
    {
        const std::lock_guard lock(videoMutex);
        if (store->pictures.empty()) return false;
        const int end = static_cast<int>(store->pictures.size()) - 1;
        first = std::clamp(first, 0, end);
        last = std::clamp(last, 0, end);
        if (first > last) std::swap(first, last);
        begin = store->pictures[static_cast<std::size_t>(first)];
        const double until = store->pictures[static_cast<std::size_t>(last)].time;
        if (path.empty()) path = exportPath(now, begin.time, until);
        videoPath = store->videoPath;
        audioPath = store->audioPath;
        generation = store->generation;
    }
    if (const auto target = quol::fileIdentity(path); // never onto the recording itself
        target &&
        (target == quol::fileIdentity(videoPath) || target == quol::fileIdentity(audioPath)))
        return false;
    // Handles of its own: what is shown meanwhile reads on.
    const std::shared_ptr<quol::ReplayReader> video = quol::ReplayReader::open(videoPath);
    const std::shared_ptr<quol::ReplayReader> audio = quol::ReplayReader::open(audioPath);
    if (!video) return false;
    const Range range{static_cast<std::size_t>(first), static_cast<std::size_t>(last), begin.time,
                      1.0 / quol::replayRate(now.videoFormat.fps), generation};
    const quol::ReplaySize size =
        isNative(now.videoFormat) ? storedSize(range, *video)
                                  : quol::ReplaySize{now.videoFormat.width, now.videoFormat.height};
    const quol::ReplayMovieFormat format{
        size.width, size.height, quol::replayRate(now.videoFormat.fps),
        quol::replaySoundRate(now.audioFormat), std::string(begin.timecodeText())};
    quol::ReplayMovie movie;
    if (!movie.open(path, format)) return false;
    const bool whole = writeMovie(movie, range, *video, audio.get());
    return movie.finish() && whole;
}

// That of the first picture of the range that can be read.
quol::ReplaySize LReplay::storedSize(const Range& range, const quol::ReplayReader& video) {
    std::vector<std::uint8_t> bytes;
    for (std::size_t at = range.first; at <= range.last; ++at) {
        quol::ReplayPicture entry;
        {
            const std::lock_guard lock(videoMutex);
            if (store->generation != range.generation) break;
            entry = store->pictures[at];
        }
        if (!video.readPicture({entry.offset, entry.size}, bytes)) continue;
        if (const auto size = quol::jpegSize(bytes.data(), static_cast<std::size_t>(entry.size)))
            return *size;
    }
    return {};
}

// False when the recording was cleared or begun anew meanwhile.
bool LReplay::writeMovie(quol::ReplayMovie& movie, const Range& range,
                         const quol::ReplayReader& video, const quol::ReplayReader* audio) {
    std::vector<std::uint8_t> bytes;
    double start = range.start;
    double before = range.start;
    for (std::size_t at = range.first; at <= range.last && movie.good(); ++at) {
        quol::ReplayPicture entry;
        std::vector<quol::ReplaySound> blocks;
        {
            const std::lock_guard lock(videoMutex);
            if (store->generation != range.generation) return false;
            entry = store->pictures[at];
            if (audio != nullptr)
                blocks =
                    store->sounds.within(entry.time, store->pictures.endOf(at, range.slotLength));
        }
        // A recording begun without a clear counts from 0 again; the movie goes on.
        if (entry.time < before)
            start = entry.time - static_cast<double>(at - range.first) * range.slotLength;
        before = entry.time;
        if (video.readPicture({entry.offset, entry.size}, bytes))
            movie.addPicture(static_cast<std::int64_t>(at - range.first), bytes.data(), entry.size);
        for (const quol::ReplaySound& block : blocks) {
            bytes.resize(static_cast<std::size_t>(block.size));
            if (audio->read({block.offset, block.size}, bytes.data()))
                movie.addSound(block.time - start, bytes.data(), block.size);
        }
    }
    return true;
}
