// An NDI sender as an output's device.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "outputs/OutputDevice.h"
#include "platform/ndi/Ndi.h"

namespace quol {

// The sender clocks pictures and sound: it holds its caller back to the frame rate.
class NdiOutput : public OutputDevice {
public:
    // A sender of that name. Null, with a line on the error stream, when there can be none.
    static std::unique_ptr<NdiOutput> start(const std::string& name);
    ~NdiOutput() override;

    PictureForm form(const OutputSettings& settings) override;
    void show(OutputPicture& picture, const PictureForm& form, const OutputSettings& settings,
              const AVFrame& frame) override;
    void play(const std::int16_t* samples, int pairs) override;
    bool holdsSoundBack() const override { return false; }

private:
    NdiOutput(const ndi::Runtime& runtime, ndi::Handle sender);

    const ndi::Runtime& runtime_;
    const ndi::Handle sender_;  // owned
    std::vector<float> planes_; // the sound worker's: left channel, then right channel
};

} // namespace quol
