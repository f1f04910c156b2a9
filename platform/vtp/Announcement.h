// The datagram by which a sender tells where it is.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace quol::vtp {

// What one run of a sender is known by, wherever it is heard.
using Instance = std::array<std::uint8_t, 16>;

struct Announcement {
    bool isGone = false; // said once at the end
    Instance instance{};
    std::uint16_t port = 0;
    std::uint16_t flags = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t pictureRate = 0;
    std::string name;
};

constexpr std::uint16_t announcesSecret = 1; // takes only those who know its secret
constexpr std::uint16_t announcesSound = 2;

constexpr std::size_t maxAnnouncementBytes = 256;

std::vector<std::uint8_t> writeAnnouncement(const Announcement& announcement);

// Nothing for anything but a right announcement.
std::optional<Announcement> readAnnouncement(std::span<const std::uint8_t> bytes);

// A name as it can be shown: UTF-8 without control characters, at most `maxBytes`, cut between
// characters. What is no UTF-8 becomes question marks; nothing becomes "VTP".
std::string shownName(const std::string& name, std::size_t maxBytes);

} // namespace quol::vtp
