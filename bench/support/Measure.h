// What all benchmarks measure alike: CPU time, allocations, a plain copy to compare with.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "core/Handles.h"

namespace bench {

struct Allocations {
    std::uint64_t calls = 0;
    std::uint64_t bytes = 0;
};

// Of the whole process, since it began.
Allocations allocationsSoFar();

// User and system time of the whole process, all threads, in seconds.
double cpuSeconds();

// Seconds on the steady clock.
double wallSeconds();

double median(std::vector<double> values);

// What the process used between `start` and `stop`.
class Meter {
public:
    void start();
    void stop();

    double wall() const { return wall_; }
    double cpu() const { return cpu_; }
    const Allocations& allocations() const { return allocations_; }

private:
    double wall_ = 0.0;
    double cpu_ = 0.0;
    Allocations allocations_;
};

// CPU seconds of one memcpy between two kept blocks of that many bytes; the median of many.
double plainCopySeconds(std::size_t bytes);

// Bytes of a picture without padding.
std::size_t pictureBytes(int width, int height, AVPixelFormat format);

// Rows of a plane of a planar picture.
int planeRows(const AVFrame& frame, int plane);

// A picture of noise in memory that has been written to.
quol::FramePtr makePicture(int width, int height, AVPixelFormat format);

// Copies the picture row by row into another of its size and format.
void copyPicture(const AVFrame& from, AVFrame& to);

// The counters of one benchmark, over what happens between its making and `report`: frames a
// second of CPU time, CPU milliseconds a frame, allocations and bytes a frame, and the CPU time as
// a multiple of a plain copy of `copyBytes`, measured just before and just after.
class FrameCounters {
public:
    FrameCounters(benchmark::State& state, std::size_t copyBytes);
    void report(std::int64_t frames = 0); // 0: one a turn of the loop

    double copySeconds() const { return copy_; }
    double cpuPerFrame() const { return cpuPerFrame_; } // known after `report`

private:
    benchmark::State& state_;
    std::size_t copyBytes_;
    double copy_;
    double cpuPerFrame_ = 0.0;
    Meter meter_;
};

// Keeps the library's own lines out of the tables while it stands.
class QuietOutput {
public:
    QuietOutput();
    QuietOutput(const QuietOutput&) = delete;
    QuietOutput& operator=(const QuietOutput&) = delete;
    ~QuietOutput();

private:
    int saved_ = -1;
};

// main() of the Google Benchmark programs: counters stand in columns.
int runBenchmarks(int argc, char** argv);

} // namespace bench
