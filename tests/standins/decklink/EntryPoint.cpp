// What the stand-in for the DeckLink driver exports.
#include "decklink/Machine.h"

extern "C" {

#pragma GCC visibility push(default)

void* deckLinkStandinControl() {
    return static_cast<test::DeckLinkStandin*>(&standin::Machine::instance());
}

quol::decklink::IDeckLinkIterator* CreateDeckLinkIteratorInstance_0004() {
    return standin::Machine::instance().createIterator();
}

#pragma GCC visibility pop

} // extern "C"
