#include "soak/CallTimes.h"

#include <algorithm>
#include <utility>

#include "soak/SteadyTime.h"

namespace soak {

Percentiles percentilesOf(std::vector<double> milliseconds) {
    Percentiles result;
    result.count = milliseconds.size();
    if (milliseconds.empty()) return result;
    std::sort(milliseconds.begin(), milliseconds.end());
    const std::size_t last = milliseconds.size() - 1;
    result.median = milliseconds[last / 2];
    result.p99 = milliseconds[last * 99 / 100];
    result.worst = milliseconds[last];
    return result;
}

CallTimes::Span::Span(CallTimes& times, CallKind kind, const char* name)
    : times_(times), kind_(kind), name_(name), begin_(steadyNanos()) {
    const std::lock_guard lock(times_.mutex_);
    times_.running_ = name;
    times_.runningSince_ = begin_;
}

CallTimes::Span::~Span() {
    const double taken = static_cast<double>(steadyNanos() - begin_) * 1e-6;
    const std::lock_guard lock(times_.mutex_);
    Kind& kind = times_.kinds_[static_cast<int>(kind_)];
    kind.recent.push_back(taken);
    kind.all[name_].push_back(taken);
    times_.running_ = nullptr;
}

std::vector<double> CallTimes::recent(CallKind kind) {
    const std::lock_guard lock(mutex_);
    return std::exchange(kinds_[static_cast<int>(kind)].recent, {});
}

std::map<std::string, std::vector<double>> CallTimes::all(CallKind kind) {
    const std::lock_guard lock(mutex_);
    return kinds_[static_cast<int>(kind)].all;
}

std::string CallTimes::running(double& seconds) {
    const std::lock_guard lock(mutex_);
    if (running_ == nullptr) return "";
    seconds = secondsSince(runningSince_);
    return running_;
}

} // namespace soak
