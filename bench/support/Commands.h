// Other programs as peers, and this program again as a process of its own, so that both sides of a
// comparison are counted the same way: by what the system charges a finished process.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace bench {

using Command = std::vector<std::string>;

// What a finished process has used.
struct Run {
    bool ok = false; // left with 0
    double wall = 0.0;
    double cpu = 0.0; // user and system, all threads
    std::string output;
};

// The words between the blanks of a text.
Command words(const std::string& text);

// `command` with more words behind it.
Command with(Command command, const Command& more);

// Runs a command, found by PATH, to its end. Standard output is kept, the error stream is ours.
Run run(const Command& command);

// This program with other arguments.
Command ownCommand(const Command& arguments);

bool hasFFmpeg();

// Numbers that a process of ours hands to the one that started it, among the library's own lines.
void tell(const std::string& name, double value);
std::map<std::string, double> told(const Run& run);

// The folder of clips, made when it is missing; they are kept for the next run.
std::string mediaFolder();

// Makes a file of that name in the media folder, unless it is there: `command` is run with the path
// behind it. Its path; empty when that failed.
std::string madeOnce(const std::string& name, Command command);

// Ten seconds of 1920x1080 at 25 pictures a second, H.264 of some 8 Mbit/s and stereo AAC: a slow
// zoom with grain, a moving test pattern in a corner, two tones with noise.
std::string testClip();

// The first ten pictures of it.
std::string clipStart();
constexpr int clipStartPictures = 10;

// One line of progress; it goes to the error stream, the tables do not.
void progress(const std::string& text);

// The value of "--NAME=VALUE" among the arguments, else `otherwise`.
std::string argument(int argc, char** argv, const std::string& name, const std::string& otherwise);

} // namespace bench
