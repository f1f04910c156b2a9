// Pictures, sound and the modes of both, as the stand-in for the DeckLink driver hands them out.
#pragma once

#include "decklink/Object.h"

namespace standin {

// All with one reference, which is the caller's.
quol::decklink::IDeckLinkVideoInputFrame* newInputFrame(const test::DeckLinkFrame& frame);
quol::decklink::IDeckLinkMutableVideoFrame* newOutputFrame(const test::DeckLinkFrame& frame);
quol::decklink::IDeckLinkAudioInputPacket* newSoundPacket(const test::DeckLinkSound& sound);
quol::decklink::IDeckLinkDisplayMode* newDisplayMode(const test::DeckLinkMode& mode);

// A copy of a picture made by newOutputFrame as it is now; nothing for any other. With the mutex
// held.
std::optional<test::DeckLinkFrame> shownPicture(quol::decklink::IDeckLinkVideoFrame* frame);

} // namespace standin
