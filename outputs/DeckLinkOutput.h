// A DeckLink card as an output's device.
#pragma once

#include <cstdint>

#include "outputs/OutputDevice.h"
#include "platform/decklink/Cards.h"

namespace quol {

// Pictures are shown at once and sound is written at once; both calls hold the caller back to the
// card's own rate.
class DeckLinkOutput : public OutputDevice {
public:
    explicit DeckLinkOutput(decklink::ComRef<decklink::IDeckLinkOutput> output);
    // Switches the card's output off.
    ~DeckLinkOutput() override;

    // Switches the card's output on. False, with a line on the error stream, when it cannot show
    // this mode; missing sound is only worth a line.
    bool enable(std::uint32_t mode, bool timecode);

    PictureForm form(const OutputSettings& settings) override;
    void show(OutputPicture& picture, const PictureForm& form, const OutputSettings& settings,
              const AVFrame& frame) override;
    void play(const std::int16_t* samples, int pairs) override;
    bool holdsSoundBack() const override { return true; }

private:
    int rowBytes(AVPixelFormat format, int width);
    static bool fill(decklink::IDeckLinkMutableVideoFrame& target, OutputPicture& picture,
                     const PictureForm& form);

    const decklink::ComRef<decklink::IDeckLinkOutput> output_;
    PictureForm asked_; // the picture worker's: what the card has told of its rows
};

} // namespace quol
