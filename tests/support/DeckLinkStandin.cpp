#include "support/DeckLinkStandin.h"

#include <algorithm>
#include <iterator>

#include "support/StandinLibrary.h"

namespace test {

using namespace quol::decklink;

std::vector<DeckLinkMode> deckLinkModes() {
    return {
        {fourCC("Hp50"), "1080p50", 1920, 1080, 1000, 50000},
        {fourCC("Hp25"), "1080p25", 1920, 1080, 1000, 25000},
        {fourCC("Hi59"), "1080i59.94", 1920, 1080, 1001, 30000},
        {fourCC("pal "), "PAL", 720, 576, 1, 25},
    };
}

std::vector<DeckLinkCard> deckLinkMachine() {
    DeckLinkCard both;
    both.model = "Stand-in Duo";
    DeckLinkCard capture;
    capture.model = "Stand-in Capture";
    capture.output = false;
    capture.inputLines = 1 | 2 | 4 | 8 | 16 | 32;
    capture.outputLines = 0;
    capture.formatDetection = false;
    return {both, capture};
}

DeckLinkFrame deckLinkPicture(long width, long height, std::uint32_t pixelFormat, unsigned seed,
                              long rowBytes) {
    DeckLinkFrame frame;
    frame.width = width;
    frame.height = height;
    frame.pixelFormat = pixelFormat;
    const bool fourBytes = pixelFormat == bmdFormat8BitARGB || pixelFormat == bmdFormat8BitBGRA;
    const long tight = pixelFormat == bmdFormat10BitYUV ? (width + 47) / 48 * 128
                       : fourBytes                      ? width * 4
                                                        : width * 2;
    frame.rowBytes = rowBytes > 0 ? rowBytes : tight;
    frame.bytes = std::make_shared<std::vector<std::uint8_t>>(
        static_cast<std::size_t>(frame.rowBytes * height));
    std::uint32_t value = seed * 2654435761U + 1;
    for (std::uint8_t& byte : *frame.bytes) {
        value = value * 1664525U + 1013904223U;
        byte = static_cast<std::uint8_t>(value >> 24);
    }
    return frame;
}

std::size_t DeckLinkState::liveOf(const std::string& interface) const {
    return static_cast<std::size_t>(
        std::count_if(live.begin(), live.end(),
                      [&](const DeckLinkObject& object) { return object.interface == interface; }));
}

unsigned long DeckLinkState::referencesOf(const std::string& interface) const {
    unsigned long references = 0;
    for (const DeckLinkObject& object : live) {
        if (object.interface == interface) references += object.references;
    }
    return references;
}

std::vector<DeckLinkCall> DeckLinkState::callsOf(const std::string& method) const {
    std::vector<DeckLinkCall> found;
    std::copy_if(calls.begin(), calls.end(), std::back_inserter(found),
                 [&](const DeckLinkCall& call) { return call.method == method; });
    return found;
}

DeckLinkStandin& deckLinkStandin() {
    return *static_cast<DeckLinkStandin*>(
        standinControl("libDeckLinkAPI.so", "deckLinkStandinControl"));
}

} // namespace test
