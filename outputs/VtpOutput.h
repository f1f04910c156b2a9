// VTP as an output's device.
#pragma once

#include <memory>
#include <string>

#include "outputs/OutputDevice.h"
#include "platform/vtp/vtp.h"

namespace quol {

class VtpOutput : public OutputDevice {
public:
    // A sender that can be found and connected to, of the size that the settings have now. Null,
    // with a line on the error stream, when there can be none.
    static std::unique_ptr<VtpOutput> start(const std::string& name, const OutputSettings& settings,
                                            const vtp_network& network);
    ~VtpOutput() override;

    std::uint16_t port() const { return vtp_sender_get_port(sender_); }

    PictureForm form(const OutputSettings& settings) override;
    void show(OutputPicture& picture, const PictureForm& form, const OutputSettings& settings,
              const AVFrame& frame) override;
    void play(const std::int16_t* samples, int pairs) override;
    bool holdsSoundBack() const override { return false; }

private:
    VtpOutput(vtp_sender* sender, int width, int height);

    vtp_sender* const sender_; // owned
    const int width_;          // the sender's, for as long as it lives
    const int height_;
};

} // namespace quol
