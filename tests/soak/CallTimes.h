// How long the calls of the library take that the script makes.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace soak {

// What a call promises. Quick ones change a value or a connection; they wait for a picture in the
// making, no longer. Slow ones open, start, stop and finish.
enum class CallKind { quick, slow };

struct Percentiles {
    std::size_t count = 0;
    double median = 0.0; // milliseconds, as all
    double p99 = 0.0;
    double worst = 0.0;
};
Percentiles percentilesOf(std::vector<double> milliseconds);

class CallTimes {
public:
    // Times one call, and tells `running` about it while it lasts.
    template <typename Call>
    auto time(CallKind kind, const char* name, Call call) {
        const Span span(*this, kind, name);
        return call();
    }

    // Those since the last question, of one kind.
    std::vector<double> recent(CallKind kind);
    // All of them, by name.
    std::map<std::string, std::vector<double>> all(CallKind kind);
    // The call that runs now, and for how many seconds; empty for none.
    std::string running(double& seconds);

private:
    class Span {
    public:
        Span(CallTimes& times, CallKind kind, const char* name);
        ~Span();
        Span(const Span&) = delete;
        Span& operator=(const Span&) = delete;

    private:
        CallTimes& times_;
        const CallKind kind_;
        const char* const name_;
        const std::int64_t begin_;
    };
    struct Kind {
        std::vector<double> recent;
        std::map<std::string, std::vector<double>> all;
    };

    std::mutex mutex_;
    Kind kinds_[2];                 // guarded by `mutex_`, as all
    const char* running_ = nullptr; // the innermost call
    std::int64_t runningSince_ = 0;
};

} // namespace soak
