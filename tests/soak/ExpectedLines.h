// What the library says of a day on which all goes well.
#pragma once

#include <span>

namespace soak {

// '*' stands for any text. Lines that the script provokes (a file that is missing, a server that
// was stopped) are among them, with the names that only the script gives.
std::span<const char* const> expectedLines();

} // namespace soak
