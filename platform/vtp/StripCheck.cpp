#include "platform/vtp/StripCheck.h"

#include <cstddef>
#include <cstring>

namespace quol::vtp {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::uint8_t markerFrame = 0xc0; // baseline
constexpr std::uint8_t markerCodes = 0xc4;
constexpr std::uint8_t markerStart = 0xd8;
constexpr std::uint8_t markerEnd = 0xd9;
constexpr std::uint8_t markerScan = 0xda;
constexpr std::uint8_t markerQuantizers = 0xdb;
constexpr std::uint8_t markerRestarts = 0xdd;
constexpr std::uint8_t markerJfif = 0xe0;
constexpr std::uint8_t markerComment = 0xfe;

std::uint32_t number(Bytes bytes, std::size_t at) {
    return static_cast<std::uint32_t>(bytes[at] << 8 | bytes[at + 1]);
}

bool isFrameOf(Bytes segment, std::uint32_t width, std::uint32_t rows) {
    // Bits a sample, rows, width, components, and three bytes for each of these.
    return segment.size() == 6 + 9 && segment[0] == 8 && number(segment, 1) == rows &&
           number(segment, 3) == width && segment[5] == 3;
}

// What follows the header of the scan: data, in which a marker could only be a restart, and the
// end.
bool isScanData(Bytes bytes) {
    if (bytes.size() < 2 || bytes[bytes.size() - 2] != 0xff || bytes.back() != markerEnd)
        return false;
    Bytes data = bytes.first(bytes.size() - 2);
    while (const void* found =
               data.empty() ? nullptr : std::memchr(data.data(), 0xff, data.size())) {
        const auto at =
            static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - data.data());
        if (at + 1 >= data.size()) return false;
        const std::uint8_t next = data[at + 1];
        if (next != 0 && (next < 0xd0 || next > 0xd7)) return false;
        data = data.subspan(at + 2);
    }
    return true;
}

} // namespace

bool isPlainJpeg(Bytes bytes, std::uint32_t width, std::uint32_t rows) {
    if (bytes.size() < 4 || bytes[0] != 0xff || bytes[1] != markerStart) return false;
    bytes = bytes.subspan(2);
    bool hasFrame = false;
    while (bytes.size() >= 4 && bytes[0] == 0xff) {
        const std::uint8_t marker = bytes[1];
        const std::size_t size = number(bytes, 2);
        if (size < 2 || 2 + size > bytes.size()) return false;
        const Bytes segment = bytes.subspan(4, size - 2);
        bytes = bytes.subspan(2 + size);
        switch (marker) {
            case markerFrame:
                if (hasFrame || !isFrameOf(segment, width, rows)) return false;
                hasFrame = true;
                break;
            case markerScan:
                // All components in one scan: their number, two bytes for each, three more.
                return hasFrame && segment.size() == 10 && segment[0] == 3 && isScanData(bytes);
            case markerCodes:
            case markerQuantizers:
            case markerRestarts:
            case markerJfif:
            case markerComment:
                break;
            default:
                return false;
        }
    }
    return false;
}

} // namespace quol::vtp
