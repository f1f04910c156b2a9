#include "support/Replays.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <filesystem>

#include "core/Clock.h"
#include "core/FrameTime.h"
#include "core/SoundBlock.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"

namespace test {

namespace {

constexpr int bits = 16;
constexpr std::uint8_t dark = 32;
constexpr std::uint8_t bright = 220;

} // namespace

quol::FramePtr numberedPicture(int number, std::int64_t pts, AVRational timeBase) {
    quol::FramePtr picture = quol::makeFrame();
    picture->width = numberedWidth;
    picture->height = numberedHeight;
    picture->format = AV_PIX_FMT_YUV420P;
    picture->pts = pts;
    picture->time_base = timeBase;
    if (av_frame_get_buffer(picture.get(), 32) < 0) return nullptr;
    const int box = numberedWidth / bits;
    for (int y = 0; y < numberedHeight; ++y) {
        std::uint8_t* row = picture->data[0] + y * picture->linesize[0];
        for (int bit = 0; bit < bits; ++bit)
            std::memset(row + bit * box, ((number >> bit) & 1) != 0 ? bright : dark, box);
    }
    for (const int plane : {1, 2})
        std::memset(picture->data[plane], 128,
                    static_cast<std::size_t>(picture->linesize[plane]) * numberedHeight / 2);
    return picture;
}

int numberIn(const AVFrame& picture) {
    int number = 0;
    for (int bit = 0; bit < bits; ++bit) {
        const int x = picture.width * (2 * bit + 1) / (2 * bits);
        const int level = picture.data[0][picture.height / 2 * picture.linesize[0] + x];
        if (level > 90 && level < 160) return -1;
        if (level >= 160) number |= 1 << bit;
    }
    return number;
}

quol::FramePtr numberedSound(std::int64_t first, int pairs, int sampleRate) {
    quol::FramePtr sound = quol::makeSilentBlock(pairs, sampleRate);
    sound->pts = first;
    sound->time_base = {1, sampleRate};
    for (int i = 0; i < pairs; ++i) {
        const auto level = static_cast<std::int16_t>((first + i) % 30000);
        quol::samplesOf(*sound)[2 * i] = level;
        quol::samplesOf(*sound)[2 * i + 1] = static_cast<std::int16_t>(-level);
    }
    return sound;
}

void ReplaySink::pushVideoFrame(AVFrame* frame) {
    const AVDictionaryEntry* timecode = av_dict_get(frame->metadata, "timecode", nullptr, 0);
    const Picture picture{numberIn(*frame),        timecode != nullptr ? timecode->value : "",
                          quol::frameTime(*frame), frame->width,
                          frame->height,           frame->format,
                          quol::steadyNow()};
    std::function<void()> call;
    {
        const std::lock_guard lock(mutex_);
        pictures_.push_back(picture);
        call = onPicture_;
    }
    if (call) call();
}

void ReplaySink::pushAudioFrame(AVFrame* frame) {
    const std::lock_guard lock(mutex_);
    blocks_.push_back({frame->pts, frame->nb_samples, frame->sample_rate,
                       quol::samplesOf(*frame)[0], quol::steadyNow()});
}

std::vector<ReplaySink::Picture> ReplaySink::pictures() const {
    const std::lock_guard lock(mutex_);
    return pictures_;
}

std::vector<ReplaySink::Block> ReplaySink::blocks() const {
    const std::lock_guard lock(mutex_);
    return blocks_;
}

std::vector<int> ReplaySink::numbers() const {
    std::vector<int> numbers;
    for (const Picture& picture : pictures())
        numbers.push_back(picture.number);
    return numbers;
}

void ReplaySink::clear() {
    const std::lock_guard lock(mutex_);
    pictures_.clear();
    blocks_.clear();
}

void ReplaySink::onPicture(std::function<void()> call) {
    const std::lock_guard lock(mutex_);
    onPicture_ = std::move(call);
}

std::string newFolder(const std::string& name) {
    static std::atomic<int> count{0};
    const std::string folder = temporaryPath(name + std::to_string(count++));
    std::filesystem::create_directories(folder);
    return folder;
}

ReplayStation::ReplayStation(double rate) : folder(newFolder("replay")) {
    replay.setRecordPath(folder, "replay");
    replay.setExportPath(folder, "export");
    replay.setProps("name", "cam");
    replay.setVideoFormat({0, numberedWidth, numberedHeight, rate, 0});
    replay.setProps("timecode", "true");
    replay.setProps("timecodeSource", "2");
    replay.setProps("timecodeStart", "10:00:00:00");
    told([this] { replay.addSink(&sink); });
}

ReplayStation::~ReplayStation() {
    told([this] { replay.removeSink(&sink); });
}

void ReplayStation::push(int number, AVRational timeBase, const std::string& timecode) {
    const quol::FramePtr picture = numberedPicture(number, number, timeBase);
    if (!timecode.empty()) av_dict_set(&picture->metadata, "timecode", timecode.c_str(), 0);
    replay.pushVideoFrame(picture.get());
}

void ReplayStation::record(int count, AVRational timeBase) {
    for (int number = 0; number < count; ++number)
        push(number, timeBase);
}

std::optional<ReplaySink::Picture> ReplayStation::shown(int frame) {
    return after([&] { replay.posSet(frame); });
}

std::optional<ReplaySink::Picture> ReplayStation::after(const std::function<void()>& action) {
    const std::size_t before = sink.pictures().size();
    action();
    if (!waitUntil([&] { return sink.pictures().size() > before; })) return std::nullopt;
    return sink.pictures().back();
}

} // namespace test
