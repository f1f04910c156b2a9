// What an output's two workers ask of the device they feed.
#pragma once

#include <cstdint>

#include "outputs/OutputPicture.h"
#include "outputs/OutputSettings.h"

namespace quol {

enum class OutputDeviceKind { ndi, vtp, deckLink };

// A device that runs from its making to its destruction. `form` and `show` are called by the
// picture worker, `play` by the sound worker, at the same time; making and destruction happen while
// neither is there.
class OutputDevice {
public:
    using Kind = OutputDeviceKind;

    explicit OutputDevice(Kind kind) : kind_(kind) {}
    OutputDevice(const OutputDevice&) = delete;
    OutputDevice& operator=(const OutputDevice&) = delete;
    virtual ~OutputDevice() = default;

    Kind kind() const { return kind_; }

    // What pictures must look like under these settings.
    virtual PictureForm form(const OutputSettings& settings) = 0;

    // Puts a picture out that was drawn in `form` from `frame`. Returns when the device takes the
    // next one.
    virtual void show(OutputPicture& picture, const PictureForm& form,
                      const OutputSettings& settings, const AVFrame& frame) = 0;

    // Puts `pairs` stereo samples at 48000 Hz out.
    virtual void play(const std::int16_t* samples, int pairs) = 0;

    // Whether `play` takes as long as the sound lasts.
    virtual bool holdsSoundBack() const = 0;

private:
    const Kind kind_;
};

} // namespace quol
