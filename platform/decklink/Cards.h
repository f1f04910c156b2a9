// What inputs and outputs ask of a DeckLink card alike. Whatever a card refuses to tell is simply
// missing from the answer.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/decklink/Driver.h"

namespace quol::decklink {

using Card = ComRef<IDeckLink>;

// Every card of the machine, in the driver's order.
std::vector<Card> cards();

// Those that have the given interface.
template <typename Interface>
std::vector<Card> cardsWith() {
    std::vector<Card> found;
    for (Card& card : cards()) {
        if (query<Interface>(card)) found.push_back(std::move(card));
    }
    return found;
}

// Empty when the card gives none.
std::string modelName(IDeckLink* card);

// Attributes of a card, by their codes.
std::optional<std::int64_t> intAttribute(IDeckLink* card, std::uint32_t id);
bool flagAttribute(IDeckLink* card, std::uint32_t id); // false when it cannot be read

// The connectors in a mask of connections: "SDI", "HDMI", "Component", "Composite", "S-Video", in
// this order. An optical connector is another form of SDI and has no line of its own.
std::vector<std::string> connectorLines(std::int64_t mask);

// The connectors of a card by one of its two connection attributes; `otherwise` alone when it tells
// of none.
std::vector<std::string> connectorLines(IDeckLink* card, std::uint32_t attribute,
                                        const char* otherwise);

// The code of a connector by its line. The two sides read a line they do not know differently.
std::uint32_t inputConnection(std::string_view line);  // by the words in it; SDI otherwise
std::uint32_t outputConnection(std::string_view line); // the whole line; HDMI otherwise

// Makes `code` the card's connector of that setting. Nothing when the card cannot be configured at
// all, else what the card answered.
std::optional<HRESULT> setConnection(IDeckLink* card, std::uint32_t setting, std::uint32_t code);

struct ModeSize {
    std::int32_t width = 0; // pixels
    std::int32_t height = 0;
    double frameRate = 0.0; // frames in a second; 0 when the card does not tell

    friend bool operator==(const ModeSize&, const ModeSize&) = default;
};
ModeSize modeSize(IDeckLinkDisplayMode& mode);

struct DisplayMode {
    std::string name; // "Unknown" when the card gives none
    ModeSize size;
    ComRef<IDeckLinkDisplayMode> mode;
};
std::vector<DisplayMode> displayModes(ComRef<IDeckLinkDisplayModeIterator> iterator);

// Those of an IDeckLinkInput or an IDeckLinkOutput; none for null.
template <typename Side>
std::vector<DisplayMode> displayModes(Side* side) {
    if (side == nullptr) return {};
    return displayModes(received<IDeckLinkDisplayModeIterator>(
        [side](auto** out) { return side->GetDisplayModeIterator(out); }));
}

} // namespace quol::decklink
