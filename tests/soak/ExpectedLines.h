// What the library says of a day on which all goes well.
#pragma once

namespace soak {

// The pattern of the table that a line fits, with '*' for any text; null for none. Lines that the
// script provokes (a file that is missing, a server that was stopped) are in the table, with the
// names that only the script gives.
const char* expectedPattern(const char* line);

inline bool isExpected(const char* line) {
    return expectedPattern(line) != nullptr;
}

} // namespace soak
