#include "platform/vtp/StripCheck.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "platform/vtp/Bytes.h"
#include "platform/vtp/Limits.h"

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

std::uint32_t number(Bytes bytes, std::size_t at) {
    return static_cast<std::uint32_t>(bytes[at] << 8 | bytes[at + 1]);
}

bool isFrameOf(Bytes segment, std::uint32_t width, std::uint32_t rows) {
    // Bits a sample, rows, width, components, and three bytes for each of these.
    return segment.size() == 6 + 9 && segment[0] == 8 && number(segment, 1) == rows &&
           number(segment, 3) == width && segment[5] == 3;
}

// Programs that made pictures of their own kind told it in the same place.
bool isJfifLabel(Bytes segment) {
    constexpr std::array<std::uint8_t, 5> label{'J', 'F', 'I', 'F', 0};
    return segment.size() >= label.size() &&
           std::equal(label.begin(), label.end(), segment.begin());
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

bool splitStrips(Bytes coded, std::uint32_t height, Strips& strips) {
    strips.parts.clear();
    if (coded.size() < 8) return false;
    const auto count = getNumber<std::uint32_t>(coded.data());
    strips.rows = getNumber<std::uint32_t>(coded.data() + 4);
    if (count == 0 || count > maxStrips || coded.size() < 8 + 4 * std::size_t{count}) return false;
    if (strips.rows == 0 || strips.rows > maxHeight + 16 ||
        (height + strips.rows - 1) / strips.rows != count)
        return false;
    const std::uint8_t* sizes = coded.data() + 8;
    Bytes rest = coded.subspan(8 + 4 * std::size_t{count});
    for (std::uint32_t i = 0; i < count; ++i) {
        const auto size = getNumber<std::uint32_t>(sizes + std::size_t{4} * i);
        if (size == 0 || size > rest.size()) return false;
        strips.parts.push_back(rest.first(size));
        rest = rest.subspan(size);
    }
    return rest.empty();
}

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
                break;
            case markerJfif:
                if (!isJfifLabel(segment)) return false;
                break;
            default:
                return false;
        }
    }
    return false;
}

std::size_t copyUnlabelled(Bytes jpeg, std::uint8_t* to) {
    std::uint8_t* const begin = to;
    const auto copy = [&](std::size_t size, bool isKept) {
        if (isKept) to = std::copy_n(jpeg.data(), size, to);
        jpeg = jpeg.subspan(size);
    };
    copy(2, true);
    while (jpeg[1] != markerScan)
        copy(2 + std::size_t{number(jpeg, 2)}, jpeg[1] != markerJfif);
    copy(jpeg.size(), true);
    return static_cast<std::size_t>(to - begin);
}

} // namespace quol::vtp
