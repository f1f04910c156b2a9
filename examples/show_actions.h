// What the lines of a script do to the objects of a show.
#pragma once

#include <future>
#include <optional>
#include <string>

#include "show_graph.h"
#include "show_script.h"

namespace show {

// What a monitor wall tells beside the pictures.
struct OnAir {
    std::string programme; // the names of the sources, as in a script
    std::string preview;
    std::string inset; // empty for none
    bool replay = false;
    bool titles = false;

    bool operator==(const OnAir&) const = default;
};

// Of one thread. Times are seconds of the show.
class Actions {
public:
    Actions(Graph& graph, const Files& files) : graph_(graph), files_(files) {}

    // Does what a line says, all but "shot" and "end". What could not be done, in words; empty when
    // it was.
    std::string perform(const Cue& cue, double now);

    // Sees to what goes on by itself; to be called often. What has failed meanwhile, in words.
    std::string tick(double now);

    const OnAir& onAir() const { return onAir_; }

private:
    // A movement from outside the picture to its place.
    struct Entry {
        double began = 0.0;
        bool isRunning = false;
    };

    std::string performOpening(const Cue& cue, double now);
    std::string performTransition(const Cue& cue, double now);
    std::string performLowerThird(const Cue& cue);
    std::string performInset(const Cue& cue, double now);
    std::string performReplay(const Cue& cue, double now);
    std::string performLive(const Cue& cue, double now);
    std::string answered(double now);
    std::string showItem(const char* name, bool on);
    void waitForSwitcher();
    void endReplay();

    Graph& graph_;
    const Files files_;
    OnAir onAir_{"camera1", "camera2", "", false, false};
    std::optional<double> openingGone_; // when its layer is not needed any more
    std::optional<double> swapAt_;      // when the layers change places
    Entry inset_;
    double replayLast_ = 0.0;  // position at which the replay ends, ms
    double replayLimit_ = 0.0; // when it ends in any case
    double wentLive_ = 0.0;    // when the server was asked
    std::future<bool> goingLive_;
};

} // namespace show
