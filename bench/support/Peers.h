// Other programs at the work of a compositor, on the same pictures.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "support/Commands.h"

namespace bench {

// A file of one 1920x1080 picture in planar 4:2:0, another one for each number.
std::string rawPicture(int number);

struct Figures {
    double fps = 0.0;
    double cpu = 0.0; // milliseconds a frame
};

// What `frames` pictures cost beyond a run of two: the start is taken off. `command` makes the
// command for a number of pictures.
bool measurePeer(const std::function<Command(int)>& command, int frames, Figures& figures);

// The same work measured several times.
struct Samples {
    std::vector<double> fps;
    std::vector<double> cpu;

    void add(const Figures& figures);
    Figures middle() const;
};

} // namespace bench
