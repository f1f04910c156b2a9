#include "support/Scenes.h"

#include <cstdio>
#include <vector>

namespace bench {

namespace {

constexpr std::size_t copyBytes = std::size_t{1920} * 1080 * 3 / 2;

} // namespace

void tellScene(const Meter& meter, int frames) {
    tell("fps", frames / meter.wall());
    tell("cpu", meter.cpu() * 1000.0 / frames);
    tell("calls", static_cast<double>(meter.allocations().calls) / frames);
    tell("bytes", static_cast<double>(meter.allocations().bytes) / frames);
}

SceneTable::SceneTable(int rounds)
    : rounds_(rounds), copyMs_(plainCopySeconds(copyBytes) * 1000.0) {}

void SceneTable::printHead() const {
    std::printf("1920x1080 yuv420p, pulled as fast as it goes; a plain copy takes %.3f ms\n",
                copyMs_);
    std::printf("  %-36s %9s %9s %9s %9s %12s\n", "", "frames/s", "cpu_ms", "x_copy", "allocs",
                "bytes/frame");
}

bool SceneTable::add(const std::string& name, const Command& arguments) const {
    std::vector<double> fps;
    std::vector<double> cpu;
    std::map<std::string, double> numbers;
    for (int round = 0; round < rounds_; ++round) {
        progress(name + ", round " + std::to_string(round + 1) + " of " + std::to_string(rounds_));
        const Run run = bench::run(ownCommand(arguments));
        if (!run.ok) return false;
        numbers = told(run);
        fps.push_back(numbers["fps"]);
        cpu.push_back(numbers["cpu"]);
    }
    const double middle = median(cpu);
    std::printf("  %-36s %9.1f %9.4f %9.2f %9.1f %12.0f\n", name.c_str(), median(fps), middle,
                middle / copyMs_, numbers["calls"], numbers["bytes"]);
    return true;
}

} // namespace bench
