// What a recording shows over its time, by the names of plain colours.
#pragma once

#include <string>
#include <vector>

#include "support/XServer.h"

namespace test {

// "red", "green" or "blue", where one of the three leads by far; else "none".
std::string colourName(const Pixel& pixel);

struct SeenColour {
    std::string name;
    double seconds = 0.0; // when it was first seen
};

// A place of the picture as FFmpeg's crop filter takes it.
constexpr const char* middle = "64:64:(iw-64)/2:(ih-64)/2";

// The mean of that place, wherever it becomes another colour; mixtures are left out. `scratch` is a
// file to work with.
std::vector<SeenColour> coloursIn(const std::string& recording, const std::string& place,
                                  const std::string& scratch);

} // namespace test
