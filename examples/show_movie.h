// The pictures of a finished movie.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace show {

// When they are shown, in that order, seconds; nothing for what is no movie.
std::vector<double> pictureTimes(const std::string& path);

// How many pictures more there would be room for between the first one and the last one.
std::int64_t countHoles(const std::vector<double>& times, double rate);

} // namespace show
