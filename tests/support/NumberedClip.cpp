#include "support/NumberedClip.h"

#include <algorithm>

#include "support/CapturedStream.h"
#include "support/FilePlayer.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace test {

namespace {

constexpr int bits = 9;
constexpr std::size_t recognised = 16; // pairs that stand nowhere else in the clip

// Mean of the first component in the middle of a box.
int levelOf(const AVFrame& picture, int box) {
    const AVPixFmtDescriptor* descriptor =
        av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
    const AVComponentDescriptor& component = descriptor->comp[0];
    constexpr int columns = 32;
    constexpr int rows = 16;
    const int left = 16 + box * 72 + 16;
    const int top = 16 + 8;
    int sum = 0;
    for (int y = 0; y < rows; ++y) {
        const std::uint8_t* at =
            picture.data[component.plane] +
            static_cast<std::ptrdiff_t>(top + y) * picture.linesize[component.plane] +
            left * component.step + component.offset;
        for (int x = 0; x < columns; ++x)
            sum += at[x * component.step];
    }
    return sum / (columns * rows);
}

} // namespace

std::string NumberedClip::path() {
    return mediaPath("numbered.mov");
}

int NumberedClip::numberOf(const AVFrame& picture) {
    if (picture.width != width || picture.height != height) return -1;
    int number = 0;
    for (int box = 0; box < bits; ++box) {
        const int level = levelOf(picture, box);
        if (level > 64 && level < 192) return -1;
        if (level >= 192) number |= 1 << box;
    }
    return number;
}

NumberedClip::NumberedClip() {
    for (const quol::FramePtr& block : decodeAll(path(), AVMEDIA_TYPE_AUDIO)) {
        const auto* samples = reinterpret_cast<const std::int16_t*>(block->data[0]);
        sound_.insert(sound_.end(), samples, samples + 2 * block->nb_samples);
    }
}

void SoundClock::add(std::size_t firstPair, double seconds) {
    const std::size_t from = static_cast<std::size_t>(number_) * NumberedClip::pairsPerPicture;
    if (firstPair < from || firstPair >= from + std::size_t{window} * NumberedClip::pairsPerPicture)
        return;
    const double start = seconds - static_cast<double>(firstPair) / NumberedClip::soundRate;
    start_ = std::max(start_.value_or(start), start);
}

std::optional<double> SoundClock::behind(double pictureSeconds) const {
    if (!start_) return std::nullopt;
    return *start_ - (pictureSeconds - number_ * NumberedClip::step);
}

std::vector<SoundPiece> piecesOf(const NumberedClip& clip, const std::vector<std::int16_t>& sound) {
    const std::vector<std::int16_t>& whole = clip.sound();
    const std::size_t total = sound.size() / 2;
    std::vector<SoundPiece> pieces;
    std::size_t at = 0;
    std::size_t inClip = 0; // where the next piece may begin
    while (at < total) {
        // A beginning of zeros is taken for silence: the piece has its first other sample then.
        if (sound[2 * at] == 0 && sound[2 * at + 1] == 0) {
            ++at;
            continue;
        }
        const auto from = sound.begin() + static_cast<std::ptrdiff_t>(2 * at);
        const auto to = from + static_cast<std::ptrdiff_t>(2 * std::min(recognised, total - at));
        const auto found = std::search(whole.begin() + static_cast<std::ptrdiff_t>(2 * inClip),
                                       whole.end(), from, to);
        if (found == whole.end()) return {};
        SoundPiece piece{at, static_cast<std::size_t>(found - whole.begin()) / 2, 0};
        const auto end = std::mismatch(from, sound.end(), found, whole.end()).first;
        piece.pairs = static_cast<std::size_t>(end - from) / 2;
        if (piece.pairs == 0) return {};
        at += piece.pairs;
        inClip = piece.inClip + piece.pairs;
        pieces.push_back(piece);
    }
    return pieces;
}

std::size_t missingPairs(const std::vector<SoundPiece>& pieces) {
    std::size_t missing = 0;
    for (std::size_t i = 1; i < pieces.size(); ++i)
        missing += pieces[i].inClip - pieces[i - 1].inClip - pieces[i - 1].pairs;
    return missing;
}

} // namespace test
