#include "outputs/NdiOutput.h"

#include "core/Log.h"
#include "outputs/OutputSound.h"

namespace quol {

std::unique_ptr<NdiOutput> NdiOutput::start(const std::string& name) {
    const ndi::Runtime* const runtime = ndi::runtime();
    // Not paired with a `destroy`: the runtime is the process's, and others may be using it.
    if (runtime == nullptr || !runtime->initialize()) {
        logError("NDIlib_initialize failed!");
        return nullptr;
    }
    ndi::NDIlib_send_create_t settings;
    settings.p_ndi_name = name.c_str();
    settings.clock_video = true;
    settings.clock_audio = true;
    const ndi::Handle sender = runtime->send_create(&settings);
    if (sender == nullptr) {
        logError("NDIlib_send_create failed!");
        return nullptr;
    }
    return std::unique_ptr<NdiOutput>(new NdiOutput(*runtime, sender));
}

NdiOutput::NdiOutput(const ndi::Runtime& runtime, ndi::Handle sender)
    : OutputDevice(Kind::ndi), runtime_(runtime), sender_(sender) {}

NdiOutput::~NdiOutput() {
    runtime_.send_destroy(sender_);
}

PictureForm NdiOutput::form(const OutputSettings& settings) {
    const AVPixelFormat format =
        settings.ndiColor == OutputColor::uyvy ? AV_PIX_FMT_UYVY422 : AV_PIX_FMT_BGRA;
    return {settings.width, settings.height, format, packedRowBytes(format, settings.width)};
}

void NdiOutput::show(OutputPicture& picture, const PictureForm& form,
                     const OutputSettings& settings, const AVFrame& /*frame*/) {
    ndi::NDIlib_video_frame_v2_t video;
    video.xres = form.width;
    video.yres = form.height;
    video.FourCC = form.format == AV_PIX_FMT_UYVY422 ? ndi::fourCC("UYVY") : ndi::fourCC("BGRA");
    video.frame_rate_N = wholeRate(settings.rate);
    video.frame_rate_D = 1;
    video.picture_aspect_ratio = 0.0F;
    video.frame_format_type = ndi::frame_format_progressive;
    video.timecode = ndi::timecode_synthesize;
    video.p_data = picture.data();
    video.line_stride_in_bytes = form.rowBytes;
    runtime_.send_send_video_v2(sender_, &video);
}

void NdiOutput::play(const std::int16_t* samples, int pairs) {
    constexpr float scale = 1.0F / 32768;
    const auto count = static_cast<std::size_t>(pairs);
    planes_.resize(count * 2);
    for (std::size_t i = 0; i < count; ++i) {
        planes_[i] = static_cast<float>(samples[i * 2]) * scale;
        planes_[count + i] = static_cast<float>(samples[i * 2 + 1]) * scale;
    }
    ndi::NDIlib_audio_frame_v2_t audio;
    audio.sample_rate = outputSampleRate;
    audio.no_channels = 2;
    audio.no_samples = pairs;
    audio.timecode = ndi::timecode_synthesize;
    audio.p_data = planes_.data();
    audio.channel_stride_in_bytes = pairs * static_cast<int>(sizeof(float));
    runtime_.send_send_audio_v2(sender_, &audio);
}

} // namespace quol
