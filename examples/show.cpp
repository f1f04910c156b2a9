// A show of a minute: an opening, two cameras, a test signal, titles, a picture in picture, a
// replay and a stream, by the clock of a plain text script. The programme is recorded. Behind it
// come a contact sheet of the recording, its facts, and a count of what was dropped or late.
//
//     show [OPTION VALUE]... SCRIPT CAMERA1 CAMERA2
//
//     --record MOVIE.mp4   the recording; "show.mp4"
//     --sheet SHEET.png    the contact sheet; "show.png"
//     --titles FILE.xml    a project with "lowerthird", "crawl" and "logo"
//     --opening FILE.json  a Lottie template
//     --stinger CLIP       a clip with alpha
//     --live ADDRESS       a server to go live to
//
// What is not named is left out of the show, with a line. With a display (DISPLAY) the monitor wall
// is seen in a window, where "q" ends the show; so does a Ctrl-C. docs/demo.md describes the
// script.
//
// Exit status: 0 done; 1 a camera, the recording, the sheet or a screenshot is not to be had; 2
// wrong use, or a script with mistakes.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "interrupt.h"
#include "show_actions.h"
#include "show_graph.h"
#include "show_report.h"
#include "show_script.h"
#include "show_sheet.h"
#include "show_wall.h"
#include "usage.h"

namespace {

constexpr int stepMs = 5;

struct Arguments {
    show::Files files;
    std::string script;
    std::string sheet = "show.png";
};

bool readArguments(int argc, char** argv, Arguments& arguments) {
    arguments.files.recording = "show.mp4";
    const std::map<std::string, std::string*> options{
        {"--record", &arguments.files.recording}, {"--sheet", &arguments.sheet},
        {"--titles", &arguments.files.titles},    {"--opening", &arguments.files.opening},
        {"--stinger", &arguments.files.stinger},  {"--live", &arguments.files.server}};
    int i = 1;
    for (; i + 1 < argc; i += 2) {
        const auto option = options.find(argv[i]);
        if (option == options.end()) break;
        *option->second = argv[i + 1];
    }
    if (argc - i != 3) return false;
    arguments.script = argv[i];
    arguments.files.camera1 = argv[i + 1];
    arguments.files.camera2 = argv[i + 2];
    return true;
}

bool readScriptFile(const std::string& path, show::Script& script) {
    std::ifstream stream(path);
    if (!stream) {
        std::printf("  CANNOT READ %s\n", path.c_str());
        return false;
    }
    script = show::readScript(stream, path);
    for (const std::string& error : script.errors)
        std::printf("  %s\n", error.c_str());
    return script.errors.empty();
}

// The show while it is on air.
class Session {
public:
    Session(show::Graph& graph, const Arguments& arguments)
        : actions_(graph, arguments.files), wall_(graph) {
        wall_.show(actions_.onAir());
    }

    void run(const show::Script& script) {
        began_ = std::chrono::steady_clock::now();
        for (const show::Cue& cue : script.cues) {
            if (!waitUntil(cue.seconds)) break;
            perform(cue);
        }
        length_ = now();
    }

    // Those that the show has lasted for.
    std::vector<show::Moment> moments() const {
        std::vector<show::Moment> seen = moments_;
        std::erase_if(seen, [&](const show::Moment& moment) { return moment.seconds >= length_; });
        return seen;
    }
    const show::Lateness& lateness() const { return lateness_; }
    bool hasFailed() const { return hasFailed_; }

private:
    double now() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - began_).count();
    }

    // False when the show is to end before.
    bool waitUntil(double seconds) {
        while (now() < seconds) {
            const double left = (seconds - now()) * 1000.0;
            if (is_interrupted() != 0 || wall_.wait(std::clamp(static_cast<int>(left), 1, stepMs)))
                return false;
            look();
        }
        look();
        return true;
    }

    void look() {
        tell(actions_.tick(now()));
        wall_.show(actions_.onAir());
    }

    void perform(const show::Cue& cue) {
        const double began = now();
        std::string failure;
        std::printf("  %6.2f s  %s\n", began, cue.text.c_str());
        if (cue.verb == show::Verb::shot) {
            hasFailed_ |= wall_.isOpen() && !wall_.shot(cue.word);
        } else {
            failure = actions_.perform(cue, began);
        }
        tell(failure);
        std::fflush(stdout);
        note(cue, began, failure.empty());
    }

    void note(const show::Cue& cue, double began, bool isDone) {
        ++lateness_.lines;
        if (began - cue.seconds >= lateness_.worst) {
            lateness_.worst = began - cue.seconds;
            lateness_.worstLine = cue.line;
        }
        const double after = show::bestSeenAfter(cue);
        if (isDone && after >= 0.0) moments_.push_back({began + after, cue.text});
    }

    void tell(const std::string& what) {
        if (!what.empty()) std::printf("            %s\n", what.c_str());
    }

    show::Actions actions_;
    show::Wall wall_;
    std::chrono::steady_clock::time_point began_;
    double length_ = 0.0; // seconds, when it is over
    std::vector<show::Moment> moments_;
    show::Lateness lateness_;
    bool hasFailed_ = false;
};

struct Outcome {
    bool isRecorded = false;
    bool isWhole = false;
    std::vector<show::Moment> moments;
};

// On air from the first line to the last; the recording is finished then.
Outcome goOnAir(const Arguments& arguments, const show::Script& script) {
    show::Graph graph;
    if (!graph.open(arguments.files)) return {};
    Session session(graph, arguments);
    if (!graph.startRecording(arguments.files)) return {};
    session.run(script);
    graph.finish();
    show::printPunctuality(graph, arguments.files.recording, session.lateness());
    return {true, !session.hasFailed(), session.moments()};
}

bool present(const Arguments& arguments, const show::Script& script) {
    const Outcome outcome = goOnAir(arguments, script);
    return outcome.isRecorded && show::printFacts(arguments.files.recording) &&
           show::writeSheet(arguments.files.recording, outcome.moments, arguments.sheet) &&
           outcome.isWhole;
}

} // namespace

int main(int argc, char** argv) {
    Arguments arguments;
    show::Script script;
    if (!readArguments(argc, argv, arguments)) {
        return tell_usage(argc, argv,
                          "[--record MOVIE.mp4] [--sheet SHEET.png] [--titles PROJECT.xml] "
                          "[--opening TEMPLATE.json] [--stinger CLIP] [--live ADDRESS] "
                          "SCRIPT CAMERA1 CAMERA2",
                          "a show of a minute, on air by a script");
    }
    if (!readScriptFile(arguments.script, script)) return 2;
    catch_interrupt();
    return present(arguments, script) ? 0 : 1;
}
