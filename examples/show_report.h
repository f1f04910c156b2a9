// What came of a show, in words.
#pragma once

#include <string>

#include "show_graph.h"

namespace show {

// How late the script's lines were done.
struct Lateness {
    int lines = 0;
    double worst = 0.0; // seconds
    int worstLine = 0;  // in the script's file
};

// The numbers of what ran, to be read when the graph has finished, and of the recording.
void printPunctuality(Graph& graph, const std::string& recording, const Lateness& lines);

// What the movie's container says of itself. False, with a line, when it is no movie.
bool printFacts(const std::string& recording);

} // namespace show
