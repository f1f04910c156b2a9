// Scenes that are drawn as fast as they go, each in a process of its own, and a table of what they
// cost.
#pragma once

#include <string>

#include "support/Commands.h"
#include "support/Measure.h"

namespace bench {

// In the process that draws: tells the one that started it what `frames` pictures cost.
void tellScene(const Meter& meter, int frames);

// Rows of a table, medians of so many rounds, each round a process of this program.
class SceneTable {
public:
    explicit SceneTable(int rounds);

    void printHead() const;
    // Measures and prints a row; `arguments` make this program draw the scene. False when a run
    // fails.
    bool add(const std::string& name, const Command& arguments) const;

private:
    int rounds_;
    double copyMs_; // of one 1920x1080 picture in planar 4:2:0
};

} // namespace bench
