#include "quolsdk/LFrame.h"

#include <algorithm>
#include <cstring>

#include "core/Handles.h"
#include "core/Resampler.h"
#include "core/Scaler.h"
#include "core/SoundCheck.h"
#include "quolsdk/LObject.h"

namespace {

constexpr std::size_t audioBufferBytes = 192000;
constexpr std::size_t bytesPerPair = 4;

// swscale converts whole groups of pixels and leaves out, or writes past the end of, what is left
// of a row that is no multiple of one. Rows it writes into are rounded up to this many pixels.
constexpr int groupPixels = 32;

// Sizes of which a picture in memory can be told in 32 bits.
bool isDrawable(const AVFrame& frame) {
    return frame.width > 0 && frame.height > 0 && frame.width <= INT32_MAX / 8;
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
    source = nullptr;
    if (newSource != nullptr)
        newSource->addSink(this); // without memory it raises, and none is kept
    source = newSource;
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
    const int paddedWidth = FFALIGN(frame->width, groupPixels);
    const auto row = static_cast<std::size_t>(frame->width) * 4;
    const auto paddedRow = static_cast<std::size_t>(paddedWidth) * 4;
    const auto rows = static_cast<std::size_t>(frame->height);
    padded.resize(paddedRow * rows);
    std::uint8_t* const planes[4] = {padded.data(), nullptr, nullptr, nullptr};
    const int strides[4] = {paddedWidth * 4, 0, 0, 0};
    if (!scaler->run(*frame, planes, strides)) return;
    if (row == paddedRow) {
        padded.swap(video.rgba); // the rows are whole groups already
    } else {
        video.rgba.resize(row * rows);
        for (std::size_t y = 0; y < rows; ++y) {
            std::memcpy(&video.rgba[y * row], &padded[y * paddedRow], row);
        }
    }
    video.width = frame->width;
    video.height = frame->height;
    video.stride = frame->width * 4;
    const AVDictionaryEntry* timecode = av_dict_get(frame->metadata, "timecode", nullptr, 0);
    if (timecode != nullptr) video.timecode = timecode->value;
}

void LFrame::pushAudioFrame(AVFrame* frame) {
    if (frame == nullptr || !quol::isReadableSound(*frame)) return;
    const std::lock_guard lock(mutex);
    if (!resampler->prepare(*frame, {2, AV_SAMPLE_FMT_S16, frame->sample_rate})) return;
    constexpr int room = audioBufferBytes / bytesPerPair;
    std::uint8_t* plane = audioBuffer.data();
    // The rest of a block that is longer would stay in the resampler, and ever more behind it.
    const quol::FramePtr cut = frame->nb_samples > room ? quol::cloneFrame(frame) : nullptr;
    if (cut) cut->nb_samples = room;
    const AVFrame& block = cut ? *cut : *frame;
    const int count = resampler->convert(block, &plane, std::min(block.nb_samples, room));
    if (count <= 0) return;
    const auto bytes = static_cast<std::ptrdiff_t>(count * bytesPerPair);
    // What memory may be short for comes first: the record tells of what is there.
    audio.audio.assign(audioBuffer.begin(), audioBuffer.begin() + bytes);
    audio.channels = 2;
    audio.sampleRate = frame->sample_rate;
    audio.samples = count;
}
