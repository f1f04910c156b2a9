#include "show_timing.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>

extern "C" {
#include <libavutil/frame.h>
}

namespace show {

namespace {

double steadySeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// When the first picture would have come, going by this one.
double startBy(const Arrival& arrival, std::int64_t first, double period) {
    return arrival.seconds - static_cast<double>(arrival.number - first) * period;
}

} // namespace

double startOf(const std::vector<Arrival>& arrivals, double period) {
    if (arrivals.empty()) return 0.0;
    double start = arrivals.front().seconds;
    for (const Arrival& arrival : arrivals)
        start = std::min(start, startBy(arrival, arrivals.front().number, period));
    return start;
}

double nextDue(const std::vector<Arrival>& arrivals, double period, double behind, double now) {
    const double moment = startOf(arrivals, period) + behind;
    return moment + std::ceil((now - moment) / period) * period;
}

Punctuality judge(const std::vector<Arrival>& arrivals, double period) {
    Punctuality result;
    if (arrivals.empty()) return result;
    const std::int64_t first = arrivals.front().number;
    const double start = startOf(arrivals, period);
    bool wasLate = false;
    for (const Arrival& arrival : arrivals) {
        const double behind = startBy(arrival, first, period) - start;
        const bool isLate = behind >= period;
        const double due = static_cast<double>(arrival.number - first) * period;
        if (isLate && !wasLate) result.delays.push_back({due, 0, 0.0});
        if (isLate) {
            Delay& delay = result.delays.back();
            ++delay.pictures;
            delay.worst = std::max(delay.worst, behind);
            ++result.late;
        }
        wasLate = isLate;
        result.worst = std::max(result.worst, behind);
    }
    result.pictures = static_cast<std::int64_t>(arrivals.size());
    result.missing = arrivals.back().number - first + 1 - result.pictures;
    return result;
}

void ArrivalSink::pushVideoFrame(AVFrame* frame) {
    const double now = steadySeconds();
    const std::lock_guard lock(mutex_);
    arrivals_.push_back({frame->pts, now});
    arrived_.notify_all();
}

void ArrivalSink::pushAudioFrame(AVFrame* /*frame*/) {}

void ArrivalSink::waitUntilDue(int pictures, double period, double behind) {
    constexpr double patience = 4.0; // times the time that the pictures take
    {
        std::unique_lock lock(mutex_);
        const std::size_t wanted = arrivals_.size() + static_cast<std::size_t>(pictures);
        arrived_.wait_for(lock, std::chrono::duration<double>(patience * period * pictures),
                          [&] { return arrivals_.size() >= wanted; });
    }
    const double now = steadySeconds();
    const double next = nextDue(arrivals(), period, behind, now);
    std::this_thread::sleep_for(std::chrono::duration<double>(next - now));
}

std::vector<Arrival> ArrivalSink::arrivals() const {
    const std::lock_guard lock(mutex_);
    return arrivals_;
}

void CountSink::pushVideoFrame(AVFrame* /*frame*/) {
    ++pictures_;
}

void CountSink::pushAudioFrame(AVFrame* /*frame*/) {}

void RepeatSink::pushVideoFrame(AVFrame* frame) {
    quol::FramePtr reference = quol::cloneFrame(frame);
    const std::lock_guard lock(mutex_);
    ++pictures_;
    if (latest_ && frame->data[0] == latest_->data[0]) ++repeated_;
    latest_ = std::move(reference);
}

void RepeatSink::pushAudioFrame(AVFrame* /*frame*/) {}

std::int64_t RepeatSink::pictures() const {
    const std::lock_guard lock(mutex_);
    return pictures_;
}

std::int64_t RepeatSink::repeated() const {
    const std::lock_guard lock(mutex_);
    return repeated_;
}

} // namespace show
