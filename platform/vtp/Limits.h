// What vtp carries at most, and how long it waits. docs/vtp.md states the same numbers.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace quol::vtp {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr std::uint32_t maxWidth = 8192;
constexpr std::uint32_t maxHeight = 8192;
constexpr std::size_t maxPictureBytes = 8192u * 4320u * 4u;
constexpr std::size_t maxStrips = 16;

// Coding that makes a picture larger, headers apart, is no coding.
constexpr std::size_t maxCodedBytes(std::size_t plainBytes) {
    return plainBytes + maxStrips * 4096;
}

constexpr std::uint32_t maxPictureRate = 1000; // a second, as far as it is told
constexpr std::uint32_t maxChannels = 16;
constexpr std::uint32_t maxSampleRate = 384000;
constexpr std::size_t maxNameBytes = 127;

// Waiting at either end, for a receiver, not begun, or for its host. Enough for a machine whose
// threads do not get to run for a while; it costs no time, as what waits is taken when they do.
constexpr std::size_t maxPicturesWaiting = 8;
constexpr std::size_t maxPictureBytesWaiting = 128u << 20;
constexpr std::size_t maxSoundsWaiting = 128;
constexpr std::size_t maxSoundBytesWaiting = 4u << 20;

constexpr std::size_t maxReceivers = 32;       // of one sender
constexpr std::size_t maxReceiversPerHost = 8; // of hosts other than this machine
constexpr std::size_t maxStrangers = 16;       // connected, not accepted yet
constexpr std::size_t maxSources = 256;        // known to a listener
constexpr std::size_t maxForeignSources = 128; // of hosts other than this machine, all together
constexpr std::size_t maxSourcesPerHost = 64;  // of one of these

// Within a second. More than pile up during the longest silence, and no load.
constexpr int maxHeartbeats = 20;

constexpr auto forgetTime = 3s;

// The protocol's times; tests make them shorter.
struct Times {
    Clock::duration connect = 2s;   // for a receiver, all in all
    Clock::duration handshake = 5s; // for a sender
    Clock::duration heartbeat = 1s;
    // TCP comes back from a cut of five seconds within ten: its pauses double.
    Clock::duration silence = 15s;
    Clock::duration announce = 500ms;
    Clock::duration linger = 250ms; // for what waits when a sender stops
};

} // namespace quol::vtp
