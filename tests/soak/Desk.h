// What everybody at the desk works with: the clock of calls, the log, and the list of faults.
#pragma once

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "soak/CallTimes.h"
#include "soak/LogWatch.h"
#include "soak/Media.h"
#include "soak/Random.h"

namespace soak {

inline std::string numbered(const char* name, int number) {
    return std::string(name).append(std::to_string(number));
}

// Used by the thread of the script alone, but for `calls` and `log`.
struct Desk {
    const Media& media;
    std::string folder; // for what is recorded
    CallTimes& calls;
    LogWatch& log;

    std::vector<std::string> faults; // results that were not as they have to be
    std::string note;                // what the operation chose, for the script's record

    void check(bool good, const std::string& fault) {
        if (good) return;
        faults.push_back(fault);
        log.say("FAULT: " + fault);
    }
    template <typename... Values>
    void choose(const char* format, Values... values) {
        char text[200];
        std::snprintf(text, sizeof text, format, values...);
        if (!note.empty()) note += ' ';
        note += text;
    }
    template <typename Call>
    auto quick(const char* name, Call call) {
        return calls.time(CallKind::quick, name, call);
    }
    template <typename Call>
    auto slow(const char* name, Call call) {
        return calls.time(CallKind::slow, name, call);
    }
};

// One thing that the script may do. All that it chooses comes from the numbers it is given, never
// from what is measured, so that the same seed gives the same script.
struct Operation {
    const char* name;
    int weight; // how often, against the others
    std::function<void(Random&)> run;
};

} // namespace soak
