#include "quolsdk/LFrame.h"

#include <algorithm>

#include "core/Handles.h"
#include "core/Resampler.h"
#include "core/Scaler.h"
#include "quolsdk/LObject.h"

namespace {

constexpr std::size_t audioBufferBytes = 192000;
constexpr std::size_t bytesPerPair = 4;

// Sizes of which a picture in memory can be told in 32 bits.
bool isDrawable(const AVFrame& frame) {
    return frame.width > 0 && frame.height > 0 && frame.width <= INT32_MAX / 4;
}

} // namespace

LFrame::LFrame()
    : audioBuffer(audioBufferBytes),
      resampler(std::make_unique<quol::Resampler>(quol::Resampler::Input::frozen)),
      scaler(std::make_unique<quol::Scaler>()) {}

LFrame::~LFrame() {
    readerObject(nullptr);
}

void LFrame::readerObject(LObject* newSource) {
    const std::lock_guard lock(sourceMutex);
    if (source != nullptr) source->removeSink(this);
    source = newSource;
    if (source != nullptr) source->addSink(this);
}

LFrame::Video LFrame::getVideo() const {
    const std::lock_guard lock(mutex);
    return video;
}

LFrame::Audio LFrame::getAudio() const {
    const std::lock_guard lock(mutex);
    return audio;
}

void LFrame::pushVideoFrame(AVFrame* frame) {
    if (frame == nullptr) return;
    const std::lock_guard lock(mutex);
    const quol::ScalerKey key{frame->width,  frame->height,   frame->format, frame->width,
                              frame->height, AV_PIX_FMT_RGBA, SWS_BILINEAR};
    if (!isDrawable(*frame) || !scaler->prepare(key)) return;
    video.width = frame->width;
    video.height = frame->height;
    video.stride = frame->width * 4;
    video.rgba.resize(static_cast<std::size_t>(video.stride) *
                      static_cast<std::size_t>(video.height));
    std::uint8_t* const planes[4] = {video.rgba.data(), nullptr, nullptr, nullptr};
    const int strides[4] = {video.stride, 0, 0, 0};
    scaler->run(*frame, planes, strides);
    const AVDictionaryEntry* timecode = av_dict_get(frame->metadata, "timecode", nullptr, 0);
    if (timecode != nullptr) video.timecode = timecode->value;
}

void LFrame::pushAudioFrame(AVFrame* frame) {
    if (frame == nullptr) return;
    const std::lock_guard lock(mutex);
    if (!resampler->prepare(*frame, {2, AV_SAMPLE_FMT_S16, frame->sample_rate})) return;
    constexpr int room = audioBufferBytes / bytesPerPair;
    std::uint8_t* plane = audioBuffer.data();
    const int count = resampler->convert(*frame, &plane, std::min(frame->nb_samples, room));
    if (count <= 0) return;
    audio.channels = 2;
    audio.sampleRate = frame->sample_rate;
    audio.samples = count;
    const auto bytes = static_cast<std::ptrdiff_t>(count * bytesPerPair);
    audio.audio.assign(audioBuffer.begin(), audioBuffer.begin() + bytes);
}
