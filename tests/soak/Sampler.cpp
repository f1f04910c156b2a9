#include "soak/Sampler.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>

#include "soak/Limits.h"
#include "soak/SteadyTime.h"

namespace soak {

namespace {

constexpr int callsEvery = 10; // seconds

} // namespace

Sampler::Sampler(const std::string& folder, std::int64_t startNanos, CallTimes& calls,
                 LogWatch& log, ProgrammeWatch& programme, ToneWatch& tone)
    : startNanos_(startNanos),
      calls_(calls),
      log_(log),
      programme_(programme),
      tone_(tone),
      samples_(folder + "/samples.csv"),
      callFile_(folder + "/calls.csv") {
    samples_ << "seconds,resident_mb,heap_mb,threads,descriptors,cpu_percent,others_percent,load,"
                "crowded_percent,stolen_percent,"
                "pictures,late,explained,missing,worst_ms,sound_blocks,sound_gaps,tone_gaps,"
                "operations,lines,unexpected\n";
    callFile_ << "seconds,quick,quick_median_ms,quick_p99_ms,quick_worst_ms,slow,slow_median_ms,"
                 "slow_p99_ms,slow_worst_ms\n";
    before_ = processState();
    sampledAt_ = secondsSince(startNanos_);
    programme_.take();
    tone_.takeGaps();
    calls_.recent(CallKind::quick);
    calls_.recent(CallKind::slow);
    thread_ = std::thread([this] { sampleLoop(); });
}

Totals Sampler::end() {
    ending_ = true;
    if (thread_.joinable()) thread_.join();
    return totals_;
}

void Sampler::sampleLoop() {
    auto next = std::chrono::steady_clock::now();
    while (!ending_) {
        next += std::chrono::seconds(1);
        std::this_thread::sleep_until(next);
        const double now = secondsSince(startNanos_);
        sample(now);
        if (++samplesTaken_ % callsEvery == 0) tellCalls(now);
        lookForHang();
    }
}

void Sampler::sample(double seconds) {
    const ProcessState state = processState();
    const ProgrammeCount count = programme_.take();
    const std::int64_t toneGaps = tone_.takeGaps();
    const double passed = seconds - sampledAt_;
    const double cpu = state.cpuSeconds - before_.cpuSeconds;
    const double others = std::max(0.0, state.machineSeconds - before_.machineSeconds - cpu);
    const double crowded = state.crowdedSeconds - before_.crowdedSeconds;
    const double stolen = state.stolenSeconds - before_.stolenSeconds;
    samples_ << seconds << ',' << state.residentMb << ',' << state.heapMb << ',' << state.threads
             << ',' << state.descriptors << ',' << 100.0 * cpu / passed << ','
             << 100.0 * others / passed << ',' << state.load << ',' << 100.0 * crowded / passed
             << ',' << 100.0 * stolen / passed << ',' << count.pictures << ',' << count.late << ','
             << count.explained << ',' << count.missing << ',' << count.worst << ',' << count.blocks
             << ',' << count.gaps << ',' << toneGaps << ',' << operations_.exchange(0) << ','
             << log_.lines() << ',' << log_.unexpectedLines() << std::endl;

    totals_.programme.pictures += count.pictures;
    totals_.programme.late += count.late;
    totals_.programme.missing += count.missing;
    totals_.programme.worst = std::max(totals_.programme.worst, count.worst);
    totals_.programme.blocks += count.blocks;
    totals_.programme.gaps += count.gaps;
    totals_.programme.explained += count.explained;
    totals_.toneGaps += toneGaps;
    totals_.seconds += passed;
    totals_.cpuSeconds += cpu;
    totals_.otherSeconds += others;
    totals_.crowdedSeconds += crowded;
    totals_.stolenSeconds += stolen;
    totals_.highestLoad = std::max(totals_.highestLoad, state.load);
    totals_.highestResident = std::max(totals_.highestResident, state.residentMb);
    before_ = state;
    sampledAt_ = seconds;
}

void Sampler::tellCalls(double seconds) {
    callFile_ << seconds;
    for (const CallKind kind : {CallKind::quick, CallKind::slow}) {
        const Percentiles times = percentilesOf(calls_.recent(kind));
        callFile_ << ',' << times.count << ',' << times.median << ',' << times.p99 << ','
                  << times.worst;
    }
    callFile_ << std::endl;
}

void Sampler::lookForHang() {
    double seconds = 0.0;
    const std::string name = calls_.running(seconds);
    if (name.empty() || seconds < hangSeconds) return;
    log_.say("HANGS: " + name + " has not come back for " + std::to_string(seconds) + " s");
    std::abort();
}

} // namespace soak
