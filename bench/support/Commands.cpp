#include "support/Commands.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <array>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <sstream>

#include "support/Measure.h"

namespace bench {

namespace {

constexpr auto mark = "bench: ";

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

std::string readAll(int descriptor) {
    std::string text;
    std::array<char, 4096> part{};
    while (true) {
        const ssize_t count = read(descriptor, part.data(), part.size());
        if (count <= 0) break;
        text.append(part.data(), static_cast<std::size_t>(count));
    }
    return text;
}

} // namespace

Command words(const std::string& text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), std::istream_iterator<std::string>()};
}

Command with(Command command, const Command& more) {
    command.insert(command.end(), more.begin(), more.end());
    return command;
}

Run run(const Command& command) {
    std::vector<char*> arguments;
    for (const std::string& word : command)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) return {};
    std::fflush(nullptr);
    const double start = wallSeconds();
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]);
        close(ends[1]);
        execvp(arguments[0], arguments.data());
        _exit(127);
    }
    close(ends[1]);
    Run result;
    if (child > 0) {
        result.output = readAll(ends[0]);
        int status = 0;
        rusage used{};
        if (wait4(child, &status, 0, &used) == child) {
            result.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
            result.cpu = seconds(used.ru_utime) + seconds(used.ru_stime);
        }
        result.wall = wallSeconds() - start;
    }
    close(ends[0]);
    return result;
}

Command ownCommand(const Command& arguments) {
    return with({std::filesystem::read_symlink("/proc/self/exe").string()}, arguments);
}

bool hasFFmpeg() {
    static const bool found = run({"ffmpeg", "-v", "quiet", "-version"}).ok;
    if (!found) std::puts("ffmpeg is not installed: nothing to play, nothing to compare with");
    return found;
}

void tell(const std::string& name, double value) {
    std::printf("%s%s %.9g\n", mark, name.c_str(), value);
    std::fflush(stdout);
}

std::map<std::string, double> told(const Run& run) {
    std::map<std::string, double> values;
    std::istringstream lines(run.output);
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind(mark, 0) != 0) continue;
        std::istringstream words(line.substr(std::string(mark).size()));
        std::string name;
        double value = 0.0;
        if (words >> name >> value) values[name] = value;
    }
    return values;
}

std::string mediaFolder() {
    std::filesystem::create_directories(QUOLSDK_BENCH_MEDIA);
    return QUOLSDK_BENCH_MEDIA;
}

std::string madeOnce(const std::string& name, Command command) {
    const std::string path = mediaFolder() + "/" + name;
    if (std::filesystem::exists(path)) return path;
    progress("making " + name);
    // Under another name until it is whole, with the ending that tells ffmpeg the container.
    const std::string unfinished = mediaFolder() + "/unfinished-" + name;
    command.push_back(unfinished);
    if (!run(command).ok) return {};
    std::filesystem::rename(unfinished, path);
    return path;
}

std::string testClip() {
    const std::string sound =
        "aevalsrc=0.2*sin(2*PI*440*t)+0.1*random(0)|0.2*sin(2*PI*660*t)+0.1*random(1):s=48000";
    const std::string picture =
        "[0][1]overlay=x=40+4*n:y=40,format=yuv420p,noise=alls=2:allf=t:all_seed=7[v]";
    return madeOnce(
        "clip.mp4",
        words("ffmpeg -v error -nostdin -y -f lavfi -i "
              "mandelbrot=s=1920x1080:r=25:start_scale=0.5:end_scale=0.3:end_pts=250 -f lavfi -i "
              "testsrc2=s=640x360:r=25 -f lavfi -i " +
              sound + " -filter_complex " + picture +
              " -map [v] -map 2:a -t 10 -c:v libx264 -preset veryfast -crf 21 -g 50 -c:a aac "
              "-b:a 128k"));
}

std::string clipStart() {
    const std::string clip = testClip();
    const std::string pictures = std::to_string(clipStartPictures);
    return madeOnce(
        "clip-start.mp4",
        with(with(words("ffmpeg -v error -nostdin -y -i"), {clip, "-frames:v", pictures}),
             words("-t 0.4 -c:v libx264 -preset veryfast -crf 21 -c:a aac -b:a 128k")));
}

void progress(const std::string& text) {
    std::fflush(stdout);
    std::fprintf(stderr, "-- %s\n", text.c_str());
}

std::string argument(int argc, char** argv, const std::string& name, const std::string& otherwise) {
    const std::string key = "--" + name + "=";
    for (int i = 1; i < argc; ++i) {
        const std::string text = argv[i];
        if (text.rfind(key, 0) == 0) return text.substr(key.size());
    }
    return otherwise;
}

} // namespace bench
