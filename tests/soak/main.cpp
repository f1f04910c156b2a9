// The whole graph on air for as long as one likes, under a script of chance that can be repeated.
//
//   soak [--seconds=60] [--seed=1] [--folder=soak] [--operations=0] [--pauses=100]
//   soak --log=FILE
//
// Ends after that many seconds, or operations where they are given. The pauses between operations
// can be made shorter, in percent. What it measured lies in the folder. Exit status: 0 when all was
// as it has to be, 1 when not, 2 when it could not begin.
// With "--log" it looks through the lines of an earlier run instead, `log.txt`, with the table of
// today.
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <thread>

#include "soak/ExpectedLines.h"
#include "soak/Report.h"
#include "soak/SteadyTime.h"
#include "soak/Studio.h"

namespace soak {

namespace {

using namespace std::chrono_literals;

// So many operations from one rest to the next: a minute, more or less.
constexpr int operationsBetweenRests = 300;
constexpr int shortestPause = 20; // milliseconds, from one operation to the next
constexpr int longestPause = 300;

struct Settings {
    double seconds = 60.0;
    int operations = 0;
    std::uint64_t seed = 1;
    int pauses = 100; // percent
    std::string folder = "soak";
    std::string log;
};

bool read(int count, char** words, Settings& settings) {
    for (int index = 1; index < count; ++index) {
        const std::string word = words[index];
        const std::size_t equals = word.find('=');
        const std::string key = word.substr(0, equals);
        const std::string value = equals == std::string::npos ? "" : word.substr(equals + 1);
        try {
            if (key == "--seconds")
                settings.seconds = std::stod(value);
            else if (key == "--operations")
                settings.operations = std::stoi(value);
            else if (key == "--seed")
                settings.seed = std::stoull(value);
            else if (key == "--pauses")
                settings.pauses = std::stoi(value);
            else if (key == "--log")
                settings.log = value;
            else if (key == "--folder")
                settings.folder = value;
            else
                return false;
        } catch (const std::exception&) {
            return false;
        }
    }
    return !settings.folder.empty();
}

class Script {
public:
    Script(Studio& studio, std::uint64_t seed, const std::string& file)
        : desk_(studio.desk), random_(seed), file_(file) {
        for (auto part : {sourceOperations, mixingOperations, titleOperations, storeOperations,
                          networkOperations, monitorOperations, spareOperations})
            for (Operation& operation : part(studio))
                operations_.push_back(std::move(operation));
        for (const Operation& operation : operations_)
            weights_ += operation.weight;
        file_ << "number,operation,choice\n";
    }

    // Every one once, in the order of the list.
    void rehearse() {
        for (const Operation& operation : operations_) {
            Random random(random_.next());
            run(operation, random);
            std::this_thread::sleep_for(10ms);
        }
    }

    // One by chance, and the pause behind it. Each has numbers of its own, so that how many it
    // takes does not change what comes next.
    void step(int pausePercent) {
        int at = random_.below(weights_);
        const Operation* chosen = nullptr;
        for (const Operation& operation : operations_) {
            chosen = &operation;
            if (at < operation.weight) break;
            at -= operation.weight;
        }
        Random random(random_.next());
        const int pause = random_.between(shortestPause, longestPause);
        run(*chosen, random);
        file_ << ++number_ << ',' << chosen->name << ',' << desk_.note << std::endl;
        std::this_thread::sleep_for(std::chrono::milliseconds(pause * pausePercent / 100));
    }

    int number() const { return number_; }

private:
    void run(const Operation& operation, Random& random) {
        desk_.note.clear();
        try {
            operation.run(random);
        } catch (const std::exception& fault) {
            desk_.check(false, std::string(operation.name) + " has thrown: " + fault.what());
        }
    }

    Desk& desk_;
    Random random_;
    std::ofstream file_;
    std::vector<Operation> operations_;
    int weights_ = 0;
    int number_ = 0;
};

// The least of memory within a second: what is in the making comes and goes.
ProcessState stateAtRest() {
    ProcessState least = processState();
    for (int look = 0; look < 20; ++look) {
        std::this_thread::sleep_for(50ms);
        const ProcessState now = processState();
        least.heapMb = std::min(least.heapMb, now.heapMb);
        least.residentMb = std::min(least.residentMb, now.residentMb);
        least.threads = std::min(least.threads, now.threads);
        least.descriptors = std::min(least.descriptors, now.descriptors);
    }
    return least;
}

void tellRest(std::ofstream& file, const Rest& rest) {
    file << rest.seconds << ',' << rest.state.residentMb << ',' << rest.state.heapMb << ','
         << rest.state.threads << ',' << rest.state.descriptors << std::endl;
}

void perform(const Settings& settings, Desk& desk, test::RtmpServer* server, test::XServer* screen,
             std::int64_t begin, Outcome& outcome) {
    Studio studio(desk, server, screen);
    Script script(studio, settings.seed, settings.folder + "/script.csv");
    std::ofstream rests(settings.folder + "/rests.csv");
    rests << "seconds,resident_mb,heap_mb,threads,descriptors\n";
    const auto rest = [&] {
        studio.rest();
        std::this_thread::sleep_for(3s);
        outcome.rests.push_back({secondsSince(begin), stateAtRest()});
        tellRest(rests, outcome.rests.back());
    };
    std::this_thread::sleep_for(1s);
    Sampler sampler(settings.folder, begin, desk.calls, desk.log, studio.programmeWatch,
                    studio.toneWatch);
    const std::int64_t started = steadyNanos();
    rest();
    studio.goOnAir();
    const auto isOver = [&] {
        return settings.operations > 0 ? script.number() >= settings.operations
                                       : secondsSince(started) >= settings.seconds;
    };
    while (!isOver()) {
        script.step(settings.pauses);
        sampler.operationDone();
        if (script.number() % operationsBetweenRests != 0) continue;
        rest();
        studio.goOnAir();
    }
    rest();
    outcome.seconds = secondsSince(started);
    outcome.operations = script.number();
    outcome.totals = sampler.end();
    desk.check(studio.toneWatch.heard(), "the tone is heard");
}

void rehearse(Desk& desk, test::RtmpServer* server, test::XServer* screen,
              const std::string& folder) {
    Studio studio(desk, server, screen);
    studio.goOnAir();
    Script script(studio, 0, folder + "/rehearsal.csv");
    script.rehearse();
    studio.rest();
}

// The lines of `log.txt`: the time, a mark for those that were not expected then, the line itself.
int judgeLog(const std::string& path) {
    constexpr std::size_t prefix = 13;
    std::ifstream file(path);
    std::size_t lines = 0;
    std::size_t unexpected = 0;
    for (std::string line; std::getline(file, line);) {
        ++lines;
        if (line.size() < prefix || isExpected(line.c_str() + prefix)) continue;
        ++unexpected;
        std::cout << line << '\n';
    }
    std::cout << unexpected << " unexpected lines of " << lines << '\n';
    return lines == 0 ? 2 : unexpected == 0 ? 0 : 1;
}

int run(const Settings& settings) {
    namespace files = std::filesystem;
    const std::string records = settings.folder + "/records";
    files::create_directories(records);
    // No sound card is needed, and none is heard.
    setenv("SDL_AUDIODRIVER", "dummy", 1);
    const std::int64_t begin = steadyNanos();
    const Media media = makeMedia(settings.folder + "/media");

    std::unique_ptr<test::RtmpServer> server;
    if (test::RtmpServer::available())
        server = std::make_unique<test::RtmpServer>();
    else
        std::cout << "without streaming: " << test::RtmpServer::unavailable << '\n';
    auto screen = std::make_unique<test::XServer>();
    if (!screen->running()) {
        std::cout << "without windows: no Xvfb on this machine\n";
        screen.reset();
    }

    CallTimes calls;
    LogWatch log(settings.folder + "/log.txt", begin);
    Desk desk{media, records, calls, log, {}, {}};
    log.say("soak: seed " + std::to_string(settings.seed) + ", files in " + settings.folder);
    Outcome outcome;
    outcome.seed = settings.seed;

    // Whatever the process makes once and keeps, it has made after that.
    rehearse(desk, server.get(), screen.get(), settings.folder);
    std::this_thread::sleep_for(1s);
    outcome.before = stateAtRest();
    log.say("soak: rehearsed; " + std::to_string(outcome.before.threads) + " threads, " +
            std::to_string(outcome.before.descriptors) + " descriptors remain");

    perform(settings, desk, server.get(), screen.get(), begin, outcome);
    std::this_thread::sleep_for(1s);
    outcome.after = stateAtRest();
    outcome.faults = desk.faults;
    server.reset();
    screen.reset();
    log.end();
    files::remove_all(records);
    return report(settings.folder, outcome, calls, log) ? 0 : 1;
}

} // namespace

} // namespace soak

int main(int count, char** words) {
    soak::Settings settings;
    if (!soak::read(count, words, settings)) {
        std::cerr << "usage: soak [--seconds=60] [--seed=1] [--folder=soak] [--operations=0] "
                     "[--pauses=100]\n"
                     "       soak --log=FILE\n";
        return 2;
    }
    try {
        return settings.log.empty() ? soak::run(settings) : soak::judgeLog(settings.log);
    } catch (const std::exception& fault) {
        std::cerr << "soak: " << fault.what() << '\n';
        return 2;
    }
}
