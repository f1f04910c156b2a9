#include "support/NdiStandin.h"

#include <algorithm>
#include <cstring>

#include "support/StandinLibrary.h"

namespace test {

namespace {

bool is(std::uint32_t code, const char (&letters)[5]) {
    return code == quol::ndi::fourCC(letters);
}

} // namespace

NdiVideo ndiPicture(int width, int height, const char (&fourCC)[5], unsigned seed, int stride) {
    NdiVideo frame;
    const std::uint32_t code = quol::ndi::fourCC(fourCC);
    const bool planar = is(code, "NV12") || is(code, "I420") || is(code, "YV12");
    const int pixelBytes = planar ? 1 : is(code, "UYVY") ? 2 : 4;
    frame.record.xres = width;
    frame.record.yres = height;
    frame.record.FourCC = code;
    frame.record.frame_rate_N = 25;
    frame.record.frame_rate_D = 1;
    frame.record.line_stride_in_bytes = stride > 0 ? stride : width * pixelBytes;
    frame.record.timecode = 0;
    std::size_t size = static_cast<std::size_t>(frame.record.line_stride_in_bytes) * height;
    if (planar) size += size / 2;
    frame.bytes = std::make_shared<std::vector<std::uint8_t>>(size);
    std::uint32_t value = seed * 2654435761U + 1;
    for (std::uint8_t& byte : *frame.bytes) {
        value = value * 1664525U + 1013904223U;
        byte = static_cast<std::uint8_t>(value >> 24);
    }
    return frame;
}

NdiAudio ndiSound(int samples, int channels, int sampleRate) {
    NdiAudio frame;
    frame.record.sample_rate = sampleRate;
    frame.record.no_channels = channels;
    frame.record.no_samples = samples;
    frame.record.channel_stride_in_bytes = samples * static_cast<int>(sizeof(float));
    frame.record.timecode = 0;
    frame.bytes = std::make_shared<std::vector<std::uint8_t>>(
        static_cast<std::size_t>(frame.record.channel_stride_in_bytes) * channels);
    for (int c = 0; c < channels; ++c) {
        for (int i = 0; i < samples; ++i) {
            const float sample = static_cast<float>(i + 1000 * c) / 65536.0F;
            std::memcpy(
                frame.bytes->data() + (static_cast<std::size_t>(c) * samples + i) * sizeof(float),
                &sample, sizeof(sample));
        }
    }
    return frame;
}

bool NdiState::allGivenBack() const {
    const auto gone = [](const auto& object) { return !object.alive; };
    return std::all_of(finders.begin(), finders.end(), gone) &&
           std::all_of(senders.begin(), senders.end(), gone) &&
           std::all_of(receivers.begin(), receivers.end(), [](const NdiReceiver& receiver) {
               return !receiver.alive && receiver.outstanding() == 0;
           });
}

NdiStandin& ndiStandin() {
    return *static_cast<NdiStandin*>(standinControl("libndi.so.6", "ndiStandinControl"));
}

} // namespace test
