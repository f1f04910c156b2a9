// What an output knows of the machine's cards.
#pragma once

#include <string>
#include <vector>

#include "core/ModeTables.h"
#include "platform/decklink/Cards.h"
#include "quolsdk/formats.h"

namespace quol {

inline videoFormatProps formatOf(const decklink::DisplayMode& mode) {
    return {modeCustom, mode.size.width, mode.size.height, mode.size.frameRate, 0};
}

// A plain record, which the output's control mutex guards.
struct OutputCards {
    std::vector<decklink::Card> cards;        // those that can play, in the driver's order
    std::vector<decklink::DisplayMode> modes; // of the card whose formats were counted last
    std::vector<std::string> lines;           // connectors of the card that was asked last

    int count() const { return static_cast<int>(cards.size()); }
    bool has(int card) const { return card >= 0 && card < count(); }
    const decklink::DisplayMode* mode(int index) const {
        const bool there = index >= 0 && static_cast<std::size_t>(index) < modes.size();
        return there ? &modes[static_cast<std::size_t>(index)] : nullptr;
    }
    const std::string* line(int index) const {
        const bool there = index >= 0 && static_cast<std::size_t>(index) < lines.size();
        return there ? &lines[static_cast<std::size_t>(index)] : nullptr;
    }
};

} // namespace quol
