// Numbers in the byte order of the wire, least significant byte first.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace quol::vtp {

template <std::integral Number>
void putNumber(std::uint8_t* to, Number value) {
    auto bits = static_cast<std::make_unsigned_t<Number>>(value);
    for (std::size_t i = 0; i < sizeof(Number); ++i)
        to[i] = static_cast<std::uint8_t>(static_cast<std::uint64_t>(bits) >> (8 * i));
}

template <std::integral Number>
Number getNumber(const std::uint8_t* from) {
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < sizeof(Number); ++i)
        bits |= static_cast<std::uint64_t>(from[i]) << (8 * i);
    return static_cast<Number>(bits);
}

} // namespace quol::vtp
