#include "support/EncoderFeed.h"

#include <chrono>
#include <fstream>
#include <string>
#include <thread>

#include "support/Measure.h"

namespace bench {

namespace {

constexpr int width = 1920;
constexpr int height = 1080;
constexpr int distinct = 50; // pictures in the ring, 155 MB
constexpr int soundRate = 48000;

std::string picturesPath() {
    return mediaFolder() + "/pictures.yuv";
}

std::string soundPath() {
    return mediaFolder() + "/sound.pcm";
}

bool readInto(std::ifstream& file, AVFrame& frame) {
    for (int plane = 0; plane < 3; ++plane) {
        const int columns = plane == 0 ? width : width / 2;
        const int rows = plane == 0 ? height : height / 2;
        for (int row = 0; row < rows; ++row) {
            auto* line =
                frame.data[plane] + static_cast<std::ptrdiff_t>(row) * frame.linesize[plane];
            file.read(reinterpret_cast<char*>(line), columns);
        }
    }
    return file.good();
}

} // namespace

bool makeFeed() {
    const std::string clip = testClip();
    if (clip.empty()) return false;
    const Command decode = with(words("ffmpeg -v error -nostdin -y -i"), {clip});
    const std::string pictures =
        madeOnce("pictures.yuv", with(decode, words("-frames:v " + std::to_string(distinct) +
                                                    " -f rawvideo -pix_fmt yuv420p")));
    const std::string sound =
        madeOnce("sound.pcm", with(decode, words("-vn -t 2 -f s16le -ar 48000")));
    return !pictures.empty() && !sound.empty();
}

int EncoderFeed::getWidth() {
    return width;
}

int EncoderFeed::getHeight() {
    return height;
}

bool EncoderFeed::read() {
    const int samples = soundRate / rate_;
    std::ifstream pictures(picturesPath(), std::ios::binary);
    std::ifstream sound(soundPath(), std::ios::binary);
    for (int i = 0; i < distinct; ++i) {
        quol::FramePtr picture = makePicture(width, height, AV_PIX_FMT_YUV420P);
        if (!picture || !readInto(pictures, *picture)) return false;
        picture->time_base = {1, rate_};
        pictures_.push_back(std::move(picture));
        quol::FramePtr block = quol::makeFrame();
        block->format = AV_SAMPLE_FMT_S16;
        block->sample_rate = soundRate;
        block->nb_samples = samples;
        block->time_base = {1, soundRate};
        av_channel_layout_default(&block->ch_layout, 2);
        if (av_frame_get_buffer(block.get(), 0) < 0) return false;
        sound.read(reinterpret_cast<char*>(block->data[0]), samples * 4);
        if (!sound.good()) return false;
        sound_.push_back(std::move(block));
    }
    return true;
}

void EncoderFeed::run(int frames, const std::function<void(int)>& before) {
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < frames; ++i) {
        std::this_thread::sleep_until(begin + std::chrono::microseconds(1000000 / rate_) * i);
        before(i);
        const auto index = static_cast<std::size_t>(i % distinct);
        sound_[index]->pts = static_cast<std::int64_t>(i) * (soundRate / rate_);
        pictures_[index]->pts = i;
        distributeAudioFrame(sound_[index].get());
        distributeVideoFrame(pictures_[index].get());
    }
}

Command feedOfPeer(int frames, int rate) {
    const std::string again = "-re -stream_loop " + std::to_string((frames - 1) / distinct);
    Command command = words("ffmpeg -v error -nostdin -y " + again +
                            " -f rawvideo -pix_fmt yuv420p -s 1920x1080 -framerate " +
                            std::to_string(rate) + " -i");
    command.push_back(picturesPath());
    command = with(command, words(again + " -f s16le -ar 48000 -ac 2 -i"));
    command.push_back(soundPath());
    return with(command, {"-frames:v", std::to_string(frames), "-t",
                          std::to_string(static_cast<double>(frames) / rate)});
}

} // namespace bench
