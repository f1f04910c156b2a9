// The DeckLink driver. It is not part of this library: it is looked for while the program runs, and
// most machines have none. All of this may be called on any thread.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "platform/decklink/ComRef.h"

namespace quol::decklink {

using CreateIterator = IDeckLinkIterator* (*)();

// The driver's entry point in the first of the libraries that has one, opened for good; null when
// none has.
CreateIterator loadEntryPoint(const std::vector<std::string>& candidates);

// Over the cards of the machine; empty without a driver. The driver is loaded at the first call
// that finds it and then stays; while there is none each call looks again.
ComRef<IDeckLinkIterator> createIterator();

// Text that a call of the driver hands out, as in
// `driverText([&](const char** text) { return card->GetModelName(text); })`. UTF-8; the driver's
// own copy is freed. Nothing when the call failed or gave none.
template <typename Call>
std::optional<std::string> driverText(Call&& call) {
    const char* text = nullptr;
    if (!succeeded(call(&text)) || text == nullptr) return std::nullopt;
    std::string copy(text);
    std::free(const_cast<char*>(text));
    return copy;
}

} // namespace quol::decklink
