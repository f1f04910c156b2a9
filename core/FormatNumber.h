// Numbers from outside that are to be formats.
#pragma once

#include <bit>

namespace quol {

// Whether an enumeration of FFmpeg's, whose numbers end before `end`, can hold that number at all.
// A conversion of one that it has no bits for is undefined, even if only to ask what it is. It may
// be one that FFmpeg has come to know since the library was built.
constexpr bool isFormatNumber(int number, unsigned end) {
    return number >= 0 && static_cast<unsigned>(number) < std::bit_ceil(end);
}

} // namespace quol
