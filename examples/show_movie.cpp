#include "show_movie.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

extern "C" {
#include <libavformat/avformat.h>
}

namespace show {

namespace {

struct Close {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
using Input = std::unique_ptr<AVFormatContext, Close>;

Input openMovie(const std::string& path) {
    AVFormatContext* context = nullptr;
    if (avformat_open_input(&context, path.c_str(), nullptr, nullptr) < 0) return nullptr;
    Input input(context);
    return avformat_find_stream_info(context, nullptr) < 0 ? nullptr : std::move(input);
}

} // namespace

std::vector<double> pictureTimes(const std::string& path) {
    std::vector<double> times;
    const Input input = openMovie(path);
    const std::unique_ptr<AVPacket, Close> packet(av_packet_alloc());
    if (!input || !packet) return times;
    const int index = av_find_best_stream(input.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    while (index >= 0 && av_read_frame(input.get(), packet.get()) >= 0) {
        if (packet->stream_index == index && packet->pts != AV_NOPTS_VALUE)
            times.push_back(static_cast<double>(packet->pts) *
                            av_q2d(input->streams[index]->time_base));
        av_packet_unref(packet.get());
    }
    std::sort(times.begin(), times.end());
    return times;
}

std::int64_t countHoles(const std::vector<double>& times, double rate) {
    if (times.empty()) return 0;
    const auto room = std::llround((times.back() - times.front()) * rate) + 1;
    return std::max<std::int64_t>(0, room - static_cast<std::int64_t>(times.size()));
}

} // namespace show
