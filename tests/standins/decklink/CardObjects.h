// What the stand-in for the DeckLink driver hands out of a card.
#pragma once

#include "decklink/Object.h"

namespace standin {

// With one reference, which is the caller's.
quol::decklink::IDeckLinkIterator* newCardIterator(std::vector<CardPtr> cards);

// The interface `id` of a card, with a reference; null when the card has none of the kind.
void* newCardInterface(const CardPtr& card, const REFIID& id);

// Those that have a file of their own.
quol::decklink::IDeckLinkInput* newInput(const CardPtr& card);
quol::decklink::IDeckLinkOutput* newOutput(const CardPtr& card);

// The modes of a card, for its input and for its output.
HRESULT handOutMode(const Card& card, std::uint32_t mode,
                    quol::decklink::IDeckLinkDisplayMode** out);
quol::decklink::IDeckLinkDisplayModeIterator* newModeIterator(const Card& card);

} // namespace standin
