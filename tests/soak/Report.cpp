#include "soak/Report.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "soak/Limits.h"

namespace soak {

namespace {

__attribute__((format(printf, 1, 2))) std::string text(const char* format, ...) {
    char line[300];
    va_list values;
    va_start(values, format);
    std::vsnprintf(line, sizeof line, format, values);
    va_end(values);
    return line;
}

// Collects lines and the judgement.
class Writer {
public:
    Writer(const std::string& path, LogWatch& log) : file_(path), log_(log) {}

    void line(const std::string& words) {
        file_ << words << std::endl;
        log_.say(words);
    }
    // Something that decides.
    void judge(bool good, const std::string& words) {
        line((good ? "ok      " : "WRONG   ") + words);
        allGood_ = allGood_ && good;
    }
    // Something that decides only where it was looked at.
    void judgeIf(bool judged, bool good, const std::string& words) {
        if (judged)
            judge(good, words);
        else
            line("shown   " + words);
    }
    bool allGood() const { return allGood_; }

private:
    std::ofstream file_;
    LogWatch& log_;
    bool allGood_ = true;
};

void judgeGrowth(Writer& writer, const Outcome& outcome, const char* name,
                 double ProcessState::*value, double limit) {
    const Growth growth = growthOf(outcome.rests, value);
    writer.judgeIf(
        outcome.isMeasured() && growth.rests >= 5,
        growth.perHour - 2.0 * growth.uncertainty <= limit,
        text("%s at rest: %+.1f MB an hour, give or take %.1f, over %d rests (limit %.0f)", name,
             growth.perHour, growth.uncertainty, growth.rests, limit));
}

void judgeMemory(Writer& writer, const Outcome& outcome) {
    judgeGrowth(writer, outcome, "heap", &ProcessState::heapMb, heapGrowth);
    judgeGrowth(writer, outcome, "resident memory", &ProcessState::residentMb, residentGrowth);
    writer.line(
        text("        resident memory: %.0f MB at its highest; %.0f MB before, %.0f MB behind "
             "with all objects gone; heap %.1f and %.1f MB",
             outcome.totals.highestResident, outcome.before.residentMb, outcome.after.residentMb,
             outcome.before.heapMb, outcome.after.heapMb));
    int fewest = 1 << 30;
    int most = 0;
    int fewestFiles = 1 << 30;
    int mostFiles = 0;
    for (const Rest& rest : outcome.rests) {
        fewest = std::min(fewest, rest.state.threads);
        most = std::max(most, rest.state.threads);
        fewestFiles = std::min(fewestFiles, rest.state.descriptors);
        mostFiles = std::max(mostFiles, rest.state.descriptors);
    }
    if (outcome.rests.empty()) fewest = fewestFiles = 0;
    writer.judge(fewest == most && fewestFiles == mostFiles,
                 text("at rest: %d to %d threads, %d to %d file descriptors", fewest, most,
                      fewestFiles, mostFiles));
    writer.judge(outcome.after.threads == outcome.before.threads,
                 text("threads without the graph: %d before, %d behind", outcome.before.threads,
                      outcome.after.threads));
    writer.judge(outcome.after.descriptors == outcome.before.descriptors,
                 text("file descriptors without the graph: %d before, %d behind",
                      outcome.before.descriptors, outcome.after.descriptors));
}

void judgeProgramme(Writer& writer, const Outcome& outcome) {
    const Totals& totals = outcome.totals;
    const ProgrammeCount& programme = totals.programme;
    const auto pictures = static_cast<double>(std::max<std::int64_t>(programme.pictures, 1));
    const std::int64_t unexplained = programme.late - programme.explained;
    writer.judge(programme.pictures > 0,
                 text("%lld pictures of the programme in %.0f s",
                      static_cast<long long>(programme.pictures), totals.seconds));
    // A source that is put on air before its first picture leaves ticks without one; they have
    // their sound.
    const std::int64_t ticks = programme.pictures + programme.missing;
    writer.judge(std::abs(ticks - programme.blocks) <= 2,
                 text("%lld ticks, %lld of them without a picture, %lld blocks of sound",
                      static_cast<long long>(ticks), static_cast<long long>(programme.missing),
                      static_cast<long long>(programme.blocks)));
    writer.judgeIf(
        outcome.isMeasured() && !outcome.isCrowded(),
        static_cast<double>(programme.late) <= pictures * lateShareInAll,
        text("%lld pictures late by a period or more (%.3f %%, limit %.1f %%), the worst by "
             "%.1f ms",
             static_cast<long long>(programme.late),
             100.0 * static_cast<double>(programme.late) / pictures, 100.0 * lateShareInAll,
             programme.worst));
    writer.judgeIf(outcome.isMeasured(),
                   static_cast<double>(unexplained) <= std::max(1.0, pictures * lateShare),
                   text("%lld of them not for want of a processor (limit 1 in %.0f)",
                        static_cast<long long>(unexplained), 1.0 / lateShare));
    writer.judge(programme.gaps == 0, text("%lld gaps in the times of %lld blocks of sound",
                                           static_cast<long long>(programme.gaps),
                                           static_cast<long long>(programme.blocks)));
    writer.line(text("        %lld gaps in the steady tone through the audio mixer",
                     static_cast<long long>(totals.toneGaps)));
    const double seconds = std::max(totals.seconds, 1.0);
    const unsigned processors = std::max(1U, std::thread::hardware_concurrency());
    writer.judgeIf(outcome.isMeasured(), totals.cpuSeconds <= processorShare * processors * seconds,
                   text("%.2f of %u processors taken, %.2f by others, %.2f by other machines",
                        totals.cpuSeconds / seconds, processors, totals.otherSeconds / seconds,
                        totals.stolenSeconds / seconds));
    writer.line(text("        load up to %.1f; processors short for %.0f %% of the time",
                     totals.highestLoad, 100.0 * totals.crowdedSeconds / seconds));
}

std::vector<double> together(const std::map<std::string, std::vector<double>>& byName) {
    std::vector<double> all;
    for (const auto& [name, times] : byName)
        all.insert(all.end(), times.begin(), times.end());
    return all;
}

std::string words(const Percentiles& times) {
    return text("%zu, median %.2f ms, 99th %.1f ms, worst %.1f ms", times.count, times.median,
                times.p99, times.worst);
}

void judgeCalls(Writer& writer, const Outcome& outcome, CallTimes& calls) {
    const double factor = outcome.isCrowded() ? crowdedFactor : 1.0;
    const auto quick = calls.all(CallKind::quick);
    const auto slow = calls.all(CallKind::slow);
    const Percentiles allQuick = percentilesOf(together(quick));
    const Percentiles allSlow = percentilesOf(together(slow));
    writer.judgeIf(outcome.isMeasured(),
                   allQuick.p99 <= factor * quickP99 && allQuick.worst <= factor * quickWorst,
                   "quick calls: " + words(allQuick) +
                       text(" (limits %.0f and %.0f)", factor * quickP99, factor * quickWorst));
    writer.judgeIf(outcome.isMeasured(), allSlow.worst <= factor * slowWorst,
                   "slow calls: " + words(allSlow) + text(" (limit %.0f)", factor * slowWorst));
}

void tellCalls(const std::string& path, CallTimes& calls) {
    std::ofstream file(path);
    file << "kind,call,count,median_ms,p99_ms,worst_ms\n";
    for (const CallKind kind : {CallKind::quick, CallKind::slow}) {
        for (const auto& [name, all] : calls.all(kind)) {
            const Percentiles times = percentilesOf(all);
            file << (kind == CallKind::quick ? "quick," : "slow,") << name << ',' << times.count
                 << ',' << times.median << ',' << times.p99 << ',' << times.worst << '\n';
        }
    }
}

void judgeLines(Writer& writer, LogWatch& log) {
    writer.judge(log.unexpectedLines() == 0, text("%lld unexpected lines of %lld",
                                                  static_cast<long long>(log.unexpectedLines()),
                                                  static_cast<long long>(log.lines())));
    for (const auto& [kind, count] : log.unexpected())
        writer.line(text("        %6lld ", static_cast<long long>(count)) + kind);
}

void tellLines(const std::string& path, LogWatch& log) {
    std::ofstream file(path);
    for (const auto& [pattern, count] : log.expected())
        file << count << '\t' << pattern << '\n';
    for (const auto& [kind, count] : log.unexpected())
        file << count << "\tUNEXPECTED " << kind << '\n';
}

} // namespace

bool Outcome::isMeasured() const {
    return !isInstrumented && seconds >= longRunSeconds;
}

bool Outcome::isCrowded() const {
    return totals.crowdedSeconds >= quietShare * totals.seconds;
}

Growth growthOf(const std::vector<Rest>& rests, double ProcessState::*value) {
    Growth growth;
    if (rests.empty()) return growth;
    const double first = rests.front().seconds;
    const double from = first + (rests.back().seconds - first) / 3.0;
    std::vector<std::pair<double, double>> points; // hours, MB
    for (const Rest& rest : rests)
        if (rest.seconds >= from) points.emplace_back(rest.seconds / 3600.0, rest.state.*value);
    growth.rests = static_cast<int>(points.size());
    const auto count = static_cast<double>(points.size());
    if (points.size() < 3) return growth;
    double meanX = 0.0;
    double meanY = 0.0;
    for (const auto& [x, y] : points) {
        meanX += x / count;
        meanY += y / count;
    }
    double xx = 0.0;
    double xy = 0.0;
    for (const auto& [x, y] : points) {
        xx += (x - meanX) * (x - meanX);
        xy += (x - meanX) * (y - meanY);
    }
    growth.perHour = xy / xx;
    double residue = 0.0;
    for (const auto& [x, y] : points)
        residue += std::pow(y - meanY - growth.perHour * (x - meanX), 2.0);
    growth.uncertainty = std::sqrt(residue / (count - 2.0) / xx);
    return growth;
}

bool report(const std::string& folder, const Outcome& outcome, CallTimes& calls, LogWatch& log) {
    Writer writer(folder + "/report.txt", log);
    writer.line(text("seed %llu: %d operations in %.0f s",
                     static_cast<unsigned long long>(outcome.seed), outcome.operations,
                     outcome.seconds));
    judgeProgramme(writer, outcome);
    judgeMemory(writer, outcome);
    judgeCalls(writer, outcome, calls);
    judgeLines(writer, log);
    writer.judge(outcome.faults.empty(), text("%zu wrong results", outcome.faults.size()));
    for (std::size_t index = 0; index < std::min<std::size_t>(outcome.faults.size(), 20); ++index)
        writer.line("        " + outcome.faults[index]);
    tellCalls(folder + "/calls_by_name.csv", calls);
    tellLines(folder + "/lines.tsv", log);
    writer.line(writer.allGood() ? "ALL IS WELL" : "NOT ALL IS WELL");
    return writer.allGood();
}

} // namespace soak
