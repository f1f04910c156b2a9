#include "support/ClipReceiver.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "core/Clock.h"
#include "support/CollectingSink.h"

namespace test {

void NumberedSink::pushVideoFrame(AVFrame* frame) {
    const Picture picture{NumberedClip::numberOf(*frame),
                          static_cast<double>(frame->pts) * av_q2d(frame->time_base),
                          quol::steadyNow()};
    const std::lock_guard lock(mutex_);
    pictures_.push_back(picture);
    if (picture.number % keepEvery_ == 0) kept_[picture.number] = quol::cloneFrame(frame);
}

void NumberedSink::pushAudioFrame(AVFrame* frame) {
    if (frame->format != AV_SAMPLE_FMT_S16 || frame->ch_layout.nb_channels != 2) return;
    const auto* samples = reinterpret_cast<const std::int16_t*>(frame->data[0]);
    const std::lock_guard lock(mutex_);
    blocks_.push_back(
        {sound_.size() / 2, static_cast<double>(frame->pts) * av_q2d(frame->time_base)});
    sound_.insert(sound_.end(), samples, samples + 2 * frame->nb_samples);
}

int NumberedSink::latest() const {
    const std::lock_guard lock(mutex_);
    return pictures_.empty() ? -1 : pictures_.back().number;
}

std::vector<NumberedSink::Picture> NumberedSink::pictures() const {
    const std::lock_guard lock(mutex_);
    return pictures_;
}

std::vector<NumberedSink::Block> NumberedSink::blocks() const {
    const std::lock_guard lock(mutex_);
    return blocks_;
}

std::vector<std::int16_t> NumberedSink::sound() const {
    const std::lock_guard lock(mutex_);
    return sound_;
}

std::map<int, quol::FramePtr> NumberedSink::keptPictures() const {
    const std::lock_guard lock(mutex_);
    std::map<int, quol::FramePtr> kept;
    for (const auto& [number, picture] : kept_)
        kept[number] = quol::cloneFrame(picture.get());
    return kept;
}

bool ClipReceiver::start(const std::string& name) {
    constexpr int vtpDevice = 1;
    int found = -1;
    waitUntil([&] {
        int count = 0;
        live.DeviceChannelGetCount(vtpDevice, count);
        for (int i = 0; i < count && found < 0; ++i) {
            std::string channel;
            std::string description;
            live.DeviceChannelGetByIndex(vtpDevice, i, channel, description);
            if (channel.starts_with(name + " (")) found = i;
        }
        return found >= 0;
    });
    if (found < 0) return false;
    live.DeviceSet(vtpDevice);
    live.DeviceChannelSet(found);
    return live.Start();
}

bool ClipReceiver::waitFor(int number) const {
    return waitUntil([&] { return sink.latest() >= number; }, std::chrono::seconds(60));
}

bool ClipReceiver::waitForSound(int number) const {
    const NumberedClip clip;
    const std::size_t wanted =
        static_cast<std::size_t>(number) * static_cast<std::size_t>(NumberedClip::pairsPerPicture);
    return waitUntil(
        [&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(20)); // looking takes a while
            const auto pieces = piecesOf(clip, sink.sound());
            return !pieces.empty() && pieces.back().inClip + pieces.back().pairs >= wanted;
        },
        std::chrono::seconds(60));
}

int ClipReceiver::lost() const {
    const auto pictures = sink.pictures();
    if (pictures.empty()) return 0;
    return pictures.back().number - pictures.front().number + 1 - static_cast<int>(pictures.size());
}

bool ClipReceiver::isInOrder() const {
    const auto pictures = sink.pictures();
    for (std::size_t i = 1; i < pictures.size(); ++i) {
        if (pictures[i].number <= pictures[i - 1].number) return false;
        if (pictures[i].seconds <= pictures[i - 1].seconds) return false;
    }
    return !pictures.empty() && pictures.front().number >= 0;
}

std::map<int, double> ClipReceiver::soundBehind(const std::vector<SoundPiece>& pieces) const {
    const auto blocks = sink.blocks();
    std::map<int, double> result;
    for (const NumberedSink::Picture& picture : sink.pictures()) {
        if (picture.number % NumberedClip::flashEvery != 0) continue;
        SoundClock clock(picture.number);
        for (const NumberedSink::Block& block : blocks) {
            for (const SoundPiece& piece : pieces) {
                if (block.first >= piece.inSound && block.first < piece.inSound + piece.pairs)
                    clock.add(piece.inClip + block.first - piece.inSound, block.seconds);
            }
        }
        if (const auto behind = clock.behind(picture.seconds)) result[picture.number] = *behind;
    }
    return result;
}

} // namespace test
