// Where every line of text leaves the library: the two standard streams, whole lines at a time.
#pragma once

namespace quol {

// Writes one formatted line, with a line end behind it, in a single write to standard output.
__attribute__((format(printf, 1, 2))) void logOut(const char* format, ...);

// The same to standard error.
__attribute__((format(printf, 1, 2))) void logError(const char* format, ...);

// A pointer as "%p" wants it.
inline const void* address(const void* pointer) {
    return pointer;
}

} // namespace quol
