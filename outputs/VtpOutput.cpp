#include "outputs/VtpOutput.h"

#include "core/Clock.h"
#include "core/Log.h"
#include "outputs/OutputSound.h"

namespace quol {

std::unique_ptr<VtpOutput> VtpOutput::start(const std::string& name, const OutputSettings& settings,
                                            const vtp_network& network) {
    constexpr int withSound = 1;
    vtp_sender* const sender =
        vtp_create_sender(name.c_str(), settings.width, settings.height, wholeRate(settings.rate),
                          vtp_coding_automatic, withSound);
    if (sender == nullptr) {
        logError("vtp_create_sender failed!");
        return nullptr;
    }
    std::unique_ptr<VtpOutput> output(new VtpOutput(sender, settings.width, settings.height));
    vtp_sender_set_network(sender, network);
    if (!vtp_sender_start(sender)) {
        logError("vtp_sender_start failed!");
        return nullptr;
    }
    return output;
}

VtpOutput::VtpOutput(vtp_sender* sender, int width, int height)
    : OutputDevice(Kind::vtp), sender_(sender), width_(width), height_(height) {}

VtpOutput::~VtpOutput() {
    vtp_sender_stop(sender_);
    vtp_destroy_sender(sender_);
}

PictureForm VtpOutput::form(const OutputSettings& /*settings*/) {
    return {width_, height_, AV_PIX_FMT_BGR24, packedRowBytes(AV_PIX_FMT_BGR24, width_)};
}

void VtpOutput::show(OutputPicture& picture, const PictureForm& /*form*/,
                     const OutputSettings& /*settings*/, const AVFrame& /*frame*/) {
    vtp_sender_send_frame(sender_, picture.data(), vtp_format_bgr24, steadyNow());
}

void VtpOutput::play(const std::int16_t* samples, int pairs) {
    vtp_sender_send_audio(sender_, samples, pairs, outputSampleRate, 2, steadyNow());
}

} // namespace quol
