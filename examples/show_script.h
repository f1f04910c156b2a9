// The running order of a show as a plain text: when what is to happen, one line each.
//
//     # what follows a word that begins with "#" is a remark, unless the word is a colour
//     00:05.0  fade 25
//
// A time is minutes and seconds since the show began, with tenths or finer behind a point. Lines
// stand in the order of their times. docs/demo.md lists the commands.
#pragma once

#include <istream>
#include <string>
#include <vector>

namespace show {

constexpr int picturesPerSecond = 25;
constexpr double stingerSeconds = 1.0;

enum class Verb {
    opening,
    next,
    cut,
    fade,
    dip,
    wipe,
    slide,
    squeeze,
    stinger,
    lowerthird,
    crawl,
    logo,
    inset,
    replay,
    live,
    shot,
    end,
};

// Whether it takes the picture from programme to preview.
bool isTransition(Verb verb);

// A line that was understood. Which fields count is the command's.
struct Cue {
    int line = 0;         // in the file, from 1
    double seconds = 0.0; // since the show began
    Verb verb = Verb::end;
    bool on = false;    // "in" or "on"
    std::string word;   // a source, a kind of transition, a colour, a name or a file
    int pictures = 0;   // length of a transition
    double last = 0.0;  // seconds that a replay goes back
    double speed = 0.0; // of a replay
    std::string text;   // the line without the remark
};

struct Script {
    std::vector<Cue> cues;           // the last one is the end
    std::vector<std::string> errors; // "NAME:LINE: what is wrong", by line; then there are no cues
};

// `name` is what the errors call it.
Script readScript(std::istream& stream, const std::string& name);

// Seconds of the show as a script writes them, "01:05.0"; negative for a text that is no time.
double parseTime(const std::string& text);

// How long what a line starts goes on by itself: 0 for what is done at once.
double lengthOf(const Cue& cue);

// How long behind the line its effect is seen best; negative for what the programme does not show.
double bestSeenAfter(const Cue& cue);

} // namespace show
