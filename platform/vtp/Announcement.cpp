#include "platform/vtp/Announcement.h"

#include <algorithm>
#include <cstring>

#include "platform/vtp/Bytes.h"
#include "platform/vtp/Limits.h"

namespace quol::vtp {

namespace {

constexpr std::array<std::uint8_t, 4> magic{'V', 'T', 'P', 'A'};
constexpr std::uint8_t version = 1;
constexpr std::uint8_t kindHere = 1;
constexpr std::uint8_t kindGone = 2;
constexpr std::size_t fixedBytes = 42;
static_assert(fixedBytes + maxNameBytes <= maxAnnouncementBytes);

// Bytes of the character that begins at `text[at]`, 0 for one that is wrong or must not be shown.
std::size_t characterBytes(const std::string& text, std::size_t at) {
    const auto byte = [&text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned first = byte(at);
    if (first < 0x80) return first >= 0x20 && first != 0x7f ? 1 : 0;
    std::size_t size = 0;
    if (first >= 0xc2 && first <= 0xdf) size = 2;
    if (first >= 0xe0 && first <= 0xef) size = 3;
    if (first >= 0xf0 && first <= 0xf4) size = 4;
    if (size == 0 || at + size > text.size()) return 0;
    for (std::size_t i = 1; i < size; ++i) {
        if ((byte(at + i) & 0xc0) != 0x80) return 0;
    }
    const unsigned second = byte(at + 1);
    if (first == 0xc2 && second < 0xa0) return 0;  // control characters
    if (first == 0xe0 && second < 0xa0) return 0;  // longer than need be
    if (first == 0xed && second >= 0xa0) return 0; // surrogates
    if (first == 0xf0 && second < 0x90) return 0;
    if (first == 0xf4 && second >= 0x90) return 0; // past the last character
    return size;
}

} // namespace

std::string shownName(const std::string& name, std::size_t maxBytes) {
    std::string shown;
    for (std::size_t at = 0; at < name.size();) {
        const std::size_t size = characterBytes(name, at);
        if (shown.size() + std::max<std::size_t>(size, 1) > maxBytes) break;
        if (size == 0) {
            shown += '?';
            ++at;
        } else {
            shown.append(name, at, size);
            at += size;
        }
    }
    return shown.empty() ? "VTP" : shown;
}

std::vector<std::uint8_t> writeAnnouncement(const Announcement& announcement) {
    const std::string name = shownName(announcement.name, maxNameBytes);
    std::vector<std::uint8_t> bytes(fixedBytes + name.size());
    std::memcpy(bytes.data(), magic.data(), magic.size());
    bytes[4] = version;
    bytes[5] = announcement.isGone ? kindGone : kindHere;
    putNumber(&bytes[6], static_cast<std::uint16_t>(bytes.size()));
    std::memcpy(&bytes[8], announcement.instance.data(), announcement.instance.size());
    putNumber(&bytes[24], announcement.port);
    putNumber(&bytes[26], announcement.flags);
    putNumber(&bytes[28], announcement.width);
    putNumber(&bytes[32], announcement.height);
    putNumber(&bytes[36], announcement.pictureRate);
    putNumber(&bytes[40], static_cast<std::uint16_t>(name.size()));
    std::memcpy(&bytes[fixedBytes], name.data(), name.size());
    return bytes;
}

std::optional<Announcement> readAnnouncement(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < fixedBytes || bytes.size() > maxAnnouncementBytes) return std::nullopt;
    if (!std::equal(magic.begin(), magic.end(), bytes.begin()) || bytes[4] != version)
        return std::nullopt;
    if (bytes[5] != kindHere && bytes[5] != kindGone) return std::nullopt;
    if (getNumber<std::uint16_t>(&bytes[6]) != bytes.size()) return std::nullopt;
    const std::size_t nameBytes = getNumber<std::uint16_t>(&bytes[40]);
    if (nameBytes > maxNameBytes || fixedBytes + nameBytes != bytes.size()) return std::nullopt;

    Announcement announcement;
    announcement.isGone = bytes[5] == kindGone;
    std::memcpy(announcement.instance.data(), &bytes[8], announcement.instance.size());
    announcement.port = getNumber<std::uint16_t>(&bytes[24]);
    announcement.flags = getNumber<std::uint16_t>(&bytes[26]);
    announcement.width = getNumber<std::uint32_t>(&bytes[28]);
    announcement.height = getNumber<std::uint32_t>(&bytes[32]);
    announcement.pictureRate = getNumber<std::uint32_t>(&bytes[36]);
    const auto name = bytes.subspan(fixedBytes);
    announcement.name = shownName(std::string(name.begin(), name.end()), maxNameBytes);
    if (announcement.port == 0) return std::nullopt;
    return announcement;
}

} // namespace quol::vtp
